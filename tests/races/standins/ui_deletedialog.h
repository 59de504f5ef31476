#pragma once

#include "widgets.h"

/** The widgets of the file operation dialog, under their names in the form. */
class Ui_deleteDialog
{
public:
    void setupUi(QObject* dialog)
    {
        for (QLabel** label : {&deleteLabel, &deleteCountLabel}) {
            *label = new QLabel(dialog);
        }
        for (QWidget** widget : {&deleteButton, &moveButton, &copyButton, &dirSelector}) {
            *widget = new QWidget(dialog);
        }
        for (QPushButton** button : {&chooseDirButton, &okButton, &cancelButton}) {
            *button = new QPushButton(dialog);
        }
        filesList = new QListWidget(dialog);
        dirLabel = new QLineEdit(dialog);
        deleteProgress = new QProgressBar(dialog);
    }

    QLabel* deleteLabel = nullptr;
    QLabel* deleteCountLabel = nullptr;
    QWidget* deleteButton = nullptr;
    QWidget* moveButton = nullptr;
    QWidget* copyButton = nullptr;
    QWidget* dirSelector = nullptr;
    QPushButton* chooseDirButton = nullptr;
    QPushButton* okButton = nullptr;
    QPushButton* cancelButton = nullptr;
    QListWidget* filesList = nullptr;
    QLineEdit* dirLabel = nullptr;
    QProgressBar* deleteProgress = nullptr;
};
