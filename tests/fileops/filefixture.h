#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

/** Real files for the tests of the file operations. */
namespace filefixture {

/** Writes a new file; false on failure. */
bool write(const QString& path, const QByteArray& content);
/** The content of \a path; null if there is none. */
QByteArray read(const QString& path);
/** \a size bytes that repeat nowhere, so that a missing or misplaced block shows. */
QByteArray noise(qsizetype size);
/** The names of everything in \a directory, hidden files and dead links included, sorted. */
QStringList entries(const QString& directory);

/**
 * A folder on another file system than that of the temporary folders: a memory file system mounted
 * for this process alone, with room for \a size ("1m"; empty: no limit that matters), or, where
 * mounting is not allowed and no size is asked for, a folder in shared memory.
 */
class SecondFileSystem
{
public:
    explicit SecondFileSystem(const QByteArray& size = {});
    ~SecondFileSystem();
    Q_DISABLE_COPY_MOVE(SecondFileSystem)

    bool isAvailable() const
    {
        return !m_path.isEmpty();
    }
    QString path() const
    {
        return m_path;
    }
    QString filePath(const QString& name) const
    {
        return m_path + u'/' + name;
    }

private:
    QTemporaryDir m_mountPoint;
    std::unique_ptr<QTemporaryDir> m_sharedMemory;
    QString m_path;
    bool m_mounted = false;
};

/** Why a test that needs a SecondFileSystem is skipped. */
constexpr auto kNoSecondFileSystem =
    "no second file system: mounting is not allowed here and /dev/shm is on the same one";

/** For as long as this lives, an administrator's process has an ordinary user's rights. */
class OrdinaryUser
{
public:
    OrdinaryUser();
    ~OrdinaryUser();
    Q_DISABLE_COPY_MOVE(OrdinaryUser)

private:
    bool m_changed = false;
};

/** A folder that the ordinary user may read and write. */
class OpenFolder : public QTemporaryDir
{
public:
    OpenFolder();
};

} // namespace filefixture
