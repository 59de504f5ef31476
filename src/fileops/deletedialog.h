#pragma once

#include "fileops/destinationnames.h"
#include "fileops/duplicaterow.h"

#include <QDialog>
#include <QFuture>
#include <QFutureWatcher>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <QThreadPool>

#include <functional>
#include <stop_token>
#include <utility>

QT_BEGIN_NAMESPACE
class QListWidgetItem;
class QMenu;
QT_END_NAMESPACE

class Ui_deleteDialog;

/**
 * The dialog in which duplicates are ticked and deleted, moved or copied.
 *
 * Its opener sets `operation`, the title, the labels and which of the mode's widgets are visible,
 * fills it with addRows() and shows it modeless. It reports back only finished(). The files are
 * handled one after another on a thread of its own.
 *
 * Its destruction ends a running operation after the file in progress and waits for that file; the
 * others are left alone. Hiding or closing the dialog ends nothing.
 *
 * Thread: GUI thread only, but for the four static functions.
 */
class deleteDialog : public QDialog
{
    Q_OBJECT

public:
    explicit deleteDialog(QWidget* parent = nullptr);
    ~deleteDialog() override;
    Q_DISABLE_COPY_MOVE(deleteDialog)

    /**
     * Appends the row "All" and the rows of \a rows, all ticked but those that may be the only
     * copy: another name of a reference, and duplicates whose reference is missing. These are held
     * back: they are unticked, their tooltip gives the reason, "All" does not tick them, and the
     * user can tick each by itself, but not among several. Without rows the list stays empty.
     *
     * References are checked again before "All" ticks the rows, or several are ticked together, and
     * duplicates of missing ones are held back. Before files are deleted or moved, so are rows that
     * are now another name of a reference, and those whose reference is ticked under another name.
     *
     * The count label is as if the rows had been added one by one. The cost is linear in their
     * number. Returns the number of ticked rows without "All".
     */
    int addRows(const QList<DuplicateRow>& rows);

    /** Makes the space bar tick or untick all selected rows, where there are several. */
    bool eventFilter(QObject* watched, QEvent* event) override;

    /** Hides the progress bar; called a second after the end of an operation. */
    void hideDeleteProgress();

    /**
     * Map functions, as in fileops/fileoperations.h. True on success.
     * Thread: Any thread, blocking.
     */
    static bool copyFile(const fileops::SourceAndDestination& paths);
    static bool moveFile(const fileops::SourceAndDestination& paths);
    static bool deleteFile(const QString& path);
    /** The reduce function of all three operations: appends \a ok to \a result. */
    static void copyReduce(QList<bool>& result, const bool& ok);

    /** The form; owned. The opener of the dialog reaches the widgets through it. */
    Ui_deleteDialog* ui;
    /** "delete", "move" or "copy"; empty until the opener sets it. */
    QString operation;

private Q_SLOTS:
    // The order is that of the meta-object's table.
    void on_filesList_itemChanged(QListWidgetItem* item);
    void on_deleteButton_clicked();
    void on_okButton_clicked();
    void on_cancelButton_clicked();
    void on_chooseDirButton_clicked();
    void on_moveButton_clicked();
    void on_copyButton_clicked();

private:
    /** What happens to the rows when an operation has ended. */
    enum class Rows { Keep, RemoveVanished };

    static constexpr int kAllRow = 0;
    static constexpr int kFirstFileRow = 1;

    int filesHandled = 0; ///< Set to 0 when an operation starts; nothing depends on it.
    QThreadPool threadPool;
    QFutureWatcher<QList<bool>> watcher;
    QFuture<QList<bool>> future;

    // A second operation may be queued behind the first, which future and watcher no longer follow.
    QList<QFuture<QList<bool>>> operations;
    std::stop_source stop;
    /** Of each pair of duplicate and reference, in percent. */
    QHash<std::pair<QString, QString>, int> similarities;
    bool ticking = false; ///< While several rows are ticked, which are counted once at the end.

    // The rows (deletedialog_rows.cpp)
    QStringList markedPaths() const;
    int markedCount() const;
    void tickAll(Qt::CheckState state);
    void setTicked(const QList<QListWidgetItem*>& items, Qt::CheckState state);
    void holdBackRowsWithoutReference();
    void holdBackWhatWouldBeLost();
    void holdBackIf(const std::function<QString(const QListWidgetItem*)>& reasonFor);
    void showMarkedCount();
    void removeVanishedRows();

    // What the user does with rows (deletedialog_selection.cpp)
    void setUpRows();
    QString toolTipOf(int row) const;
    QString newNameOf(int row) const;
    QList<QListWidgetItem*> selectedFiles() const;
    QStringList selectedPaths() const;
    void setSelectedTicked(Qt::CheckState state);
    void toggleSelected();
    void untickFolder(const QString& folder);
    void fillMenu(QMenu& menu, int row);

    // The operations (deletedialog.cpp)
    QList<fileops::SourceAndDestination> markedWithDestinations(const QString& marker) const;
    template <typename Operand>
    void start(const QList<Operand>& work, bool (*function)(const Operand&), const QString& ending,
               Rows rows);
    void showResult(const QList<bool>& results, const QString& ending, Rows rows);
};
