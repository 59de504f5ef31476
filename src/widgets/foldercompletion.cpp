#include "widgets/foldercompletion.h"

#include "widgets/whenfinished.h"

#include <QCompleter>
#include <QDir>
#include <QLineEdit>
#include <QStringListModel>
#include <QtConcurrent/QtConcurrentRun>

namespace {

/** The paths of the folders in \a folder, which ends in a slash. */
QStringList foldersIn(const QString& folder)
{
    QStringList paths = QDir(folder).entryList(QDir::AllDirs | QDir::NoDotAndDotDot, QDir::Name);
    for (QString& path : paths) {
        path.prepend(folder);
    }
    return paths;
}

class FolderLister : public QObject
{
public:
    explicit FolderLister(QLineEdit* field)
        : QObject(field)
        , m_field(field)
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
            whenFinished(QtConcurrent::run(&foldersIn, folder), this,
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
    QStringListModel m_model;
    QString m_folder;
};

} // namespace

void folderCompletion::completes(QLineEdit* field)
{
    new FolderLister(field); // owned by the field
}
