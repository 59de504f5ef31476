#include "fingerprint/audiofilediscovery.h"

#include <algorithm>

#ifdef Q_OS_UNIX
#include <QByteArray>
#include <QFile>

#include <cerrno>
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

/** What follows the last dot in \a fileName; null without a dot. */
QStringView endingOf(QStringView fileName)
{
    const qsizetype dot = fileName.lastIndexOf(u'.');
    return dot < 0 ? QStringView() : fileName.sliced(dot + 1);
}

/**
 * True when one of the patterns matches a file of this \a ending as QDirIterator's name filters do:
 * "*." matches everything up to the last dot, line breaks and nothing at all included, and the rest
 * is compared by simple case folding, character by character.
 */
bool matchesPattern(QStringView ending)
{
    static const QStringList suffixes = suffixesOf(audioFileNamePatterns());
    return std::any_of(suffixes.cbegin(), suffixes.cend(), [ending](const QString& known) {
        return ending.size() == known.size() && ending.compare(known, Qt::CaseInsensitive) == 0;
    });
}

bool isOneOf(const QSet<QString>& endings, QStringView ending)
{
    return !endings.isEmpty() && endings.contains(ending.toString().toLower());
}

bool isAudioFileName(QStringView fileName, const ListingOptions& options)
{
    const QStringView ending = endingOf(fileName);
    return matchesPattern(ending) || isOneOf(options.moreEndings, ending);
}

#ifdef Q_OS_UNIX

/** The last component of \a path. */
QStringView nameOf(QStringView path)
{
    return path.sliced(path.lastIndexOf(u'/') + 1);
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

/** \a path with the bytes that are not UTF-8 shown by their numbers. */
QString shown(QByteArrayView path)
{
    constexpr qsizetype kLongestCharacter = 4;
    QString text;
    while (!path.isEmpty()) {
        qsizetype length = 1;
        while (length < std::min(kLongestCharacter, path.size()) &&
               !path.first(length).isValidUtf8()) {
            ++length;
        }
        if (path.first(length).isValidUtf8()) {
            text += QString::fromUtf8(path.first(length));
        } else {
            length = 1;
            // Its highest bit is set, so the number has two digits.
            text += QLatin1String("\\x") +
                    QString::number(static_cast<uchar>(path.front()), 16).toUpper();
        }
        path = path.sliced(length);
    }
    return text;
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
        , error(entries ? 0 : errno)
        , prefix(path.endsWith('/') ? path : path + '/')
    {
    }

    std::unique_ptr<DIR, CloseFolder> entries; ///< null where it could not be opened
    int error;
    QByteArray prefix;
};

/**
 * One searched folder. A subfolder is listed at its own entry, before the entries behind it.
 *
 * The C library reads the folders: QDirIterator of Qt 6.8 ends at the first name that is not valid
 * UTF-8 and skips the rest of the folder, and std::filesystem splits each path into components,
 * which takes more than twice the time in deep folders.
 */
class FolderListing
{
public:
    /** Appends to \a files, and, unless it is null, to \a notes. */
    FolderListing(const ListingOptions& options, QStringList& files, Listing* notes)
        : m_options(options)
        , m_files(files)
        , m_notes(notes)
    {
    }

    void list(const QString& root, const std::stop_token& stop)
    {
        m_open.emplace_back(QFile::encodeName(root));
        m_rootLength = m_open.back().prefix.size();
        while (!m_open.empty() && !stop.stop_requested()) {
            OpenFolder& folder = m_open.back();
            errno = 0;
            // cppcheck-suppress readdirCalled ; only readers of one and the same stream share its
            // state
            const dirent* entry = folder.entries ? readdir(folder.entries.get()) : nullptr;
            if (entry != nullptr) {
                take(*entry);
                continue;
            }
            noteUnlisted(folder, folder.entries ? errno : folder.error);
            m_open.pop_back();
        }
    }

private:
    void take(const dirent& entry)
    {
        // By its pointer: a name can be longer than its declared array.
        const QByteArrayView name(static_cast<const char*>(entry.d_name));
        if (name.startsWith('.')) {
            return;
        }
        const QByteArray nativePath = m_open.back().prefix + name.toByteArray();
        if (!name.isValidUtf8()) {
            noteInvalidName(entry, nativePath);
            return;
        }
        const int type = typeOf(entry, nativePath);
        const QString path = QFile::decodeName(nativePath);
        if (m_options.isExcluded &&
            m_options.isExcluded(QFile::decodeName(nativePath.sliced(m_rootLength)),
                                 type == DT_DIR)) {
            return;
        }
        if (type == DT_DIR) {
            m_open.emplace_back(nativePath);
        } else if (isAudioFileName(nameOf(path), m_options)) {
            takeAudioFile(path, nativePath, type);
        } else if (m_notes) {
            noteOther(path, nativePath, type);
        }
    }

    void takeAudioFile(const QString& path, const QByteArray& nativePath, int type)
    {
        if (type == DT_REG) {
            m_files.append(path);
        } else if (type == DT_LNK) {
            struct stat status
            {
            };
            if (stat(nativePath.constData(), &status) != 0) {
                note(path, errno == ENOENT || errno == ENOTDIR ? QStringLiteral("dangling link")
                                                               : linkError(errno));
            } else if (S_ISDIR(status.st_mode)) {
                note(path, linkToFolder());
            } else {
                m_files.append(path);
            }
        } else {
            note(path, QStringLiteral("not a file"));
        }
    }

    /** Notes what is not searched for: files of the noted endings, and links to folders. */
    void noteOther(const QString& path, const QByteArray& nativePath, int type)
    {
        struct stat status
        {
        };
        if (type == DT_LNK && stat(nativePath.constData(), &status) == 0) {
            if (S_ISDIR(status.st_mode)) {
                note(path, linkToFolder());
                return;
            }
            type = IFTODT(status.st_mode);
        }
        if (type == DT_REG && isOneOf(m_options.notedEndings, endingOf(nameOf(path)))) {
            m_notes->noted.append(path);
        }
    }

    void noteInvalidName(const dirent& entry, const QByteArray& nativePath)
    {
        if (!m_notes) {
            return;
        }
        const QString path = shown(nativePath);
        const bool isFolder = typeOf(entry, nativePath) == DT_DIR;
        const bool isExcluded =
            m_options.isExcluded &&
            m_options.isExcluded(shown(nativePath.sliced(m_rootLength)), isFolder);
        if (!isExcluded && (isFolder || isAudioFileName(nameOf(path), m_options))) {
            note(path, QStringLiteral("name not valid UTF-8"), isFolder);
        }
    }

    void noteUnlisted(const OpenFolder& folder, int error)
    {
        const bool isRoot = m_open.size() == 1;
        const bool isGone = error == ENOENT || error == ENOTDIR;
        if (error != 0 && (isRoot || !isGone)) {
            note(QFile::decodeName(folder.prefix.chopped(1)),
                 QStringLiteral("folder not readable (%1)").arg(qt_error_string(error)), true);
        }
    }

    void note(const QString& path, const QString& reason, bool isUnlistedFolder = false)
    {
        if (m_notes) {
            m_notes->skipped.append({path, reason, isUnlistedFolder});
        }
    }

    static QString linkToFolder()
    {
        return QStringLiteral("link to a folder, not followed");
    }

    static QString linkError(int error)
    {
        return QStringLiteral("link not readable (%1)").arg(qt_error_string(error));
    }

    const ListingOptions& m_options;
    QStringList& m_files;
    Listing* m_notes;
    std::vector<OpenFolder> m_open;
    /** The bytes of a path up to where it goes on below the searched folder. */
    qsizetype m_rootLength = 0;
};

void appendAudioFiles(const QString& root, const ListingOptions& options,
                      const std::stop_token& stop, QStringList& files, Listing* notes)
{
    FolderListing(options, files, notes).list(root, stop);
}

#else

/** Without name filters: one call would skip many files and answer no stop meanwhile. */
void appendAudioFiles(const QString& root, const ListingOptions& options,
                      const std::stop_token& stop, QStringList& files, Listing* notes)
{
    QDirIterator entries(root, QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    while (!stop.stop_requested() && entries.hasNext()) {
        const QString path = entries.next();
        if (entries.fileInfo().isDir()) {
            continue;
        }
        if (isAudioFileName(entries.fileName(), options)) {
            files.append(path);
        } else if (notes && isOneOf(options.notedEndings, endingOf(entries.fileName()))) {
            notes->noted.append(path);
        }
    }
}

#endif

/** Lists \a folders into \a files and, unless it is null, \a notes. */
void listFolders(const QStringList& folders, const ListingOptions& options,
                 const std::stop_token& stop, QStringList& files, Listing* notes)
{
    for (const QString& folder : folders) {
        if (stop.stop_requested()) {
            break;
        }
        // Qt takes such a path for a resource, so no file under it could be opened later.
        if (!folder.startsWith(u':')) {
            appendAudioFiles(folder, options, stop, files, notes);
        }
    }
}

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
    listFolders(folders, {}, stop, files, nullptr);
    return files;
}

Listing listAudioFiles(const QStringList& folders, const ListingOptions& options,
                       const std::stop_token& stop)
{
    Listing listing;
    listFolders(folders, options, stop, listing.files, &listing);
    return listing;
}

Treatment treatmentOf(const QString& pathBelow, const ListingOptions& options)
{
    for (qsizetype begin = 0, end = 0; end < pathBelow.size(); begin = end + 1) {
        const qsizetype slash = pathBelow.indexOf(u'/', begin);
        end = slash < 0 ? pathBelow.size() : slash;
        const bool isHidden = begin < end && pathBelow.at(begin) == u'.';
        if (isHidden ||
            (options.isExcluded && options.isExcluded(pathBelow.first(end), slash >= 0))) {
            return Treatment::LeftOut;
        }
    }
    const QStringView name = QStringView(pathBelow).sliced(pathBelow.lastIndexOf(u'/') + 1);
    if (isAudioFileName(name, options)) {
        return Treatment::Listed;
    }
    return isOneOf(options.notedEndings, endingOf(name)) ? Treatment::Noted : Treatment::LeftOut;
}

} // namespace fingerprint
