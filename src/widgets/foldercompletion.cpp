#include "widgets/foldercompletion.h"

#include "widgets/whenfinished.h"

#include <QCompleter>
#include <QDir>
#include <QLineEdit>
#include <QStringListModel>
#include <QThreadPool>
#include <QtConcurrent/QtConcurrentRun>

namespace {

/** One for each disk that does not answer, and some for those that do. */
constexpr int kMostListings = 16;

/**
 * Is never destroyed: the end of the program waits for the global pool, and a listing of a network
 * drive that is gone may not end.
 */
QThreadPool* listingPool()
{
    static QThreadPool* const pool = [] {
        auto* created = new QThreadPool;
        created->setMaxThreadCount(kMostListings);
        return created;
    }();
    return pool;
}

class FolderLister : public QObject
{
public:
    FolderLister(QLineEdit* field, folderCompletion::Listing listing)
        : QObject(field)
        , m_field(field)
        , m_listing(std::move(listing))
    {
        m_field->setCompleter(new QCompleter(&m_model, m_field));
        connect(m_field, &QLineEdit::textEdited, this, &FolderLister::list);
    }

private:
    void list(const QString& path)
    {
        const QString folder = path.left(path.lastIndexOf(u'/') + 1);
        if (folder == m_folder) {
            return;
        }
        m_folder = folder;
        m_model.setStringList({});
        if (!folder.isEmpty()) {
            whenFinished(QtConcurrent::run(listingPool(), m_listing, folder), this,
                         [this, folder](const QStringList& paths) { offer(folder, paths); });
        }
    }

    /** Unless the path has got to another folder by now. */
    void offer(const QString& folder, const QStringList& paths)
    {
        if (folder != m_folder) {
            return;
        }
        m_model.setStringList(paths);
        if (m_field->hasFocus()) {
            m_field->completer()->setCompletionPrefix(m_field->text());
            m_field->completer()->complete();
        }
    }

    QLineEdit* m_field;
    folderCompletion::Listing m_listing;
    QStringListModel m_model;
    QString m_folder;
};

} // namespace

QStringList folderCompletion::foldersIn(const QString& folder)
{
    QStringList paths = QDir(folder).entryList(QDir::AllDirs | QDir::NoDotAndDotDot, QDir::Name);
    for (QString& path : paths) {
        path.prepend(folder);
    }
    return paths;
}

void folderCompletion::completes(QLineEdit* field, const Listing& listing)
{
    new FolderLister(field, listing); // owned by the field
}
