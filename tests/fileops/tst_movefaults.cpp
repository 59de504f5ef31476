#include "filefixture.h"
#include "tracedrun.h"

#include <QFile>
#include <QFileInfo>
#include <QTest>

#include <fcntl.h>
#include <functional>
#include <memory>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

using filefixture::entries;
using filefixture::read;
using filefixture::write;

namespace {

// Landmarks in the trace of a move between file systems.
constexpr auto kFirstRename = "renameat2(AT_FDCWD";
constexpr auto kTargetOpened = "O_PATH";
constexpr auto kSourceOpened = "O_NONBLOCK|O_NOFOLLOW";
constexpr auto kCopyCreated = "O_TMPFILE";
constexpr auto kFlushed = "fsync(";
constexpr auto kNamed = "linkat(";
// Landmarks where the target file system has no unnamed files that can be linked.
const QString kNoLinks = u"linkat:error=EPERM"_s;
constexpr auto kTemporaryName = "\".quorvel-";
constexpr auto kDirectoryOpened = "\".\", O_RDONLY";

constexpr qsizetype kSize = 300'000; // three blocks
constexpr mode_t kMode = 0640;
constexpr time_t kModified = 1'234'567'890;

} // namespace

/**
 * Moves and copies whose system calls fail, or that are killed, at every step: whatever happens,
 * the source is whole under one of its names, and what is reported is so. Each case makes sure that
 * its fault really struck.
 */
class MoveFaultsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void faultBetweenFileSystemsLeavesAllAsItWas_data();
    void faultBetweenFileSystemsLeavesAllAsItWas();
    void faultInTheFallbackLeavesAllAsItWas_data();
    void faultInTheFallbackLeavesAllAsItWas();
    void faultInTheMoveOfALinkLeavesTheSource_data();
    void faultInTheMoveOfALinkLeavesTheSource();
    void failedRenameIsNotAnsweredByCopying_data();
    void failedRenameIsNotAnsweredByCopying();
    void writeThatWroteNothingIsDetected();
    void failureThatDoesNotMatterIsNone_data();
    void failureThatDoesNotMatterIsNone();

    void modeBitsThatAreRefusedAreLeftOut_data();
    void modeBitsThatAreRefusedAreLeftOut();

    void withoutExclusiveRenameTheFileIsLinked_data();
    void withoutExclusiveRenameTheFileIsLinked();
    void withoutLinksTheFileIsCopied();
    void withoutLinksNothingIsOverwritten();
    void withoutLinksAFaultLeavesAllAsItWas_data();
    void withoutLinksAFaultLeavesAllAsItWas();
    void mountOfTheSameFileSystemIsCopiedTo();

    void sourceChangedMeanwhileStaysAndTheCopyGoes_data();
    void sourceChangedMeanwhileStaysAndTheCopyGoes();
    void sourceRemovedMeanwhileIsNotLostTwice();
    void sourceThatCannotBeSeenIsNoProofOfAMove();

    void killedMoveLosesNothing_data();
    void killedMoveLosesNothing();
    void copyUnderFaultsIsWholeOrAbsent_data();
    void copyUnderFaultsIsWholeOrAbsent();
    void copyThatCannotHaveItsPermissionsIsMade();

private:
    QString source() const
    {
        return m_here->filePath(u"a.mp3"_s);
    }
    QString nearby() const
    {
        return m_here->filePath(u"b.mp3"_s);
    }
    QString faraway() const
    {
        return m_other->filePath(u"b.mp3"_s);
    }
    tracedrun::Result move(const QString& destination, const QStringList& faults) const
    {
        return tracedrun::run({u"move"_s, source(), destination}, faults);
    }
    /** One fault at a call that \a earlier run made. */
    static QString faultIn(const tracedrun::Result& earlier, const QByteArray& systemCall,
                           const QByteArray& landmark, int offset, const QString& effect);
    QString fault(const QByteArray& systemCall, const QByteArray& landmark, int offset,
                  const QString& effect) const
    {
        return faultIn(m_without, systemCall, landmark, offset, effect);
    }
    /** Moves between file systems, stops at the flush after \a landmark and calls \a meanwhile. */
    tracedrun::Result moveHeldUp(const QByteArray& landmark,
                                 const std::function<void()>& meanwhile) const;
    void verifyAsItWas() const;
    void verifyMovedTo(const QString& destination) const;

    std::unique_ptr<filefixture::OpenFolder> m_here;
    std::unique_ptr<filefixture::SecondFileSystem> m_other;
    tracedrun::Result m_without;      ///< A move between file systems without any fault.
    tracedrun::Result m_withoutLinks; ///< The same where unnamed files cannot be linked.
    const QByteArray m_content = filefixture::noise(kSize);
};

void MoveFaultsTest::initTestCase()
{
    QString reason;
    if (!tracedrun::isPossible(&reason)) {
        QSKIP(qPrintable(reason));
    }
    init();
    if (!m_other->isAvailable()) {
        QSKIP(filefixture::kNoSecondFileSystem);
    }
    m_without = move(faraway(), {});
    QCOMPARE(m_without.output, "true\n");
    QCOMPARE(m_without.injected, 0);
    verifyMovedTo(faraway());
    if (!m_without.trace.contains(kNamed)) {
        QSKIP("no unnamed files on the second file system");
    }
    cleanup();
    init();
    m_withoutLinks = move(faraway(), {kNoLinks});
    QCOMPARE(m_withoutLinks.output, "true\n");
    QCOMPARE(m_withoutLinks.injected, 1);
    verifyMovedTo(faraway());
    cleanup();
}

void MoveFaultsTest::init()
{
    m_here = std::make_unique<filefixture::OpenFolder>();
    m_other = std::make_unique<filefixture::SecondFileSystem>();
    QVERIFY(write(source(), m_content));
    const QByteArray name = QFile::encodeName(source());
    QCOMPARE(::chmod(name.constData(), kMode), 0);
    const timespec times[2] = {{kModified, 1}, {kModified, 123'456'789}};
    QCOMPARE(::utimensat(AT_FDCWD, name.constData(), times, 0), 0);
}

void MoveFaultsTest::cleanup()
{
    m_here.reset();
    m_other.reset();
}

QString MoveFaultsTest::faultIn(const tracedrun::Result& earlier, const QByteArray& systemCall,
                                const QByteArray& landmark, int offset, const QString& effect)
{
    const int number = earlier.numberOfCall(systemCall, landmark);
    if (number == 0) {
        qWarning("%s is never called", systemCall.constData());
        return {};
    }
    return QStringLiteral("%1:%2:when=%3")
        .arg(QString::fromLatin1(systemCall), effect)
        .arg(number + offset);
}

tracedrun::Result MoveFaultsTest::moveHeldUp(const QByteArray& landmark,
                                             const std::function<void()>& meanwhile) const
{
    const bool named = landmark == kDirectoryOpened;
    bool heldUp = false;
    tracedrun::Result result =
        tracedrun::runStopped({u"move"_s, source(), faraway()}, {}, u"fsync"_s,
                              m_without.numberOfCall("fsync", landmark), [&] {
                                  heldUp = QFileInfo(faraway()).size() == (named ? kSize : 0);
                                  if (heldUp) {
                                      meanwhile();
                                  }
                              });
    if (!heldUp) {
        result.output = "the move was not held up";
    }
    return result;
}

void MoveFaultsTest::verifyAsItWas() const
{
    QCOMPARE(entries(m_here->path()), QStringList(u"a.mp3"_s));
    QCOMPARE(entries(m_other->path()), QStringList());
    QCOMPARE(read(source()), m_content);
}

void MoveFaultsTest::verifyMovedTo(const QString& destination) const
{
    QVERIFY(!QFile::exists(source()));
    QCOMPARE(entries(QFileInfo(destination).path()), QStringList(u"b.mp3"_s));
    QCOMPARE(read(destination), m_content);
    struct stat moved = {};
    QCOMPARE(::stat(QFile::encodeName(destination).constData(), &moved), 0);
    QCOMPARE(moved.st_mode & 07777U, kMode);
    QCOMPARE(moved.st_mtim.tv_sec, kModified);
    QCOMPARE(moved.st_mtim.tv_nsec, 123'456'789);
}

void MoveFaultsTest::faultBetweenFileSystemsLeavesAllAsItWas_data()
{
    QTest::addColumn<QByteArray>("systemCall");
    QTest::addColumn<QByteArray>("landmark");
    QTest::addColumn<int>("offset");
    QTest::addColumn<QString>("error");

    const auto row = [](const char* title, const char* call, const char* landmark, int offset,
                        std::initializer_list<const char*> errors) {
        for (const char* error : errors) {
            QTest::addRow("%s: %s", title, error)
                << QByteArray(call) << QByteArray(landmark) << offset << QString::fromLatin1(error);
        }
    };
    // The C library asks for an open file's status by a call of its own, or by that for names.
    const bool hasFstat = m_without.trace.contains(" fstat(");
    row("target folder is opened", "openat", kTargetOpened, 0, {"EACCES", "EMFILE"});
    row("source is opened", "openat", kSourceOpened, 0, {"EACCES", "EMFILE", "EIO"});
    row("first read", "read", kSourceOpened, 0, {"EIO"});
    row("second read", "read", kSourceOpened, 1, {"EIO"});
    row("read at the end", "read", kSourceOpened, 3, {"EIO"});
    row("first write", "write", kCopyCreated, 0, {"ENOSPC", "EIO", "EDQUOT"});
    row("second write", "write", kCopyCreated, 1, {"ENOSPC", "EIO"});
    row("last write", "write", kCopyCreated, 2, {"ENOSPC", "EIO"});
    row("mode is set", "fchmod", kCopyCreated, 0, {"EIO", "EPERM"});
    row("times are set", "utimensat", kCopyCreated, 0, {"EIO", "EPERM"});
    row("copy is flushed", "fsync", kCopyCreated, 0, {"EIO", "ENOSPC"});
    row("size is checked", hasFstat ? "fstat" : "newfstatat", kFlushed, 0, {"EIO"});
    row("source is checked", "newfstatat", kFlushed, hasFstat ? 0 : 1, {"EIO"});
    row("copy is flushed with its name", "fsync", kNamed, 0, {"EIO", "ENOSPC"});
    row("copy is closed", "close", kNamed, 0, {"EIO", "ENOSPC"});
    row("source is removed", "unlinkat", kNamed, 0, {"EACCES", "EPERM", "EROFS", "EBUSY", "EIO"});
}

void MoveFaultsTest::faultBetweenFileSystemsLeavesAllAsItWas()
{
    QFETCH(const QByteArray, systemCall);
    QFETCH(const QByteArray, landmark);
    QFETCH(const int, offset);
    QFETCH(const QString, error);
    const tracedrun::Result result =
        move(faraway(), {fault(systemCall, landmark, offset, u"error="_s + error)});
    QCOMPARE(result.injected, 1);
    QCOMPARE(result.output, "false\n");
    verifyAsItWas();
}

void MoveFaultsTest::faultInTheFallbackLeavesAllAsItWas_data()
{
    QTest::addColumn<QByteArray>("systemCall");
    QTest::addColumn<QByteArray>("landmark");
    QTest::addColumn<int>("offset");
    QTest::addColumn<QString>("error");
    const auto row = [](const char* title, const char* call, const char* landmark, int offset,
                        std::initializer_list<const char*> errors) {
        for (const char* error : errors) {
            QTest::addRow("%s: %s", title, error)
                << QByteArray(call) << QByteArray(landmark) << offset << QString::fromLatin1(error);
        }
    };
    row("copy is created", "openat", kTemporaryName, 0, {"ENOSPC", "EROFS", "EACCES", "EMFILE"});
    row("source is read again", "lseek", kTemporaryName, 0, {"EIO"});
    row("last write", "write", kTemporaryName, 2, {"ENOSPC", "EIO"});
    row("copy is flushed", "fsync", kTemporaryName, 0, {"EIO"});
    row("copy is closed", "close", kTemporaryName, 0, {"EIO", "ENOSPC"});
    row("copy is named", "renameat2", kTemporaryName, 0, {"EACCES", "EEXIST", "ENOSPC", "EIO"});
    row("source is removed", "unlinkat", kTemporaryName, 0, {"EACCES", "EPERM", "EIO"});
}

void MoveFaultsTest::faultInTheFallbackLeavesAllAsItWas()
{
    QFETCH(const QByteArray, systemCall);
    QFETCH(const QByteArray, landmark);
    QFETCH(const int, offset);
    QFETCH(const QString, error);
    const QString fault =
        faultIn(m_withoutLinks, systemCall, landmark, offset, u"error="_s + error);
    const tracedrun::Result result = move(faraway(), {kNoLinks, fault});
    QCOMPARE(result.injected, m_withoutLinks.injected + 1);
    QCOMPARE(result.output, "false\n");
    verifyAsItWas();
}

void MoveFaultsTest::faultInTheMoveOfALinkLeavesTheSource_data()
{
    QTest::addColumn<QString>("fault");
    QTest::newRow("text is read") << u"readlinkat:error=EIO:when=1"_s;
    QTest::newRow("link is made") << u"symlinkat:error=ENOSPC"_s;
    QTest::newRow("name is taken") << u"symlinkat:error=EEXIST"_s;
    QTest::newRow("source is removed") << u"unlinkat:error=EACCES:when=1"_s;
}

void MoveFaultsTest::faultInTheMoveOfALinkLeavesTheSource()
{
    QFETCH(const QString, fault);
    const QString link = m_here->filePath(u"link.mp3"_s);
    QVERIFY(QFile::link(source(), link));
    const tracedrun::Result result = tracedrun::run({u"move"_s, link, faraway()}, {fault});
    QCOMPARE(result.injected, 1);
    QCOMPARE(result.output, "false\n");
    QCOMPARE(QFile::symLinkTarget(link), source());
    QCOMPARE(entries(m_other->path()), QStringList());
}

void MoveFaultsTest::failedRenameIsNotAnsweredByCopying_data()
{
    QTest::addColumn<QString>("error");
    for (const char* error : {"EACCES", "EPERM", "EROFS", "EBUSY", "EIO", "ENOSPC", "ENAMETOOLONG",
                              "EMFILE", "EEXIST", "ENOENT", "ENOMEM", "EDQUOT"}) {
        QTest::addRow("%s", error) << QString::fromLatin1(error);
    }
}

void MoveFaultsTest::failedRenameIsNotAnsweredByCopying()
{
    QFETCH(const QString, error);
    const tracedrun::Result result = move(nearby(), {u"renameat2:error="_s + error});
    QCOMPARE(result.injected, 1);
    QCOMPARE(result.output, "false\n");
    QVERIFY(!result.trace.contains("O_CREAT"));
    QVERIFY(!result.trace.contains("unlink"));
    verifyAsItWas();
}

void MoveFaultsTest::writeThatWroteNothingIsDetected()
{
    // The call answers that the last block was written and writes nothing.
    const QString falseSuccess =
        fault("write", kCopyCreated, 2, u"retval=%1"_s.arg(kSize % (qsizetype{128} * 1024)));
    const tracedrun::Result result = move(faraway(), {falseSuccess});
    QCOMPARE(result.injected, 1);
    QCOMPARE(result.output, "false\n");
    verifyAsItWas();
}

void MoveFaultsTest::failureThatDoesNotMatterIsNone_data()
{
    QTest::addColumn<QByteArray>("systemCall");
    QTest::addColumn<QByteArray>("landmark");
    QTest::addColumn<QString>("error");
    QTest::newRow("interrupted write")
        << QByteArray("write") << QByteArray(kCopyCreated) << u"EINTR"_s;
    QTest::newRow("interrupted read")
        << QByteArray("read") << QByteArray(kSourceOpened) << u"EINTR"_s;
    QTest::newRow("no modes") << QByteArray("fchmod") << QByteArray(kCopyCreated)
                              << u"EOPNOTSUPP"_s;
    QTest::newRow("no times") << QByteArray("utimensat") << QByteArray(kCopyCreated) << u"ENOSYS"_s;
    QTest::newRow("folder cannot be opened")
        << QByteArray("openat") << QByteArray(kDirectoryOpened) << u"EACCES"_s;
    QTest::newRow("folder cannot be flushed")
        << QByteArray("fsync") << QByteArray(kDirectoryOpened) << u"EINVAL"_s;
}

void MoveFaultsTest::failureThatDoesNotMatterIsNone()
{
    QFETCH(const QByteArray, systemCall);
    QFETCH(const QByteArray, landmark);
    QFETCH(const QString, error);
    const tracedrun::Result result =
        move(faraway(), {fault(systemCall, landmark, 0, u"error="_s + error)});
    QCOMPARE(result.injected, 1);
    QCOMPARE(result.output, "true\n");
    QVERIFY(!QFile::exists(source()));
    QCOMPARE(read(faraway()), m_content);
    QCOMPARE(entries(m_other->path()), QStringList(u"b.mp3"_s));
}

void MoveFaultsTest::modeBitsThatAreRefusedAreLeftOut_data()
{
    QTest::addColumn<uint>("mode");
    QTest::addColumn<QString>("from");
    QTest::addColumn<bool>("moved");
    const auto row = [](const char* title, uint mode) {
        QTest::addRow("%s: refused", title) << mode << QString() << true;
        QTest::addRow("%s: any mode is refused", title) << mode << u"+"_s << false;
    };
    row("set-user-ID", 04755);
    row("set-group-ID", 02755);
    row("sticky", 01644);
    row("all", 07777);
}

/** What file systems like exFAT answer, on which the permissions can be set alone. */
void MoveFaultsTest::modeBitsThatAreRefusedAreLeftOut()
{
    QFETCH(const uint, mode);
    QFETCH(const QString, from);
    QFETCH(const bool, moved);
    QCOMPARE(::chmod(QFile::encodeName(source()).constData(), mode), 0);
    const tracedrun::Result result =
        move(faraway(), {fault("fchmod", kCopyCreated, 0, u"error=EPERM"_s) + from});
    QCOMPARE(result.injected, moved ? 1 : 2);
    QCOMPARE(result.output, moved ? "true\n" : "false\n");
    if (!moved) {
        verifyAsItWas();
        return;
    }
    struct stat copy = {};
    QCOMPARE(::stat(QFile::encodeName(faraway()).constData(), &copy), 0);
    QCOMPARE(copy.st_mode & 07777U, mode & 0777U);
    QCOMPARE(copy.st_mtim.tv_sec, kModified);
    QCOMPARE(read(faraway()), m_content);
    QVERIFY(!QFile::exists(source()));
}

void MoveFaultsTest::withoutExclusiveRenameTheFileIsLinked_data()
{
    QTest::addColumn<QString>("error");
    QTest::newRow("the file system lacks it") << u"EINVAL"_s;
    QTest::newRow("the kernel lacks it") << u"ENOSYS"_s;
}

void MoveFaultsTest::withoutExclusiveRenameTheFileIsLinked()
{
    QFETCH(const QString, error);
    const QString lacking = u"renameat2:error="_s + error;
    tracedrun::Result result = move(nearby(), {lacking, u"unlinkat:error=EACCES"_s});
    QCOMPARE(result.injected, 3); // the removal of the link that was made fails, too
    QCOMPARE(result.output, "false\n");
    QCOMPARE(read(source()), m_content);
    QVERIFY(QFile::remove(nearby()));

    result = move(nearby(), {lacking, u"unlinkat:error=EACCES:when=1"_s});
    QCOMPARE(result.injected, 2);
    QCOMPARE(result.output, "false\n");
    verifyAsItWas();

    QVERIFY(write(nearby(), "old"));
    result = move(nearby(), {lacking});
    QCOMPARE(result.injected, 1);
    QCOMPARE(result.output, "false\n");
    QCOMPARE(read(nearby()), "old");
    QCOMPARE(read(source()), m_content);
    QVERIFY(QFile::remove(nearby()));

    result = move(nearby(), {lacking});
    QCOMPARE(result.injected, 1);
    QCOMPARE(result.output, "true\n");
    QVERIFY(!result.trace.contains("O_CREAT"));
    verifyMovedTo(nearby());
}

void MoveFaultsTest::withoutLinksTheFileIsCopied()
{
    const tracedrun::Result result =
        move(nearby(), {u"renameat2:error=EINVAL"_s, u"linkat:error=EPERM"_s});
    QCOMPARE(result.injected, 2);
    QCOMPARE(result.output, "true\n");
    QVERIFY(result.trace.contains("O_EXCL"));
    verifyMovedTo(nearby());
}

void MoveFaultsTest::withoutLinksNothingIsOverwritten()
{
    QVERIFY(write(nearby(), "old"));
    const tracedrun::Result result =
        move(nearby(), {u"renameat2:error=EINVAL"_s, u"linkat:error=EPERM"_s});
    QCOMPARE(result.injected, 2);
    QCOMPARE(result.output, "false\n");
    QCOMPARE(read(nearby()), "old");
    QCOMPARE(read(source()), m_content);
    QCOMPARE(entries(m_here->path()), QStringList({u"a.mp3"_s, u"b.mp3"_s}));
}

void MoveFaultsTest::withoutLinksAFaultLeavesAllAsItWas_data()
{
    QTest::addColumn<QString>("third");
    QTest::newRow("write") << u"write:error=ENOSPC:when=2"_s;
    QTest::newRow("flush") << u"fsync:error=EIO:when=1"_s;
    QTest::newRow("removal") << u"unlinkat:error=EACCES:when=1"_s;
}

void MoveFaultsTest::withoutLinksAFaultLeavesAllAsItWas()
{
    QFETCH(const QString, third);
    const tracedrun::Result result =
        move(nearby(), {u"renameat2:error=EINVAL"_s, u"linkat:error=EPERM"_s, third});
    QCOMPARE(result.injected, 3);
    QCOMPARE(result.output, "false\n");
    verifyAsItWas();
}

void MoveFaultsTest::mountOfTheSameFileSystemIsCopiedTo()
{
    // What the kernel answers for two mounts, or two subvolumes, of one file system.
    const tracedrun::Result result = move(nearby(), {u"renameat2:error=EXDEV:when=1"_s});
    QCOMPARE(result.injected, 1);
    QCOMPARE(result.output, "true\n");
    verifyMovedTo(nearby());
}

void MoveFaultsTest::sourceChangedMeanwhileStaysAndTheCopyGoes_data()
{
    QTest::addColumn<QByteArray>("landmark");
    QTest::addColumn<QString>("change");
    for (const char* change :
         {"write", "write and set the time back", "append", "truncate", "replace"}) {
        QTest::addRow("%s, before the copy is named", change)
            << QByteArray(kCopyCreated) << QString::fromLatin1(change);
        QTest::addRow("%s, after the copy is named", change)
            << QByteArray(kDirectoryOpened) << QString::fromLatin1(change);
    }
}

void MoveFaultsTest::sourceChangedMeanwhileStaysAndTheCopyGoes()
{
    QFETCH(const QByteArray, landmark);
    QFETCH(const QString, change);
    QByteArray expected = m_content;
    const tracedrun::Result result = moveHeldUp(landmark, [&] {
        QFile file(source());
        if (change == u"replace") {
            expected = "replaced";
            QVERIFY(write(m_here->filePath(u"new"_s), expected));
            QCOMPARE(::rename(QFile::encodeName(m_here->filePath(u"new"_s)).constData(),
                              QFile::encodeName(source()).constData()),
                     0);
            return;
        }
        QVERIFY(file.open(QFile::ReadWrite | QFile::ExistingOnly));
        if (change == u"append") {
            expected += "more";
            QVERIFY(file.seek(kSize) && file.write("more") == 4);
        } else if (change == u"truncate") {
            expected.truncate(kSize / 2);
            QVERIFY(file.resize(kSize / 2));
        } else {
            expected.replace(0, 7, "changed");
            QCOMPARE(file.write("changed"), 7);
        }
        QVERIFY(file.flush());
        if (change == u"write and set the time back") {
            const timespec times[2] = {{kModified, 1}, {kModified, 123'456'789}};
            QCOMPARE(::futimens(file.handle(), times), 0);
        }
    });
    QCOMPARE(result.output, "false\n");
    QCOMPARE(entries(m_here->path()), QStringList(u"a.mp3"_s));
    QCOMPARE(entries(m_other->path()), QStringList());
    QCOMPARE(read(source()), expected);
}

void MoveFaultsTest::sourceRemovedMeanwhileIsNotLostTwice()
{
    // Once the copy has its name it is whole, and now the only one.
    const tracedrun::Result result =
        moveHeldUp(kDirectoryOpened, [this] { QVERIFY(QFile::remove(source())); });
    QCOMPARE(result.output, "true\n");
    verifyMovedTo(faraway());
}

void MoveFaultsTest::sourceThatCannotBeSeenIsNoProofOfAMove()
{
    // The removal fails, and so does the look whether the source is still there.
    const QString notRemoved = fault("unlinkat", kNamed, 0, u"error=EIO"_s);
    const tracedrun::Result first = move(faraway(), {notRemoved});
    QCOMPARE(first.output, "false\n");
    verifyAsItWas();
    const QString notSeen = faultIn(first, "newfstatat", "unlinkat(", 0, u"error=EIO"_s);
    const tracedrun::Result result = move(faraway(), {notRemoved, notSeen});
    QCOMPARE(result.injected, 2);
    QCOMPARE(result.output, "false\n");
    QCOMPARE(read(source()), m_content);
    QCOMPARE(read(faraway()), m_content);
}

void MoveFaultsTest::killedMoveLosesNothing_data()
{
    QTest::addColumn<bool>("unnamed");
    QTest::addColumn<QByteArray>("systemCall");
    QTest::addColumn<QByteArray>("landmark");
    QTest::addColumn<int>("offset");
    for (const bool unnamed : {true, false}) {
        const auto row = [unnamed](const char* title, const char* call, const char* landmark,
                                   int offset = 0) {
            QTest::addRow("%s: %s", unnamed ? "unnamed file" : "temporary name", title)
                << unnamed << QByteArray(call) << QByteArray(landmark) << offset;
        };
        const char* created = unnamed ? kCopyCreated : kTemporaryName;
        row("rename", "renameat2", kFirstRename);
        row("copy is created", "openat", created);
        row("first write", "write", created);
        row("second write", "write", created, 1);
        row("last write", "write", created, 2);
        row("mode is set", "fchmod", created);
        row("times are set", "utimensat", created);
        row("copy is flushed", "fsync", created);
        row("copy is named", unnamed ? "linkat" : "renameat2", created);
        row("copy is closed", "close", created);
        row("folder is flushed", "fsync", kDirectoryOpened);
        row("source is removed", "unlinkat", created);
    }
}

void MoveFaultsTest::killedMoveLosesNothing()
{
    QFETCH(const bool, unnamed);
    QFETCH(const QByteArray, systemCall);
    QFETCH(const QByteArray, landmark);
    QFETCH(const int, offset);
    QStringList faults = {faultIn(unnamed ? m_without : m_withoutLinks, systemCall, landmark,
                                  offset, u"signal=KILL"_s)};
    if (!unnamed) {
        faults.append(kNoLinks);
    }
    const tracedrun::Result result = move(faraway(), faults);
    QVERIFY(result.killed);
    QCOMPARE(result.output, QByteArray());

    const bool atSource = QFile::exists(source());
    const bool atDestination = QFile::exists(faraway());
    QVERIFY(atSource || atDestination);
    if (atSource) {
        QCOMPARE(read(source()), m_content);
    }
    if (atDestination) {
        QCOMPARE(read(faraway()), m_content);
    }
    for (const QString& name : entries(m_other->path())) {
        const bool mayBeLeft = name == u"b.mp3" || (!unnamed && name.startsWith(u".quorvel-"));
        QVERIFY2(mayBeLeft, qPrintable(name));
    }
}

void MoveFaultsTest::copyUnderFaultsIsWholeOrAbsent_data()
{
    QTest::addColumn<QString>("fault");
    for (const char* fault :
         {"write:error=ENOSPC:when=1", "write:error=EIO:when=2", "write:retval=131072:when=1",
          "write:signal=KILL:when=1", "fsync:error=EIO:when=1", "fsync:error=ENOSPC:when=1",
          "fsync:signal=KILL:when=1", "linkat:error=ENOSPC", "linkat:error=EACCES",
          "linkat:signal=KILL:when=1"}) {
        QTest::addRow("%s", fault) << QString::fromLatin1(fault);
    }
}

void MoveFaultsTest::copyUnderFaultsIsWholeOrAbsent()
{
    QFETCH(const QString, fault);
    const tracedrun::Result result = tracedrun::run({u"copy"_s, source(), faraway()}, {fault});
    QVERIFY(result.killed || result.injected > 0);
    QCOMPARE(read(source()), m_content);
    if (QFile::exists(faraway())) {
        QCOMPARE(read(faraway()), m_content);
    } else {
        QVERIFY(result.output != "true\n");
    }
}

void MoveFaultsTest::copyThatCannotHaveItsPermissionsIsMade()
{
    const tracedrun::Result result =
        tracedrun::run({u"copy"_s, source(), faraway()}, {u"fchmod:error=EPERM"_s});
    QCOMPARE(result.injected, 1);
    QCOMPARE(result.output, "true\n");
    QCOMPARE(read(faraway()), m_content);
}

QTEST_GUILESS_MAIN(MoveFaultsTest)
#include "tst_movefaults.moc"
