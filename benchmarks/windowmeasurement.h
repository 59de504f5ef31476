#pragma once

#include "app/mainwindow.h"
#include "driver/windowdriver.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <QTemporaryDir>
#include <QTimer>

#include <chrono>
#include <functional>

/** What the benchmarks of the real window have in common. Thread: GUI thread only. */
namespace benchmarks {

/** Draws on no screen, unless a platform is asked for. To be called before the application is made.
 */
void preferNoScreen();

/** Settings that are this run's own while it lasts. To be made before the window. */
class OwnSettings
{
public:
    OwnSettings();

private:
    QTemporaryDir m_folder;
};

/** A mono PCM WAV header that announces \a dataBytes of samples. */
QByteArray wavHeader(quint32 sampleRateHz, quint16 bitsPerSample, quint32 dataBytes);

/** Writes a WAV file of a random melody. False if it could not be written. */
bool writeTune(const QString& path, unsigned seed, quint32 seconds = 10);

/** Processes events until \a condition holds. False if that takes longer than \a limit. */
bool spinUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit);

/** The object of the window named \a name. */
template <typename T> T* find(const MainWindow& window, const char* name)
{
    return driver::find<T>(&window, QString::fromLatin1(name));
}

/** Presses "Find duplicates". */
void findDuplicates(const MainWindow& window);

/** Adds \a folder to Group A, chooses "Within group" and presses "Find duplicates". */
void compareWithinGroup(const MainWindow& window, const QString& folder);

/**
 * The longest time between two turns of the event loop, of which there is one each millisecond at
 * least: a loop that never waits would take a core from what is measured.
 */
class StallMeter : public QObject
{
public:
    StallMeter()
    {
        connect(&m_timer, &QTimer::timeout, this,
                [this] { m_longestMs = std::max(m_longestMs, m_sinceLast.restart()); });
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.start(1);
        m_sinceLast.start();
    }
    void restart()
    {
        m_longestMs = 0;
        m_sinceLast.restart();
    }
    qint64 longestMs() const
    {
        return m_longestMs;
    }

private:
    QTimer m_timer;
    QElapsedTimer m_sinceLast;
    qint64 m_longestMs = 0;
};

} // namespace benchmarks
