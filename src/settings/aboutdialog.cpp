#include "settings/aboutdialog.h"

#include "ui_aboutdialog.h"

AboutDialog::AboutDialog(QWidget* parent)
    : QDialog(parent)
    , ui(std::make_unique<Ui_AboutDialog>())
{
    ui->setupUi(this);
}

AboutDialog::~AboutDialog() = default;

void AboutDialog::on_okButton_clicked()
{
    accept();
}

void AboutDialog::on_cancelButton_clicked()
{
    reject();
}
