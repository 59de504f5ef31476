#pragma once

#include <QObject>
#include <QUrl>

class QAudioOutput;

/**
 * Qt's player without a backend: it plays nothing, and its position and media status change only
 * when a caller changes them. The window is compiled over it for the tests, so that what the window
 * does with a player does not depend on when a backend's threads meet.
 *
 * The part of Qt's interface that the window and its tests use, and below it what only tests call.
 * Thread: GUI thread only.
 */
class QMediaPlayer : public QObject
{
    Q_OBJECT

public:
    enum PlaybackState { StoppedState, PlayingState, PausedState };
    Q_ENUM(PlaybackState)
    enum MediaStatus {
        NoMedia,
        LoadingMedia,
        LoadedMedia,
        StalledMedia,
        BufferingMedia,
        BufferedMedia,
        EndOfMedia,
        InvalidMedia
    };
    Q_ENUM(MediaStatus)

    using QObject::QObject;

    void setAudioOutput(QAudioOutput* output);
    QAudioOutput* audioOutput() const;
    /** Stops what plays; the status is NoMedia for an empty address, otherwise LoadingMedia. */
    void setSource(const QUrl& source);
    QUrl source() const;
    /** Without a source, play(), pause() and setPosition() change nothing. */
    void play();
    void pause();
    void stop();
    void setPosition(qint64 position);
    qint64 position() const;
    qint64 duration() const;
    PlaybackState playbackState() const;
    MediaStatus mediaStatus() const;
    /** Always empty. */
    QString errorString() const;

    /**
     * Behaves as a backend that reports no duration of 0 when another source is set, as that of
     * FFmpeg does; the default is one that does.
     */
    void keepQuietOnUnloading();
    /** Behaves as a backend that has found the \a duration, in milliseconds. */
    void load(qint64 duration);
    /** Behaves as a backend that refuses the source. */
    void refuse();
    /** Behaves as a backend at the end of the source. */
    void end();
    /** How often play() has started the source anew. */
    int startCount() const;

Q_SIGNALS:
    void sourceChanged(const QUrl& source);
    void playbackStateChanged(QMediaPlayer::PlaybackState state);
    void mediaStatusChanged(QMediaPlayer::MediaStatus status);
    void positionChanged(qint64 position);
    void durationChanged(qint64 duration);

private:
    void changeState(PlaybackState state);
    void changeStatus(MediaStatus status);
    void changeDuration(qint64 duration);

    QAudioOutput* m_output = nullptr;
    QUrl m_source;
    PlaybackState m_state = StoppedState;
    MediaStatus m_status = NoMedia;
    qint64 m_position = 0;
    qint64 m_duration = 0;
    int m_starts = 0;
    bool m_quietOnUnloading = false;
};
