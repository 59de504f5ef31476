#pragma once

#include "fileops/deletedialog.h"

#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QStringList>
#include <QTemporaryDir>
#include <QThreadPool>

#include <memory>

/** A file operation dialog, shown in one of its modes, and what a person sees and does there. */
class DialogFixture
{
public:
    explicit DialogFixture(const QString& operation);

    deleteDialog* dialog() const
    {
        return m_dialog.get();
    }
    QListWidget* list() const
    {
        return find<QListWidget>(QStringLiteral("filesList"));
    }
    QLineEdit* directory() const
    {
        return find<QLineEdit>(QStringLiteral("dirLabel"));
    }
    QProgressBar* progress() const
    {
        return find<QProgressBar>(QStringLiteral("deleteProgress"));
    }
    QThreadPool* pool() const
    {
        return m_dialog->findChild<QThreadPool*>();
    }
    QPushButton* button(const QString& name) const
    {
        return find<QPushButton>(name);
    }
    /** The button that starts the operation of the mode. */
    QPushButton* actionButton() const
    {
        return button(m_operation + QStringLiteral("Button"));
    }
    QString countLabel() const
    {
        return find<QLabel>(QStringLiteral("deleteCountLabel"))->text();
    }
    /** The file rows, one "[x] path" each, the ticks as in the list. */
    QStringList rows() const;

    void addFiles(const QStringList& paths);
    void setTicked(int row, bool ticked);
    /** Clicks with the mouse, as a person would. */
    void click(const QString& buttonName) const;
    void start() const
    {
        click(m_operation + QStringLiteral("Button"));
    }
    void waitForIdle() const;

    /** Takes the dialog away; its widgets must not be asked for any more. */
    std::unique_ptr<deleteDialog> take()
    {
        return std::move(m_dialog);
    }

private:
    template <typename Widget> Widget* find(const QString& name) const
    {
        auto* widget = m_dialog->findChild<Widget*>(name);
        if (widget == nullptr) {
            qFatal("the dialog has no %s", qPrintable(name));
        }
        return widget;
    }

    QString m_operation;
    std::unique_ptr<deleteDialog> m_dialog;
};
