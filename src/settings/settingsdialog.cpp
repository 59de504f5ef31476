#include "settings/settingsdialog.h"

#include "settings/settingsstore.h"
#include "ui_settingsdialog.h"

SettingsDialog::SettingsDialog(QWidget* parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui_SettingsDialog>())
{
    ui->setupUi(this);
    const settings::Values values = settings::read();
    ui->similarityThresh->setText(QString::number(values.similarityThreshold));
    ui->multicore->setChecked(values.multicore);
}

SettingsDialog::~SettingsDialog() = default;

void SettingsDialog::on_saveButton_clicked()
{
    // Text that is no 32-bit number gives 0, and no range is enforced: what was typed is stored.
    settings::write({ui->similarityThresh->text().toInt(), ui->multicore->isChecked()});
    accept();
}

void SettingsDialog::on_cancelButton_clicked()
{
    reject();
}
