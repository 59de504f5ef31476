#include "windowmeasurement.h"

#include <QApplication>
#include <QDataStream>
#include <QFile>
#include <QSettings>
#include <QtMath>

#include <random>

namespace benchmarks {

void preferNoScreen()
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
}

OwnSettings::OwnSettings()
{
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_folder.path());
}

QByteArray wavHeader(quint32 sampleRateHz, quint16 bitsPerSample, quint32 dataBytes)
{
    QByteArray header;
    QDataStream stream(&header, QIODevice::WriteOnly);
    stream.setByteOrder(QDataStream::LittleEndian);
    const quint32 bytesPerSecond = sampleRateHz * bitsPerSample / 8;
    stream.writeRawData("RIFF", 4);
    stream << quint32(dataBytes + 36);
    stream.writeRawData("WAVEfmt ", 8);
    stream << quint32(16) << quint16(1) << quint16(1) << sampleRateHz << bytesPerSecond
           << quint16(bitsPerSample / 8) << bitsPerSample;
    stream.writeRawData("data", 4);
    stream << dataBytes;
    return header;
}

bool writeTune(const QString& path, unsigned seed, quint32 seconds)
{
    constexpr quint32 kSampleRateHz = 11025;
    constexpr quint32 kSamplesPerNote = kSampleRateHz / 4;
    std::mt19937 random(seed);
    QByteArray samples;
    QDataStream stream(&samples, QIODevice::WriteOnly);
    stream.setByteOrder(QDataStream::LittleEndian);
    double frequencyHz = 0;
    for (quint32 i = 0; i < kSampleRateHz * seconds; ++i) {
        if (i % kSamplesPerNote == 0) {
            frequencyHz = 110.0 * std::pow(2.0, static_cast<double>(random() % 36) / 12.0);
        }
        const double phase = 2 * M_PI * frequencyHz * i / kSampleRateHz;
        stream << qint16(8000 * qSin(phase) + 4000 * qSin(2 * phase) + 2000 * qSin(3 * phase));
    }
    QFile file(path);
    return file.open(QIODevice::WriteOnly) &&
           file.write(wavHeader(kSampleRateHz, 16, static_cast<quint32>(samples.size())) +
                      samples) > 0;
}

bool spinUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.hasExpired(limit.count())) {
            return false;
        }
        QApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

void findDuplicates(const MainWindow& window)
{
    if (!driver::click(&window, QStringLiteral("compareButton"))) {
        qFatal("the search cannot be started");
    }
}

void compareWithinGroup(const MainWindow& window, const QString& folder)
{
    driver::setMode(&window, 1);
    driver::listFolder(&window, 'A', folder);
    findDuplicates(window);
}

} // namespace benchmarks
