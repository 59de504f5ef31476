#include "settings/settingsdialog.h"

#include "settings/settingsstore.h"
#include "ui_settingsdialog.h"

#include <algorithm>

namespace {

/** Lets what stands behind the labels stand in line, whatever the length of their texts. */
void alignLabels(std::initializer_list<QLabel*> labels)
{
    int width = 0;
    for (const QLabel* label : labels) {
        width = std::max(width, label->sizeHint().width());
    }
    for (QLabel* label : labels) {
        label->setMinimumWidth(width);
    }
}

} // namespace

SettingsDialog::SettingsDialog(QWidget* parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui_SettingsDialog>())
{
    ui->setupUi(this);
    alignLabels({ui->SimilarityLabel, ui->label});
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
