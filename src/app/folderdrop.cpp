#include "app/folderdrop.h"

#include <QAbstractItemView>
#include <QDir>
#include <QDropEvent>
#include <QFileInfo>
#include <QMimeData>
#include <QUrl>

namespace {

/** The folders that \a data consists of; empty if it is not folders alone. */
QStringList foldersIn(const QMimeData& data)
{
    QStringList folders;
    const QList<QUrl> urls = data.urls();
    for (const QUrl& url : urls) {
        const QString path = url.toLocalFile();
        if (path.isEmpty() || !QFileInfo(path).isDir()) {
            return {};
        }
        // As a file dialog names it, without the slash that some file managers add.
        folders.append(QDir::cleanPath(path));
    }
    return folders;
}

class FolderTaker : public QObject
{
public:
    FolderTaker(QAbstractItemView* view, std::function<void(const QStringList&)> add)
        : QObject(view)
        , m_add(std::move(add))
    {
    }

    bool eventFilter(QObject* /*watched*/, QEvent* event) override
    {
        switch (event->type()) {
        case QEvent::DragEnter:
            // Asked for once: what is dragged is the same at each move, and can be on a slow disk.
            m_folders = foldersIn(*static_cast<QDropEvent*>(event)->mimeData());
            answer(*static_cast<QDropEvent*>(event));
            return true;
        case QEvent::DragMove:
            answer(*static_cast<QDropEvent*>(event));
            return true;
        case QEvent::DragLeave:
            m_folders.clear();
            return true;
        case QEvent::Drop:
            take(*static_cast<QDropEvent*>(event));
            return true;
        default:
            return false;
        }
    }

private:
    bool answer(QDropEvent& event) const
    {
        // Not a move, after which the file manager would remove the folder.
        for (const Qt::DropAction action : {Qt::CopyAction, Qt::LinkAction}) {
            if (!m_folders.isEmpty() && event.possibleActions().testFlag(action)) {
                event.setDropAction(action);
                event.accept();
                return true;
            }
        }
        event.ignore();
        return false;
    }

    void take(QDropEvent& event)
    {
        if (answer(event)) {
            m_add(m_folders);
        }
        m_folders.clear();
    }

    std::function<void(const QStringList&)> m_add;
    QStringList m_folders; ///< Of what is being dragged over the view.
};

} // namespace

void folderDrop::accepts(QAbstractItemView* view,
                         const std::function<void(const QStringList& folders)>& add)
{
    view->setAcceptDrops(true);
    view->viewport()->setAcceptDrops(true);
    view->viewport()->installEventFilter(new FolderTaker(view, add));
}
