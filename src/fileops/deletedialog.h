#pragma once

#include <QDialog>

/**
 * The dialog in which duplicates are ticked and deleted, moved or copied.
 * Thread: GUI thread only.
 */
class deleteDialog : public QDialog
{
    Q_OBJECT

public:
    explicit deleteDialog(QWidget* parent = nullptr);
};
