#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QTest>

class QProcessEnvironment;

namespace testmedia {

/** Why no sound can be played here; empty where a sound server answers. Asked once. */
QByteArray missingSoundServer();

/**
 * This process's environment, but that no sound server is reached in it: the servers' sockets are
 * looked for in the empty folder \a runtimeFolder.
 */
QProcessEnvironment environmentWithoutSoundServer(const QString& runtimeFolder);

/** Listens to what the sound server's default output gets, from construction on. */
class Listener
{
public:
    Listener();
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    /** Forgets what was heard so far and listens for half a second: the loudest 16-bit sample. */
    int loudest();

private:
    QProcess m_recorder;
};

} // namespace testmedia

/**
 * Ends a test function that needs a sound server where there is none. It is skipped with the
 * reason; with CI=true in the environment it fails, since nobody looks for skipped tests there.
 */
#define REQUIRE_SOUND_SERVER()                                                                     \
    do {                                                                                           \
        const QByteArray missing = testmedia::missingSoundServer();                                \
        if (!missing.isEmpty() && qEnvironmentVariable("CI") == QStringLiteral("true")) {          \
            QFAIL(missing.constData());                                                            \
        }                                                                                          \
        if (!missing.isEmpty()) {                                                                  \
            QSKIP(missing.constData());                                                            \
        }                                                                                          \
    } while (false)
