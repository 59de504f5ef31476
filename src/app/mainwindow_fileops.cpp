#include "app/mainwindow.h"

void MainWindow::on_deleteFilesButtonMainwindow_clicked() {}

void MainWindow::on_moveFilesButtonMainwindow_clicked() {}

void MainWindow::on_copyFilesButtonMainwindow_clicked() {}

void MainWindow::deleteDialogFinished(int /*result*/) {}
