#include "fingerprint/audiofilediscovery.h"

#include <algorithm>

#ifdef Q_OS_UNIX
#include <QByteArray>
#include <QFile>

#include <dirent.h>
#include <sys/stat.h>

#include <memory>
#include <vector>
#else
#include <QDirIterator>
#include <QFileInfo>
#endif

namespace fingerprint {

namespace {

/** The patterns without their "*."; no suffix has a dot. */
QStringList suffixesOf(const QStringList& patterns)
{
    QStringList suffixes;
    for (const QString& pattern : patterns) {
        suffixes.append(pattern.sliced(2));
    }
    return suffixes;
}

/**
 * True when one of the patterns matches \a fileName as QDirIterator's name filters do: "*."
 * matches everything up to the last dot, line breaks and nothing at all included, and the rest is
 * compared by simple case folding, character by character.
 */
bool isAudioFileName(QStringView fileName)
{
    static const QStringList suffixes = suffixesOf(audioFileNamePatterns());
    const qsizetype dot = fileName.lastIndexOf(u'.');
    if (dot < 0) {
        return false;
    }
    const QStringView suffix = fileName.sliced(dot + 1);
    return std::any_of(suffixes.cbegin(), suffixes.cend(), [suffix](const QString& known) {
        return suffix.size() == known.size() && suffix.compare(known, Qt::CaseInsensitive) == 0;
    });
}

#ifdef Q_OS_UNIX

/** True when the last component of \a path is the name of an audio file. */
bool isAudioFilePath(QStringView path)
{
    return isAudioFileName(path.sliced(path.lastIndexOf(u'/') + 1));
}

/** The type of \a entry as one of the C library's DT_ constants, links not followed. */
int typeOf(const dirent& entry, const QByteArray& path)
{
    if (entry.d_type != DT_UNKNOWN) {
        return entry.d_type;
    }
    // Some file systems do not keep the type beside the name.
    struct stat status
    {
    };
    return lstat(path.constData(), &status) == 0 ? int{IFTODT(status.st_mode)} : int{DT_UNKNOWN};
}

/** Whether the link at \a path leads to anything but a folder. */
bool leadsToFile(const QByteArray& path)
{
    struct stat status
    {
    };
    return stat(path.constData(), &status) == 0 && !S_ISDIR(status.st_mode);
}

struct CloseFolder
{
    void operator()(DIR* folder) const
    {
        closedir(folder);
    }
};

/** A folder that is being read, and the path of its entries up to their names, in bytes. */
struct OpenFolder
{
    explicit OpenFolder(const QByteArray& path)
        : entries(opendir(path.constData()))
        , prefix(path.endsWith('/') ? path : path + '/')
    {
    }

    std::unique_ptr<DIR, CloseFolder> entries; ///< null where it could not be opened
    QByteArray prefix;
};

/**
 * Appends the audio files under \a root to \a files. A subfolder is listed at its own entry, before
 * the entries behind it.
 *
 * The C library reads the folders: QDirIterator of Qt 6.8 ends at the first name that is not valid
 * UTF-8 and skips the rest of the folder, and std::filesystem splits each path into components,
 * which takes more than twice the time in deep folders.
 */
void appendAudioFiles(const QString& root, const std::stop_token& stop, QStringList& files)
{
    std::vector<OpenFolder> open;
    open.emplace_back(QFile::encodeName(root));
    while (!open.empty() && !stop.stop_requested()) {
        const OpenFolder& folder = open.back();
        // cppcheck-suppress readdirCalled ; only readers of one and the same stream share its state
        const dirent* entry = folder.entries ? readdir(folder.entries.get()) : nullptr;
        if (entry == nullptr) {
            open.pop_back();
            continue;
        }
        // By its pointer: a name can be longer than its declared array.
        const QByteArrayView name(static_cast<const char*>(entry->d_name));
        if (name.startsWith('.') || !name.isValidUtf8()) {
            continue;
        }
        const QByteArray nativePath = folder.prefix + name.toByteArray();
        const int type = typeOf(*entry, nativePath);
        if (type == DT_DIR) {
            open.emplace_back(nativePath);
        } else if (type == DT_REG || type == DT_LNK) {
            const QString path = QFile::decodeName(nativePath);
            if (isAudioFilePath(path) && (type == DT_REG || leadsToFile(nativePath))) {
                files.append(path);
            }
        }
    }
}

#else

/** Without name filters: one call would skip many files and answer no stop meanwhile. */
void appendAudioFiles(const QString& root, const std::stop_token& stop, QStringList& files)
{
    QDirIterator entries(root, QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    while (!stop.stop_requested() && entries.hasNext()) {
        const QString path = entries.next();
        if (isAudioFileName(entries.fileName()) && !entries.fileInfo().isDir()) {
            files.append(path);
        }
    }
}

#endif

} // namespace

const QStringList& audioFileNamePatterns()
{
    static const QStringList patterns = {
        QStringLiteral("*.3g2"),  QStringLiteral("*.3gp"),  QStringLiteral("*.aac"),
        QStringLiteral("*.ac3"),  QStringLiteral("*.al"),   QStringLiteral("*.ape"),
        QStringLiteral("*.apl"),  QStringLiteral("*.avi"),  QStringLiteral("*.avif"),
        QStringLiteral("*.f4v"),  QStringLiteral("*.flac"), QStringLiteral("*.flv"),
        QStringLiteral("*.ism"),  QStringLiteral("*.isma"), QStringLiteral("*.ismv"),
        QStringLiteral("*.m2a"),  QStringLiteral("*.m4a"),  QStringLiteral("*.m4b"),
        QStringLiteral("*.m4v"),  QStringLiteral("*.mac"),  QStringLiteral("*.mj2"),
        QStringLiteral("*.mk3d"), QStringLiteral("*.mka"),  QStringLiteral("*.mks"),
        QStringLiteral("*.mkv"),  QStringLiteral("*.mov"),  QStringLiteral("*.mp2"),
        QStringLiteral("*.mp3"),  QStringLiteral("*.mp4"),  QStringLiteral("*.mpa"),
        QStringLiteral("*.mpc"),  QStringLiteral("*.ogg"),  QStringLiteral("*.psp"),
        QStringLiteral("*.sb"),   QStringLiteral("*.shn"),  QStringLiteral("*.sw"),
        QStringLiteral("*.tak"),  QStringLiteral("*.tta"),  QStringLiteral("*.ub"),
        QStringLiteral("*.ul"),   QStringLiteral("*.uw"),   QStringLiteral("*.webm"),
        QStringLiteral("*.wav"),  QStringLiteral("*.wma"),
    };
    return patterns;
}

QStringList findAudioFiles(const QStringList& folders, const std::stop_token& stop)
{
    QStringList files;
    for (const QString& folder : folders) {
        if (stop.stop_requested()) {
            break;
        }
        // Qt takes such a path for a resource, so no file under it could be opened later.
        if (!folder.startsWith(u':')) {
            appendAudioFiles(folder, stop, files);
        }
    }
    return files;
}

} // namespace fingerprint
