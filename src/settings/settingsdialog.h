#pragma once

#include <QDialog>

#include <memory>

class Ui_SettingsDialog;

/**
 * Edits the two stored settings. It reads both when it is constructed and stores both on "Save";
 * closing it in any other way stores nothing.
 * Thread: GUI thread only.
 */
class SettingsDialog : public QDialog
{
    Q_OBJECT

public:
    explicit SettingsDialog(QWidget* parent = nullptr);
    ~SettingsDialog() override;

public Q_SLOTS:
    void on_saveButton_clicked();
    void on_cancelButton_clicked();

private:
    std::unique_ptr<Ui_SettingsDialog> ui;
};
