// The slots of the window that have no part in a run: playback, settings, links.

#include "app/mainwindow.h"

#include <QAudioOutput>

int qInitResources_Quorvel();
int qInitResources_Quorvel()
{
    return 0;
}

void MainWindow::changeSettings() {}
void MainWindow::helpOnline() {}
void MainWindow::contact() {}
void MainWindow::about() {}
void MainWindow::on_playButton_clicked() {}
void MainWindow::on_stopButton_clicked() {}
void MainWindow::on_audioSlider_sliderMoved(int /*position*/) {}
void MainWindow::positionChanged(qint64 /*progress*/) {}
void MainWindow::durationChanged(qint64 /*duration*/) {}
void MainWindow::setState(QMediaPlayer::PlaybackState /*state*/) {}
void MainWindow::on_treeWidget_itemDoubleClicked(QTreeWidgetItem* /*item*/, int /*column*/) {}
void MainWindow::settingsDialogFinished(int /*result*/) {}
void MainWindow::aboutDialogFinished(int /*result*/) {}
void MainWindow::mediaStatusChanged(QMediaPlayer::MediaStatus /*status*/) {}
void MainWindow::showPlayIcon(const QIcon& /*icon*/) {}
void MainWindow::setUpPlayer()
{
    player = new QMediaPlayer(this);
    audioOutput = new QAudioOutput(this);
}
void MainWindow::connectPlayer() {}
void MainWindow::resetPlayer() {}
