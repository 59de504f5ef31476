#include "settings/settingsdialog.h"

#include "settings/settingsstore.h"
#include "ui_settingsdialog.h"

#include <algorithm>

namespace {

/** Makes the labels equally wide, so that the fields beside them are aligned. */
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
    // Text that is not a 32-bit number gives 0. No range is enforced: a number is stored as typed.
    settings::write({ui->similarityThresh->text().toInt(), ui->multicore->isChecked()});
    accept();
}

void SettingsDialog::on_cancelButton_clicked()
{
    reject();
}
