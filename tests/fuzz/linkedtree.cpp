#include "linkedtree.h"

#include "campaign.h"

#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSet>
#include <QStandardPaths>

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>

namespace fuzz {

namespace {

constexpr quint64 kRecordings = 3;
/** Few, so that files of different folders often share their names. */
constexpr std::array<const char*, 5> kNames = {"x.mp3", "y.mp3", "z.mp3", "X.mp3", "a.flac"};
constexpr std::array<const char*, 4> kFolders = {"m", "n", "M", "sub"};

QByteArray anyOf(const QByteArrayList& list, Random& random)
{
    return list.at(static_cast<qsizetype>(pick(random, static_cast<quint64>(list.size()))));
}

/** Shows \a folder at \a path as well. What is changed in an overlay stays there, in memory. */
bool show(const QByteArray& folder, const QByteArray& path, const QByteArray& way)
{
    if (way == "bind") {
        return ::mount(folder.constData(), path.constData(), nullptr, MS_BIND, nullptr) == 0;
    }
    if (way != "overlay") {
        return QProcess::execute(QString::fromLatin1(way),
                                 {QFile::decodeName(folder), QFile::decodeName(path)}) == 0;
    }
    const QByteArray changes = path + ".changes";
    const QByteArray options =
        "lowerdir=" + folder + ",upperdir=" + changes + "/upper,workdir=" + changes + "/work";
    return ::mkdir(changes.constData(), 0700) == 0 &&
           ::mkdir((changes + "/upper").constData(), 0700) == 0 &&
           ::mkdir((changes + "/work").constData(), 0700) == 0 &&
           ::mount("overlay", path.constData(), "overlay", 0, options.constData()) == 0;
}

QByteArray newName(const QByteArrayList& folders, Random& random)
{
    const QByteArray folder = anyOf(folders, random);
    return folder + '/' + kNames[pick(random, kNames.size())];
}

} // namespace

QByteArrayList waysToMount()
{
    static const QByteArrayList ways = [] {
        const bool allowed = ::geteuid() == 0 && ::unshare(CLONE_NEWNS) == 0 &&
                             ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
        QByteArrayList found;
        if (allowed) {
            found = {"bind", "overlay"};
            for (const char* program : {"bindfs", "mergerfs"}) {
                if (!QStandardPaths::findExecutable(QString::fromLatin1(program)).isEmpty()) {
                    found.append(program);
                }
            }
        }
        return found;
    }();
    return ways;
}

char recordingAt(const QString& path)
{
    QFile file(path);
    return file.open(QFile::ReadOnly) ? file.read(1).append('\0').at(0) : '\0';
}

LinkedTree::LinkedTree(const QString& root, Random& random)
    : m_root(QFile::encodeName(root))
    , m_folders{m_root}
{
    require(::mkdir(m_root.constData(), 0700) == 0, "no folder could be made");
    addFolder(random);
    addFile(random);
    const quint64 kinds = 2 + pick(random, 5); // some trees have no links, few have all kinds
    for (quint64 left = 3 + pick(random, 9); left > 0; --left) {
        switch (pick(random, kinds)) {
        case 2:
            addFolder(random);
            break;
        case 3:
        case 4:
            addLink(random);
            break;
        case 5:
            addHardLink(random);
            break;
        default:
            addFile(random);
        }
    }
    if (pick(random, 8) == 0) {
        mountAgain(random);
    }
}

LinkedTree::~LinkedTree()
{
    if (!m_mountPoint.isEmpty()) {
        ::umount2(m_mountPoint.constData(), MNT_DETACH);
    }
    std::filesystem::remove_all(m_root.toStdString());
}

void LinkedTree::addFolder(Random& random)
{
    const QByteArray parent = anyOf(m_folders, random);
    const QByteArray path = parent + '/' + kFolders[pick(random, kFolders.size())];
    if (::mkdir(path.constData(), 0700) == 0) {
        m_folders.append(path);
    }
}

void LinkedTree::addFile(Random& random)
{
    const QByteArray path = newName(m_folders, random);
    const char letter = static_cast<char>('A' + pick(random, kRecordings));
    QFile file(QFile::decodeName(path));
    if (file.open(QFile::WriteOnly | QFile::NewOnly)) {
        require(file.write(&letter, 1) == 1, "no file could be written");
        m_files.append(path);
    }
}

void LinkedTree::addLink(Random& random)
{
    const bool toFolder = pick(random, 2) == 0;
    const QByteArray target = pick(random, 16) == 0 ? QByteArray("nothing")
                                                    : anyOf(toFolder ? m_folders : m_files, random);
    const QByteArray path =
        toFolder ? anyOf(m_folders, random) + "/link" : newName(m_folders, random);
    if (::symlink(target.constData(), path.constData()) == 0) {
        (toFolder ? m_folders : m_files).append(path);
        m_plain = false;
    }
}

void LinkedTree::addHardLink(Random& random)
{
    const QByteArray target = anyOf(m_files, random);
    const QByteArray path = newName(m_folders, random);
    if (::link(target.constData(), path.constData()) == 0) {
        m_files.append(path);
        m_plain = false;
    }
}

void LinkedTree::mountAgain(Random& random)
{
    const QByteArray folder = anyOf(m_folders, random);
    const quint64 any = random();
    const QByteArray path = m_root + "/mounted";
    const QByteArrayList ways = waysToMount();
    if (ways.isEmpty() || ::mkdir(path.constData(), 0700) != 0) {
        return;
    }
    // A program that shows the folder that it is mounted in would wait for itself.
    const bool isAround =
        QFileInfo(QFile::decodeName(folder)).canonicalFilePath() == QFile::decodeName(m_root);
    const QByteArray way =
        isAround ? "bind" : ways.at(static_cast<qsizetype>(any % quint64(ways.size())));
    // mergerfs shows a link to nothing, too, as a folder that is not there.
    if (QFileInfo(QFile::decodeName(folder)).isDir() && show(folder, path, way)) {
        m_mountPoint = path;
        m_isOverlay = way == "overlay";
        m_folders.append(path);
        m_plain = false;
    }
}

QStringList LinkedTree::someFolders(Random& random) const
{
    QStringList folders;
    for (quint64 left = 1 + pick(random, 3); left > 0; --left) {
        folders.append(QFile::decodeName(anyOf(m_folders, random)));
    }
    return folders;
}

void LinkedTree::removeAny(Random& random) const
{
    const QByteArray path = anyOf(m_files, random);
    if (mayChangeBehindMount()) {
        ::unlink(path.constData());
    }
}

QHash<char, int> LinkedTree::recordings() const
{
    QSet<quint64> inodes;
    QHash<char, int> files;
    using Walk = std::filesystem::recursive_directory_iterator;
    for (Walk entry(m_root.toStdString()); entry != Walk(); ++entry) {
        const QByteArray path = entry->path().c_str();
        struct stat status = {};
        if (path == m_mountPoint) {
            entry.disable_recursion_pending(); // its files have other numbers, and are the same
        } else if (::lstat(path.constData(), &status) == 0 && S_ISREG(status.st_mode) &&
                   !inodes.contains(status.st_ino)) {
            inodes.insert(status.st_ino);
            ++files[recordingAt(QFile::decodeName(path))];
        }
    }
    return files;
}

} // namespace fuzz
