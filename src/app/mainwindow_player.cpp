#include "app/mainwindow.h"

#include "ui_mainwindow.h"

#include <QTime>

namespace {

constexpr QSize kPlayIconSize(22, 22);
constexpr int kMostStarts = 10;
constexpr qint64 kMsPerSecond = 1000;
constexpr qint64 kSecondsPerMinute = 60;
constexpr qint64 kSecondsPerHour = 3600;

/**
 * \a seconds as a time of day. The hours are taken modulo 60, like the minutes: from 24 hours on it
 * is no time of day any more and its text is empty. Kept as it is.
 */
QTime timeOfDay(qint64 seconds)
{
    constexpr qint64 kModulus = 60;
    return {static_cast<int>((seconds / kSecondsPerHour) % kModulus),
            static_cast<int>((seconds / kSecondsPerMinute) % kModulus),
            static_cast<int>(seconds % kModulus), 0};
}

} // namespace

void MainWindow::on_treeWidget_itemDoubleClicked(QTreeWidgetItem* item, int /*column*/)
{
    player->setSource(QUrl());
    // A file that cannot be played never reports a position, and would keep the time of the one
    // before.
    ui->audioDurationLabel->clear();
    player->setSource(QUrl::fromLocalFile(item->text(0)));
    ui->audioDurationLabel->show();
    player->play();
    startsLeft = kMostStarts;
    sinceStart.start();
}

void MainWindow::on_playButton_clicked()
{
    startsLeft = 0;
    if (player->mediaStatus() == QMediaPlayer::NoMedia) {
        return;
    }
    // The new state is recorded here, so that the player's own notice of it changes nothing more.
    if (playbackState == QMediaPlayer::StoppedState || playbackState == QMediaPlayer::PausedState) {
        playbackState = QMediaPlayer::PlayingState;
        player->play();
        ui->stopButton->setEnabled(true);
        showPlayIcon(pauseIcon);
    } else if (playbackState == QMediaPlayer::PlayingState) {
        playbackState = QMediaPlayer::PausedState;
        player->pause();
        ui->stopButton->setEnabled(true);
        showPlayIcon(playIcon);
    }
}

void MainWindow::on_stopButton_clicked()
{
    startsLeft = 0;
    playbackState = QMediaPlayer::StoppedState;
    player->stop();
    ui->stopButton->setEnabled(false);
    showPlayIcon(playIcon);
    ui->audioSlider->setValue(0);
}

void MainWindow::on_audioSlider_sliderMoved(int position)
{
    player->setPosition(position);
}

void MainWindow::positionChanged(qint64 progress)
{
    if (!ui->audioSlider->isSliderDown()) {
        ui->audioSlider->setValue(static_cast<int>(progress));
    }
    if (progress > 0 && progress < player->duration()) {
        startsLeft = 0;
    }
    updateDurationInfo(progress / kMsPerSecond);
}

void MainWindow::durationChanged(qint64 duration)
{
    durationSeconds = duration / kMsPerSecond;
    ui->audioSlider->setMaximum(static_cast<int>(duration));
}

// cppcheck-suppress funcArgNamesDifferent ; the window has a member "state" of its own
void MainWindow::setState(QMediaPlayer::PlaybackState newState)
{
    if (newState == playbackState) {
        return;
    }
    playbackState = newState;
    switch (newState) {
    case QMediaPlayer::PlayingState:
        ui->stopButton->setEnabled(true);
        showPlayIcon(pauseIcon);
        break;
    case QMediaPlayer::PausedState:
        ui->stopButton->setEnabled(true);
        showPlayIcon(playIcon);
        break;
    case QMediaPlayer::StoppedState:
        ui->stopButton->setEnabled(false);
        showPlayIcon(playIcon);
        ui->audioSlider->setValue(0);
        updateDurationInfo(0);
        break;
    }
}

/**
 * Starts a file again that was ended before anything of it was heard. Playing one file after the
 * other quickly, the end of one before can reach the player only when the next is loaded, and end
 * that one.
 */
void MainWindow::mediaStatusChanged(QMediaPlayer::MediaStatus status)
{
    const bool heard = player->duration() > 0 && sinceStart.hasExpired(player->duration());
    if (status == QMediaPlayer::EndOfMedia && startsLeft > 0 && !heard) {
        --startsLeft;
        sinceStart.start();
        player->play();
    }
}

/** Shows \a positionSeconds and the medium's duration, or nothing for an unloaded player. */
void MainWindow::updateDurationInfo(qint64 positionSeconds)
{
    QString text;
    if (positionSeconds != 0 || durationSeconds != 0) {
        const QString format = durationSeconds > kSecondsPerHour ? QStringLiteral("hh:mm:ss")
                                                                 : QStringLiteral("mm:ss");
        text = timeOfDay(positionSeconds).toString(format) + QStringLiteral(" / ") +
               timeOfDay(durationSeconds).toString(format);
    }
    ui->audioDurationLabel->setText(text);
}

void MainWindow::showPlayIcon(const QIcon& icon)
{
    // The icon tells those who see it what a press will do.
    const bool plays = icon.cacheKey() == playIcon.cacheKey();
    ui->playButton->setAccessibleName(plays ? tr("Play") : tr("Pause"));
    ui->playButton->setToolTip(plays ? tr("Play the preview") : tr("Pause the preview"));
    ui->playButton->setIcon(icon);
    ui->playButton->setIconSize(kPlayIconSize);
}
