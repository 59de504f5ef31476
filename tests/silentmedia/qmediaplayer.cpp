#include "qmediaplayer.h"

#include "qaudiooutput.h"

void QMediaPlayer::setAudioOutput(QAudioOutput* output)
{
    m_output = output;
}

QAudioOutput* QMediaPlayer::audioOutput() const
{
    return m_output;
}

void QMediaPlayer::setSource(const QUrl& source)
{
    if (source == m_source) {
        return;
    }
    stop();
    m_source = source;
    m_starts = 0;
    if (m_quietOnUnloading) {
        m_duration = 0;
        Q_EMIT positionChanged(0);
    } else {
        changeDuration(0);
    }
    changeStatus(source.isEmpty() ? NoMedia : LoadingMedia);
    Q_EMIT sourceChanged(source);
}

QUrl QMediaPlayer::source() const
{
    return m_source;
}

void QMediaPlayer::play()
{
    if (m_source.isEmpty()) {
        return;
    }
    if (m_state == StoppedState) {
        ++m_starts;
    }
    if (m_status == EndOfMedia) {
        m_position = 0;
        changeStatus(LoadedMedia);
    }
    changeState(PlayingState);
}

void QMediaPlayer::pause()
{
    if (!m_source.isEmpty()) {
        changeState(PausedState);
    }
}

void QMediaPlayer::stop()
{
    if (m_state != StoppedState || m_position != 0) {
        setPosition(0);
        changeState(StoppedState);
    }
}

void QMediaPlayer::setPosition(qint64 position)
{
    if (!m_source.isEmpty()) {
        m_position = position;
        Q_EMIT positionChanged(position);
    }
}

qint64 QMediaPlayer::position() const
{
    return m_position;
}

qint64 QMediaPlayer::duration() const
{
    return m_duration;
}

QMediaPlayer::PlaybackState QMediaPlayer::playbackState() const
{
    return m_state;
}

QMediaPlayer::MediaStatus QMediaPlayer::mediaStatus() const
{
    return m_status;
}

QString QMediaPlayer::errorString() const
{
    return {};
}

void QMediaPlayer::keepQuietOnUnloading()
{
    m_quietOnUnloading = true;
}

void QMediaPlayer::load(qint64 duration)
{
    changeDuration(duration);
    changeStatus(LoadedMedia);
}

void QMediaPlayer::refuse()
{
    changeStatus(InvalidMedia);
    changeState(StoppedState);
}

void QMediaPlayer::end()
{
    m_position = m_duration;
    Q_EMIT positionChanged(m_position);
    changeState(StoppedState);
    changeStatus(EndOfMedia);
}

int QMediaPlayer::startCount() const
{
    return m_starts;
}

void QMediaPlayer::changeState(PlaybackState state)
{
    if (state != m_state) {
        m_state = state;
        Q_EMIT playbackStateChanged(state);
    }
}

void QMediaPlayer::changeStatus(MediaStatus status)
{
    if (status != m_status) {
        m_status = status;
        Q_EMIT mediaStatusChanged(status);
    }
}

void QMediaPlayer::changeDuration(qint64 duration)
{
    if (duration != m_duration) {
        m_duration = duration;
        Q_EMIT durationChanged(duration);
    }
}
