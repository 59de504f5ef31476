#include "fileops/deletedialog.h"

deleteDialog::deleteDialog(QWidget* parent)
    : QDialog(parent)
{
}
