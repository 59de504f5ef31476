#include "fingerprint/audiofilediscovery.h"
#include "support/media.h"

#include <QFile>
#include <QTest>

#include <cerrno>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <memory>

using fingerprint::Listing;
using testmedia::MediaFolder;

namespace {

/** The name of the entry in whose place its folder fails to be read; empty: none. */
QByteArray failsAt;
/** The path of a folder that is removed once its entry is read; empty: none. */
QByteArray removed;

} // namespace

/** The C library's function: the only way to a disk that fails in the middle of a folder. */
extern "C" dirent64* readdir64(DIR* directory)
{
    using Function = dirent64* (*)(DIR*);
    static const auto original = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "readdir64"));
    errno = 0;
    dirent64* entry = original(directory);
    if (entry != nullptr && !failsAt.isEmpty() && failsAt == entry->d_name) {
        errno = EIO;
        return nullptr;
    }
    if (entry != nullptr && !removed.isEmpty() && removed.endsWith(entry->d_name)) {
        ::rmdir(removed.constData());
    }
    return entry;
}

/** What a listing leaves out is noted, with the reason. */
class TestListingNotes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void whatIsLeftOutIsNoted_data();
    void whatIsLeftOutIsNoted();
    void unreadableFolderIsNotedAsUnlisted();
    void folderThatFailsInTheMiddleIsNotedAsUnlisted();
    void folderBelowTheLastDescriptorIsNotedAsUnlisted();
    void folderThatIsGoneIsNotNoted();
    void missingRootIsNoted();

private:
    /** What was skipped as "path below the folder: reason"; "FOLDER" before unlisted folders. */
    QStringList skipped(const Listing& listing) const;
    QByteArray native(const QByteArray& name) const
    {
        return QFile::encodeName(media->path()) + '/' + name;
    }

    std::unique_ptr<MediaFolder> media;
};

namespace {

enum class Kind {
    File,
    Folder,
    Link,
    Pipe,
};

void make(Kind kind, const QByteArray& path, const QByteArray& target)
{
    switch (kind) {
    case Kind::File:
        QVERIFY(mknod(path.constData(), S_IFREG | 0600, 0) == 0);
        break;
    case Kind::Folder:
        QVERIFY(mkdir(path.constData(), 0700) == 0);
        break;
    case Kind::Link:
        QVERIFY(symlink(target.constData(), path.constData()) == 0);
        break;
    case Kind::Pipe:
        QVERIFY(mkfifo(path.constData(), 0600) == 0);
        break;
    }
}

} // namespace

Q_DECLARE_METATYPE(Kind)

void TestListingNotes::init()
{
    media = std::make_unique<MediaFolder>();
}

void TestListingNotes::cleanup()
{
    failsAt.clear();
    removed.clear();
}

QStringList TestListingNotes::skipped(const Listing& listing) const
{
    QStringList texts;
    for (const auto& [path, reason, isUnlistedFolder] : listing.skipped) {
        const QString text = path.mid(media->path().size() + 1) + QLatin1String(": ") + reason;
        texts.append((isUnlistedFolder ? QLatin1String("FOLDER ") : QLatin1String("")) + text);
    }
    return texts;
}

void TestListingNotes::whatIsLeftOutIsNoted_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("target");
    QTest::addColumn<QString>("note");
    const auto row = [](const char* title, Kind kind, const QByteArray& name,
                        const QByteArray& target, const char* note) {
        QTest::newRow(title) << kind << name << target << QString::fromUtf8(note);
    };
    row("audio file", Kind::File, "a.mp3", {}, "");
    row("another file", Kind::File, "a.txt", {}, "");
    row("link to a file", Kind::Link, "a.mp3", "x.flac", "");
    row("dangling link", Kind::Link, "a.mp3", "nowhere", "a.mp3: dangling link");
    row("link below a file", Kind::Link, "a.mp3", "x.flac/y", "a.mp3: dangling link");
    row("dangling link of another name", Kind::Link, "a.txt", "nowhere", "");
    row("link to itself", Kind::Link, "a.mp3", "a.mp3",
        "a.mp3: link not readable (Too many levels of symbolic links)");
    row("link to a folder", Kind::Link, "more", ".", "more: link to a folder, not followed");
    row("link to a folder, with the name of a file", Kind::Link, "a.mp3", ".",
        "a.mp3: link to a folder, not followed");
    row("pipe", Kind::Pipe, "a.mp3", {}, "a.mp3: not a file");
    row("pipe of another name", Kind::Pipe, "a", {}, "");
    row("name in Latin-1", Kind::File, "Caf\xE9.mp3", {}, "Caf\\xE9.mp3: name not valid UTF-8");
    row("name beside an accent", Kind::File, "\xC3\xA9\xE9\x80.MP3", {},
        "\xC3\xA9\\xE9\\x80.MP3: name not valid UTF-8");
    row("name in Latin-1, of another kind", Kind::File, "Caf\xE9.txt", {}, "");
    row("folder in Latin-1", Kind::Folder, "Caf\xE9", {}, "FOLDER Caf\\xE9: name not valid UTF-8");
    row("hidden dangling link", Kind::Link, ".a.mp3", "nowhere", "");
    row("hidden name in Latin-1", Kind::File, ".Caf\xE9.mp3", {}, "");
    row("hidden link to a folder", Kind::Link, ".more", ".", "");
}

void TestListingNotes::whatIsLeftOutIsNoted()
{
    QFETCH(const Kind, kind);
    QFETCH(const QByteArray, name);
    QFETCH(const QByteArray, target);
    QFETCH(const QString, note);
    media->write(QStringLiteral("x.flac"), {});
    make(kind, native(name), target);
    const Listing listing = fingerprint::listAudioFiles({media->path()}, {});
    QCOMPARE(skipped(listing), note.isEmpty() ? QStringList() : QStringList(note));
    QCOMPARE(listing.files, fingerprint::findAudioFiles({media->path()}));
}

void TestListingNotes::unreadableFolderIsNotedAsUnlisted()
{
    media->write(QStringLiteral("locked/a.mp3"), {});
    media->write(QStringLiteral("b.mp3"), {});
    const bool privileged = geteuid() == 0;
    chmod(native({}).constData(), 0755);
    chmod(native("locked").constData(), 0);
    // An administrator reads everything, so the search is made as nobody.
    QVERIFY(!privileged || seteuid(65534) == 0);
    const Listing listing = fingerprint::listAudioFiles({media->path()}, {});
    QVERIFY(!privileged || seteuid(0) == 0);
    chmod(native("locked").constData(), 0755);
    QCOMPARE(listing.files, QStringList{media->filePath(QStringLiteral("b.mp3"))});
    QCOMPARE(skipped(listing),
             QStringList{QStringLiteral("FOLDER locked: folder not readable (Permission denied)")});
}

void TestListingNotes::folderThatFailsInTheMiddleIsNotedAsUnlisted()
{
    media->write(QStringLiteral("folder/bad.mp3"), {});
    media->write(QStringLiteral("other/good.mp3"), {});
    failsAt = "bad.mp3";
    const Listing listing = fingerprint::listAudioFiles({media->path()}, {});
    QCOMPARE(listing.files, QStringList{media->filePath(QStringLiteral("other/good.mp3"))});
    QCOMPARE(skipped(listing), QStringList{QStringLiteral(
                                   "FOLDER folder: folder not readable (Input/output error)")});
}

void TestListingNotes::folderBelowTheLastDescriptorIsNotedAsUnlisted()
{
    media->write(QStringLiteral("1/2/3/4/5/6/7/8/a.mp3"), {});
    rlimit limit = {};
    QVERIFY(getrlimit(RLIMIT_NOFILE, &limit) == 0);
    // Five free numbers, which need not be neighbours.
    rlimit few = {0, limit.rlim_max};
    for (int free = 0; free < 5; ++few.rlim_cur) {
        free += fcntl(static_cast<int>(few.rlim_cur), F_GETFD) == -1 ? 1 : 0;
    }
    QVERIFY(setrlimit(RLIMIT_NOFILE, &few) == 0);
    const Listing listing = fingerprint::listAudioFiles({media->path()}, {});
    QVERIFY(setrlimit(RLIMIT_NOFILE, &limit) == 0);
    QCOMPARE(listing.files, QStringList());
    QCOMPARE(skipped(listing), QStringList{QStringLiteral(
                                   "FOLDER 1/2/3/4/5: folder not readable (Too many open files)")});
}

void TestListingNotes::folderThatIsGoneIsNotNoted()
{
    media->filePath(QStringLiteral("gone/x"));
    removed = native("gone");
    QCOMPARE(skipped(fingerprint::listAudioFiles({media->path()}, {})), QStringList());
    QVERIFY(!QFile::exists(QString::fromUtf8(removed)));
}

void TestListingNotes::missingRootIsNoted()
{
    const QString missing = media->path() + QStringLiteral("/missing");
    QCOMPARE(skipped(fingerprint::listAudioFiles({missing}, {})),
             QStringList{QStringLiteral(
                 "FOLDER missing: folder not readable (No such file or directory)")});
}

QTEST_GUILESS_MAIN(TestListingNotes)
#include "tst_listingnotes.moc"
