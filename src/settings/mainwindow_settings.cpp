#include "app/mainwindow.h"

#include "settings/aboutdialog.h"
#include "settings/settingsdialog.h"
#include "ui_aboutdialog.h"

#include <QDesktopServices>
#include <QUrl>

namespace {

constexpr QSize kAboutDialogSize(300, 120);

/** Opens a page of the product's web site. Errors: none; the desktop may have no browser. */
void openPage(QLatin1StringView path)
{
    const QString address = QStringLiteral(QUORVEL_WEB_SITE) + path;
    QDesktopServices::openUrl(QUrl(address, QUrl::TolerantMode));
}

} // namespace

void MainWindow::changeSettings()
{
    if (settingsDialogOpen) {
        settingsDialog->activateWindow();
        return;
    }
    // Without a parent, so that it can be moved behind this window. Closing releases it.
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

void MainWindow::helpOnline()
{
    openPage(QLatin1StringView("/help"));
}

void MainWindow::contact()
{
    openPage(QLatin1StringView("/contact"));
}

void MainWindow::about()
{
    if (aboutDialogOpen) {
        aboutDialog->activateWindow();
        return;
    }
    aboutDialog = new AboutDialog(nullptr);
    aboutDialogOpen = true;
    aboutDialog->setWindowTitle(QStringLiteral("Quorvel"));
    aboutDialog->ui->versionLabel->setText(QStringLiteral("Version: " QUORVEL_VERSION));
    aboutDialog->ui->cancelButton->hide();
    aboutDialog->setFixedSize(kAboutDialogSize);
    aboutDialog->show();
    connect(aboutDialog, &QDialog::finished, this, &MainWindow::aboutDialogFinished);
}

void MainWindow::aboutDialogFinished(int /*result*/)
{
    if (aboutDialog != nullptr) {
        aboutDialog->deleteLater();
    }
    aboutDialog = nullptr;
    aboutDialogOpen = false;
}
