#include "fileops/keptfiles.h"
#include "fileops/samefile.h"

#include "filefixture.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <cstdarg>
#include <memory>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

using filefixture::write;

namespace {

/** The file that the system refuses to open, if there is a reason. */
QByteArray refusedPath;
int refusal = 0;

int openUnlessRefused(const char* function, const char* path, int flags, mode_t mode)
{
    if (refusal != 0 && refusedPath == path) {
        errno = refusal;
        return -1;
    }
    using Function = int(const char*, int, ...);
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, function))(path, flags, mode);
}

/** The third argument of open(), if the \a flags are such that it has one. */
mode_t modeOf(int flags, va_list arguments)
{
    return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE ? va_arg(arguments, mode_t)
                                                                      : 0;
}

bool hardLink(const QString& path, const QString& name)
{
    return ::link(QFile::encodeName(path).constData(), QFile::encodeName(name).constData()) == 0;
}

} // namespace

// The program's own functions replace those of the C library, in Qt's calls too.
extern "C" int open(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    return openUnlessRefused("open", path, flags, mode);
}

extern "C" int open64(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    return openUnlessRefused("open64", path, flags, mode);
}

/** Which paths lead to one and the same file, and which of them are names of files that stay. */
class SameFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup()
    {
        m_directory.reset();
    }

    void twoFilesWithTheSameContentAreTwo();
    void symbolicLinkIsTheFileItPointsTo();
    void fileInALinkedFolderIsTheSame();
    void folderMountedTwiceHoldsTheSameFiles();
    void hardLinksAreOneFile();
    void missingFileIsTheSameAsNothing();
    void onlyRegularFilesAreFiles();

    void fileSystemsDecideWhatIsShownTwice_data();
    void fileSystemsDecideWhatIsShownTwice();
    void spellingsAreOneFileWhereCaseDoesNotCount_data();
    void spellingsAreOneFileWhereCaseDoesNotCount();

    void namesOfAReferenceAreFound();
    void fileOfItsOwnIsNoName();
    void fileThatMayNotBeReadIsThere_data();
    void fileThatMayNotBeReadIsThere();
    void missingReferenceIsNotThere_data();
    void missingReferenceIsNotThere();
    void referenceShownByAnotherFileSystemIsFound();

private:
    QString path(const QString& name) const
    {
        return m_directory->filePath(name);
    }

    std::unique_ptr<QTemporaryDir> m_directory;
};

void SameFileTest::init()
{
    m_directory = std::make_unique<QTemporaryDir>();
    QVERIFY(QDir(m_directory->path()).mkpath(u"music"_s));
    QVERIFY(write(path(u"music/x.mp3"_s), "x"));
    QVERIFY(write(path(u"music/y.mp3"_s), "x"));
    QVERIFY(QFile::link(path(u"music"_s), path(u"linked"_s)));
}

void SameFileTest::twoFilesWithTheSameContentAreTwo()
{
    QVERIFY(!fileops::isSameFile(path(u"music/x.mp3"_s), path(u"music/y.mp3"_s)));
}

void SameFileTest::symbolicLinkIsTheFileItPointsTo()
{
    QVERIFY(QFile::link(path(u"music/x.mp3"_s), path(u"link.mp3"_s)));
    QVERIFY(fileops::isSameFile(path(u"music/x.mp3"_s), path(u"link.mp3"_s)));
    QVERIFY(fileops::isSameFile(path(u"link.mp3"_s), path(u"music/x.mp3"_s)));
    QVERIFY(!fileops::isSameFile(path(u"music/y.mp3"_s), path(u"link.mp3"_s)));
}

void SameFileTest::fileInALinkedFolderIsTheSame()
{
    QVERIFY(fileops::isSameFile(path(u"music/x.mp3"_s), path(u"linked/x.mp3"_s)));
    QVERIFY(fileops::isSameFile(path(u"music/x.mp3"_s), path(u"music/../linked/./x.mp3"_s)));
}

void SameFileTest::folderMountedTwiceHoldsTheSameFiles()
{
    const filefixture::SecondFileSystem other; // its mounts are private to this process
    QVERIFY(QDir().mkpath(path(u"mounted"_s)));
    const QByteArray mountPoint = QFile::encodeName(path(u"mounted"_s));
    if (::mount(QFile::encodeName(path(u"music"_s)).constData(), mountPoint.constData(), nullptr,
                MS_BIND, nullptr) != 0) {
        QSKIP("mounting is not allowed here");
    }
    const bool same = fileops::isSameFile(path(u"music/x.mp3"_s), path(u"mounted/x.mp3"_s));
    QCOMPARE(::umount2(mountPoint.constData(), MNT_DETACH), 0);
    QVERIFY(same);
}

void SameFileTest::hardLinksAreOneFile()
{
    QVERIFY(hardLink(path(u"music/x.mp3"_s), path(u"hard.mp3"_s)));
    QVERIFY(QFile::link(path(u"hard.mp3"_s), path(u"soft.mp3"_s)));
    QVERIFY(fileops::isSameFile(path(u"music/x.mp3"_s), path(u"hard.mp3"_s)));
    QVERIFY(fileops::isSameFile(path(u"linked/x.mp3"_s), path(u"soft.mp3"_s)));
    QVERIFY(!fileops::isSameFile(path(u"music/y.mp3"_s), path(u"hard.mp3"_s)));
}

void SameFileTest::missingFileIsTheSameAsNothing()
{
    QVERIFY(!fileops::isSameFile(path(u"absent"_s), path(u"absent"_s)));
    QVERIFY(!fileops::isSameFile(QString(), QString()));
    QVERIFY(QFile::link(path(u"absent"_s), path(u"dead.mp3"_s)));
    QVERIFY(!fileops::isSameFile(path(u"dead.mp3"_s), path(u"dead.mp3"_s)));
}

void SameFileTest::onlyRegularFilesAreFiles()
{
    QVERIFY(!fileops::isSameFile(path(u"music"_s), path(u"linked"_s)));
}

void SameFileTest::fileSystemsDecideWhatIsShownTwice_data()
{
    using fileops::FileIdentity;
    using Kind = fileops::FileSystemKind;
    QTest::addColumn<FileIdentity>("first");
    QTest::addColumn<FileIdentity>("second");
    QTest::addColumn<bool>("same");
    // Another device, another inode, the same size and times.
    const auto identity = [](quint64 number, Kind kind) {
        return FileIdentity{
            u"/%1/a.mp3"_s.arg(number), number, number, 7, {100, 5}, {200, 5}, kind};
    };
    const FileIdentity local = identity(1, Kind::Local);
    const FileIdentity clone = identity(2, Kind::Local);
    const FileIdentity layered = identity(3, Kind::Layered);
    const FileIdentity bound = identity(4, Kind::FuseOrNetwork);
    const FileIdentity share = identity(5, Kind::FuseOrNetwork);
    const auto with = [](FileIdentity file, const auto& change) {
        change(file);
        return file;
    };
    const auto larger = [](FileIdentity& file) { ++file.size; };
    const auto modifiedLater = [](FileIdentity& file) { ++file.modified.nanoseconds; };
    const auto changedLater = [](FileIdentity& file) { ++file.changed.nanoseconds; };
    const auto nextSecond = [](FileIdentity& file) { ++file.modified.seconds; };

    QTest::newRow("local, cloned disk") << local << clone << false;
    QTest::newRow("local, overlay") << local << layered << true;
    QTest::newRow("overlay, local") << layered << local << true;
    QTest::newRow("local, FUSE") << local << bound << true;
    QTest::newRow("overlay, FUSE") << layered << bound << true;
    QTest::newRow("FUSE, network") << bound << share << true;
    QTest::newRow("FUSE, other size") << local << with(bound, larger) << false;
    QTest::newRow("FUSE, modified later") << local << with(bound, modifiedLater) << false;
    QTest::newRow("FUSE, changed later") << local << with(bound, changedLater) << false;
    QTest::newRow("overlay, changed later") << local << with(layered, changedLater) << false;
    QTest::newRow("two of FUSE, other size") << share << with(bound, larger) << false;
    QTest::newRow("two of FUSE, rounded") << share << with(bound, modifiedLater) << true;
    QTest::newRow("two of FUSE, changed later") << share << with(bound, changedLater) << true;
    QTest::newRow("two of FUSE, next second") << share << with(bound, nextSecond) << false;
    // On one device inodes decide, but for spellings.
    const auto onDevice1 = [](FileIdentity& file) { file.device = 1; };
    QTest::newRow("one device, FUSE") << local << with(bound, onDevice1) << false;
}

void SameFileTest::fileSystemsDecideWhatIsShownTwice()
{
    QFETCH(const fileops::FileIdentity, first);
    QFETCH(const fileops::FileIdentity, second);
    QFETCH(const bool, same);
    QCOMPARE(fileops::isSameFile(first, second), same);
}

void SameFileTest::spellingsAreOneFileWhereCaseDoesNotCount_data()
{
    QTest::addColumn<QString>("other");
    QTest::addColumn<QString>("third");
    QTest::addColumn<bool>("sameTimes");
    QTest::addColumn<bool>("same");
    QTest::newRow("no third spelling") << u"Music/x.mp3"_s << QString() << true << false;
    QTest::newRow("a third spelling") << u"Music/x.mp3"_s << u"music/x.mP3"_s << true << true;
    QTest::newRow("another name") << u"Music/z.mp3"_s << u"music/x.mP3"_s << true << false;
    QTest::newRow("other times") << u"Music/x.mp3"_s << u"music/x.mP3"_s << false << false;
    // The third spelling is one that neither path has.
    QTest::newRow("the name differs") << u"music/x.mP3"_s << u"music/x.Mp3"_s << true << true;
    QTest::newRow("only two") << u"music/x.mP3"_s << QString() << true << false;
}

void SameFileTest::spellingsAreOneFileWhereCaseDoesNotCount()
{
    // Where case counts, three files of one size and time look like three spellings of one.
    QFETCH(const QString, other);
    QFETCH(const QString, third);
    QFETCH(const bool, sameTimes);
    QFETCH(const bool, same);
    const auto makeTwin = [this](const QString& name, qint64 addedSeconds) {
        QDir(m_directory->path()).mkpath(QFileInfo(name).path());
        QFile file(path(name));
        return file.open(QFile::WriteOnly) && file.write("x") == 1 && file.flush() &&
               file.setFileTime(QDateTime::fromSecsSinceEpoch(1'000'000'000 + addedSeconds),
                                QFileDevice::FileModificationTime);
    };
    QVERIFY(makeTwin(u"music/x.mp3"_s, 0));
    QVERIFY(makeTwin(other, sameTimes ? 0 : 1));
    QVERIFY(third.isEmpty() || makeTwin(third, 0));
    QCOMPARE(fileops::isSameFile(path(u"music/x.mp3"_s), path(other)), same);
}

void SameFileTest::namesOfAReferenceAreFound()
{
    QVERIFY(QFile::link(path(u"music/x.mp3"_s), path(u"link.mp3"_s)));
    QVERIFY(hardLink(path(u"music/x.mp3"_s), path(u"hard.mp3"_s)));
    const QString x = path(u"music/x.mp3"_s);
    fileops::KeptFiles kept({x, path(u"link.mp3"_s)});
    for (const QString& name : {u"music/x.mp3"_s, u"link.mp3"_s, u"hard.mp3"_s, u"linked/x.mp3"_s,
                                u"music/../linked/./x.mp3"_s}) {
        QCOMPARE(kept.nameOf(path(name)), x);
    }
}

void SameFileTest::fileOfItsOwnIsNoName()
{
    fileops::KeptFiles kept({path(u"music/x.mp3"_s)});
    QCOMPARE(kept.nameOf(path(u"music/y.mp3"_s)), QString());
    QCOMPARE(kept.nameOf(path(u"absent"_s)), QString());
}

void SameFileTest::fileThatMayNotBeReadIsThere_data()
{
    using Kind = fileops::FileSystemKind;
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<int>("error");
    QTest::addColumn<bool>("there");
    QTest::newRow("can be read") << Kind::FuseOrNetwork << 0 << true;
    QTest::newRow("another's") << Kind::FuseOrNetwork << EACCES << true;
    QTest::newRow("protected") << Kind::FuseOrNetwork << EPERM << true;
    QTest::newRow("gone") << Kind::FuseOrNetwork << ENOENT << false;
    QTest::newRow("gone on its server") << Kind::FuseOrNetwork << ESTALE << false;
    QTest::newRow("broken disk") << Kind::FuseOrNetwork << EIO << false;
    QTest::newRow("gone below an overlay") << Kind::Layered << ENOENT << false;
    QTest::newRow("local, is not opened") << Kind::Local << ENOENT << true;
}

void SameFileTest::fileThatMayNotBeReadIsThere()
{
    QFETCH(const fileops::FileSystemKind, kind);
    QFETCH(const int, error);
    fileops::FileIdentity identity;
    identity.path = path(u"music/x.mp3"_s);
    identity.kind = kind;
    refusedPath = QFile::encodeName(identity.path);
    refusal = error;
    const bool there = fileops::isStillThere(identity);
    refusal = 0;
    QTEST(there, "there");
}

void SameFileTest::missingReferenceIsNotThere_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("there");
    QTest::newRow("file") << u"music/x.mp3"_s << true;
    QTest::newRow("link to a file") << u"linked/x.mp3"_s << true;
    QTest::newRow("nothing") << u"absent.mp3"_s << false;
    QTest::newRow("dead link") << u"dead.mp3"_s << false;
    QTest::newRow("folder in its place") << u"music"_s << false;
}

void SameFileTest::missingReferenceIsNotThere()
{
    QFETCH(const QString, name);
    QFETCH(const bool, there);
    QVERIFY(QFile::link(path(u"absent"_s), path(u"dead.mp3"_s)));
    const fileops::KeptFiles kept({path(name)});
    QCOMPARE(kept.isThere(path(name)), there);
}

void SameFileTest::referenceShownByAnotherFileSystemIsFound()
{
    // Three files of one size and time look like three spellings of one.
    const QDateTime time = QDateTime::fromSecsSinceEpoch(1'000'000'000);
    for (const QString& name : {u"X.mp3"_s, u"x.mp3"_s, u"X.mP3"_s}) {
        QFile file(path(name));
        QVERIFY(file.open(QFile::WriteOnly) && file.setFileTime(time, QFile::FileModificationTime));
    }
    fileops::KeptFiles kept({path(u"music/y.mp3"_s), path(u"X.mp3"_s)});
    QCOMPARE(kept.nameOf(path(u"x.mp3"_s)), path(u"X.mp3"_s));
}

QTEST_GUILESS_MAIN(SameFileTest)
#include "tst_samefile.moc"
