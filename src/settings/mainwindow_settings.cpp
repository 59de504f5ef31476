#include "app/mainwindow.h"

#include "settings/settingsdialog.h"

void MainWindow::changeSettings()
{
    if (settingsDialogOpen) {
        settingsDialog->activateWindow();
        return;
    }
    // A window of its own: it may be moved beside or behind this one. It is released when it is
    // closed.
    settingsDialog = new SettingsDialog(nullptr);
    settingsDialogOpen = true;
    settingsDialog->setWindowTitle(QStringLiteral("Settings"));
    settingsDialog->show();
    connect(settingsDialog, &QDialog::finished, this, &MainWindow::settingsDialogFinished);
}

void MainWindow::settingsDialogFinished(int /*result*/)
{
    if (settingsDialog != nullptr) {
        settingsDialog->deleteLater();
    }
    settingsDialog = nullptr;
    settingsDialogOpen = false;
}

void MainWindow::helpOnline() {}

void MainWindow::contact() {}

void MainWindow::about() {}

void MainWindow::aboutDialogFinished(int /*result*/) {}
