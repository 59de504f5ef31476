#pragma once

#include <QDialog>

#include <memory>

class Ui_AboutDialog;

/**
 * Shows the program's version. The caller sets the text and the size.
 * Thread: GUI thread only.
 */
class AboutDialog : public QDialog
{
    Q_OBJECT

public:
    explicit AboutDialog(QWidget* parent = nullptr);
    ~AboutDialog() override;

    /** The form, for the window that opens the dialog. */
    const std::unique_ptr<Ui_AboutDialog> ui;

public Q_SLOTS:
    void on_okButton_clicked();
    void on_cancelButton_clicked();
};
