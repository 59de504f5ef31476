#include "support/soundserver.h"

#include <QProcessEnvironment>
#include <QtEndian>

#include <algorithm>

namespace testmedia {

namespace {

constexpr int kHangGuardMs = 60000;

QByteArray askForServer()
{
    QProcess pactl;
    pactl.setProcessChannelMode(QProcess::MergedChannels);
    pactl.start(QStringLiteral("pactl"), {QStringLiteral("info")});
    if (!pactl.waitForStarted()) {
        return QByteArrayLiteral("No sound server: the pactl program could not be started: ") +
               pactl.errorString().toLocal8Bit();
    }
    if (!pactl.waitForFinished() || pactl.exitStatus() != QProcess::NormalExit ||
        pactl.exitCode() != 0) {
        return QByteArrayLiteral("No sound server answers: pactl info: ") +
               pactl.readAll().trimmed();
    }
    return {};
}

} // namespace

QByteArray missingSoundServer()
{
    static const QByteArray answer = askForServer();
    return answer;
}

QProcessEnvironment environmentWithoutSoundServer(const QString& runtimeFolder)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtimeFolder);
    environment.insert(QStringLiteral("PULSE_SERVER"),
                       QStringLiteral("unix:%1/pulse/native").arg(runtimeFolder));
    environment.remove(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"));
    return environment;
}

Listener::Listener()
{
    m_recorder.start(QStringLiteral("parec"),
                     {QStringLiteral("--raw"), QStringLiteral("--format=s16le"),
                      QStringLiteral("--channels=1"), QStringLiteral("--rate=8000"),
                      QStringLiteral("--latency-msec=50"),
                      QStringLiteral("--device=@DEFAULT_MONITOR@")});
}

Listener::~Listener()
{
    m_recorder.kill();
    m_recorder.waitForFinished();
}

int Listener::loudest()
{
    constexpr qsizetype bytes = 8000; // half a second of 16-bit samples
    m_recorder.readAll();
    QByteArray heard;
    const auto enough = [&] {
        heard += m_recorder.readAll();
        return heard.size() >= bytes;
    };
    if (!QTest::qWaitFor(enough, kHangGuardMs)) {
        qFatal("Nothing was recorded: %s", m_recorder.readAllStandardError().constData());
    }
    int peak = 0;
    for (qsizetype i = 0; i + 1 < heard.size(); i += 2) {
        peak = std::max(peak, qAbs(int{qFromLittleEndian<qint16>(heard.constData() + i)}));
    }
    return peak;
}

} // namespace testmedia
