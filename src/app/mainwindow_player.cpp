#include "app/mainwindow.h"

#include "ui_mainwindow.h"

namespace {

constexpr QSize kPlayIconSize(22, 22);

} // namespace

void MainWindow::on_treeWidget_itemDoubleClicked(QTreeWidgetItem* /*item*/, int /*column*/) {}

void MainWindow::on_playButton_clicked() {}

void MainWindow::on_stopButton_clicked() {}

void MainWindow::on_audioSlider_sliderMoved(int /*position*/) {}

void MainWindow::positionChanged(qint64 /*progress*/) {}

void MainWindow::durationChanged(qint64 /*duration*/) {}

void MainWindow::setState(QMediaPlayer::PlaybackState /*state*/) {}

void MainWindow::showPlayIcon(const QIcon& icon)
{
    ui->playButton->setIcon(icon);
    ui->playButton->setIconSize(kPlayIconSize);
}
