#include "app/mainwindow.h"

#include "app/sliderclick.h"
#include "ui_mainwindow.h"
#include "widgets/computedtooltip.h"

#include <QAudioOutput>
#include <QShortcut>
#include <QTime>

namespace {

constexpr int kNameColumn = 0;
constexpr QSize kPlayIconSize(22, 22);
constexpr int kMostStarts = 10;
constexpr qint64 kMsPerSecond = 1000;
constexpr qint64 kSecondsPerMinute = 60;
constexpr qint64 kSecondsPerHour = 3600;

/**
 * \a seconds as a time of day. The hours are taken modulo 60, like the minutes. From 24 hours on
 * the time of day is invalid and its text is empty; this is kept.
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
    // A file that cannot be played would keep the time of the last one: it reports no position, and
    // not every backend reports that the duration is gone.
    durationChanged(0);
    ui->audioDurationLabel->clear();
    player->setSource(QUrl::fromLocalFile(item->text(kNameColumn)));
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
 * Restarts a file that ended before any of it was played. When files are played in quick
 * succession, the end of an earlier one can reach the player after the next is loaded, and end
 * that.
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
    // Screen readers and tooltips name the action that the icon shows.
    const bool plays = icon.cacheKey() == playIcon.cacheKey();
    ui->playButton->setAccessibleName(plays ? tr("Play") : tr("Pause"));
    ui->playButton->setToolTip(plays ? tr("Play the preview") : tr("Pause the preview"));
    ui->playButton->setIcon(icon);
    ui->playButton->setIconSize(kPlayIconSize);
}

void MainWindow::setUpPlayer()
{
    player = new QMediaPlayer(this);
    audioOutput = new QAudioOutput(this);
    player->setAudioOutput(audioOutput);
    // The first of two connections: the slot runs twice for each signal, and is idempotent.
    connect(player, SIGNAL(positionChanged(qint64)), this, SLOT(positionChanged(qint64)));

    playIcon.addFile(QStringLiteral(":/icons/play.png"), QSize(), QIcon::Normal, QIcon::Off);
    showPlayIcon(playIcon);
    pauseIcon.addFile(QStringLiteral(":/icons/pause.png"), QSize(), QIcon::Normal, QIcon::Off);
    ui->audioSlider->setRange(0, static_cast<int>(player->duration()));
}

void MainWindow::connectPlayer()
{
    // The second connection of this slot, which is also connected by its name.
    connect(ui->audioSlider, &QSlider::sliderMoved, this, &MainWindow::on_audioSlider_sliderMoved);
    connect(player, &QMediaPlayer::positionChanged, this, &MainWindow::positionChanged);
    connect(player, &QMediaPlayer::durationChanged, this, &MainWindow::durationChanged);
    connect(player, &QMediaPlayer::playbackStateChanged, this, &MainWindow::setState);
    connect(player, &QMediaPlayer::mediaStatusChanged, this, &MainWindow::mediaStatusChanged);
    // Keys, the wheel and a click beside the handle report actions only. A move of the held handle
    // reports both a move and an action. Changes of the value cannot be used: a new position of the
    // player changes it, too.
    connect(ui->audioSlider, &QSlider::actionTriggered, this, [this](int action) {
        if (action != QAbstractSlider::SliderMove || !ui->audioSlider->isSliderDown()) {
            on_audioSlider_sliderMoved(ui->audioSlider->sliderPosition());
        }
    });
    sliderClick::movesHandleToPointer(ui->audioSlider);
    computedToolTip::shows(ui->audioSlider, [this] { return player->source().toLocalFile(); });
    // The keys for what a double-click does.
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter}) {
        auto* shortcut = new QShortcut(key, ui->treeWidget);
        shortcut->setContext(Qt::WidgetShortcut);
        shortcut->setAutoRepeat(false); // a held key would reload the file
        connect(shortcut, &QShortcut::activated, this, [this] {
            if (QTreeWidgetItem* item = ui->treeWidget->currentItem()) {
                on_treeWidget_itemDoubleClicked(item, kNameColumn);
            }
        });
    }
}

void MainWindow::resetPlayer()
{
    playbackState = QMediaPlayer::StoppedState;
    startsLeft = 0;
    player->stop();
    ui->stopButton->setEnabled(false);
    showPlayIcon(playIcon);
    ui->audioSlider->setValue(0);
    player->setSource(QUrl());
    ui->audioDurationLabel->hide();
}
