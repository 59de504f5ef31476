#include "search/forgetting.h"

#include "search/fingerprintstore.h"

#include <QByteArray>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSet>
#include <QString>

#include <cerrno>
#include <optional>
#include <sys/stat.h>
#include <utility>

namespace search {

namespace {

/** The folder of the entry at \a path; the root is its own. */
QString folderOf(const QString& path)
{
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    return slash > 0 ? path.left(slash) : QStringLiteral("/");
}

/** \a folder with a slash at its end. */
QString prefixOf(const QString& folder)
{
    return folder.endsWith(QLatin1Char('/')) ? folder : folder + QLatin1Char('/');
}

enum class Existence {
    Exists,
    Missing,
    Unknown,
};

/** Whether there is an entry at \a path, be it a link to nothing. */
Existence existenceOf(const QString& path)
{
    struct stat status = {};
    if (::lstat(QFile::encodeName(path).constData(), &status) == 0) {
        return Existence::Exists;
    }
    return errno == ENOENT || errno == ENOTDIR ? Existence::Missing : Existence::Unknown;
}

/** One searched folder. */
class SearchedFolder
{
public:
    SearchedFolder(const QString& folder, const ListedFiles& listed)
        : m_name(prefixOf(folder))
        , m_root(QFileInfo(folder).canonicalFilePath())
    {
        for (const QString& path : listed.unlistedFolders) {
            m_unlisted.insert(canonical(path));
        }
        for (const QString& path : listed.files) {
            if (path.startsWith(m_name)) {
                addFolder(folderOf(canonical(path)));
            }
        }
    }

    /** The files below the folder that \a store keeps and that are gone. */
    QStringList goneFrom(FingerprintStore& store)
    {
        QStringList gone = m_root.isEmpty() ? QStringList() : store.pathsBelow(m_root);
        gone.removeIf([this](const QString& path) { return !isGone(path); });
        return gone;
    }

private:
    /** \a path, which is below the folder, as the store has it: no link below it was followed. */
    QString canonical(const QString& path) const
    {
        return prefixOf(m_root) + path.mid(m_name.size());
    }

    /** Adds \a folder, which has a listed file, and those above it on the same file system. */
    void addFolder(QString folder)
    {
        const std::optional<dev_t> device = deviceOf(folder);
        while (device && deviceOf(folder) == device && !m_withFiles.contains(folder)) {
            m_withFiles.insert(folder);
            if (folder == m_root) {
                break;
            }
            folder = folderOf(folder);
        }
    }

    std::optional<dev_t> deviceOf(const QString& folder)
    {
        const auto known = m_devices.constFind(folder);
        if (known != m_devices.cend()) {
            return *known;
        }
        struct stat status = {};
        const bool exists = ::stat(QFile::encodeName(folder).constData(), &status) == 0;
        return m_devices[folder] = exists ? std::optional(status.st_dev) : std::nullopt;
    }

    bool isGone(const QString& path)
    {
        if (existenceOf(path) != Existence::Missing) {
            return false;
        }
        QString folder = folderOf(path);
        while (folder != m_root && existenceOf(folder) == Existence::Missing) {
            folder = folderOf(folder);
        }
        return m_withFiles.contains(folder) && !m_unlisted.contains(folder);
    }

    const QString m_name;
    /** Without links; empty if it is gone. */
    const QString m_root;
    QSet<QString> m_unlisted;
    /** Folders with listed files in or below them, with nothing mounted in between. */
    QSet<QString> m_withFiles;
    QHash<QString, std::optional<dev_t>> m_devices;
};

} // namespace

qsizetype forgetGone(FingerprintStore& store, const ListedFiles& listed)
{
    QSet<QString> gone;
    for (const QString& folder : listed.folders) {
        for (const QString& path : SearchedFolder(folder, listed).goneFrom(store)) {
            gone.insert(path);
        }
    }
    store.forget(QStringList(gone.cbegin(), gone.cend()));
    return gone.size();
}

} // namespace search
