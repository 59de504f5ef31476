#include "filefixture.h"
#include "fileops/fileoperations.h"
#include "tracedrun.h"

#include <QFile>
#include <QTest>

#include <memory>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

using filefixture::entries;
using filefixture::read;
using filefixture::write;

namespace {

/** A way in which a new file gets its name. */
struct Way
{
    const char* title;
    const char* operation;
    bool ofLink;
    /** What the target file system cannot do. */
    QStringList lacking;
    /** How many names are removed for the file to get its own. */
    int removals = 0;
};

const QList<Way>& ways()
{
    // The first rename of a move is that from one file system to the other.
    static const QString noRenameInTarget = u"renameat2:error=EINVAL:when=2"_s;
    static const QString noRename = u"renameat2:error=EINVAL"_s;
    static const QString noLink = u"linkat:error=EPERM"_s;
    // The first link is that of an unnamed file.
    static const QString noFirstLink = u"linkat:error=EPERM:when=1"_s;
    static const QList<Way> all = {
        {"move, linked without a name before", "move", false, {}},
        {"move, renamed", "move", false, {noLink}},
        {"move, linked", "move", false, {noFirstLink, noRenameInTarget}, 1},
        {"move, under its name at once", "move", false, {noRenameInTarget, noLink}},
        {"move of a symbolic link", "move", true, {}},
        {"copy, linked without a name before", "copy", false, {}},
        {"copy, renamed", "copy", false, {noLink}},
        {"copy, linked", "copy", false, {noFirstLink, noRename}, 1},
        {"copy, under its name at once", "copy", false, {noLink, noRename}},
    };
    return all;
}

/** Where in the trace the folder of the new file is opened to be flushed. */
constexpr auto kFolderOpened = "\".\", O_RDONLY";
constexpr qsizetype kSize = 300'000;

} // namespace

Q_DECLARE_METATYPE(const Way*)

/**
 * The flush that brings the name of a new file to the disk: a name that may be lost is no reason to
 * remove the source of a move, nor to count a copy. The content is flushed without a fault in each
 * case.
 */
class FlushFaultsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void failedFlushIsAFailure_data();
    void failedFlushIsAFailure();
    void flushThatIsNotSupportedIsNone_data();
    void flushThatIsNotSupportedIsNone();
    void copyThatCannotBeWithdrawnLeavesTheSource_data();
    void copyThatCannotBeWithdrawnLeavesTheSource();
    void folderThatMayOnlyBeWrittenTakesFiles_data();
    void folderThatMayOnlyBeWrittenTakesFiles();

private:
    static void addRows(const char* systemCall, std::initializer_list<const char*> errors);
    void makeSource(const Way& way);
    tracedrun::Result run(const Way& way, const QStringList& faults) const;
    /** Runs without and with the fault of the row; false if that did not strike. */
    bool runWithFault(const QStringList& otherFaults, tracedrun::Result& result);
    void verifySourceIsThere(const Way& way) const;

    QString source() const
    {
        return m_here->filePath(u"a.mp3"_s);
    }
    QString destination() const
    {
        return m_other->filePath(u"b.mp3"_s);
    }

    std::unique_ptr<filefixture::OpenFolder> m_here;
    std::unique_ptr<filefixture::SecondFileSystem> m_other;
    const QByteArray m_content = filefixture::noise(kSize);
};

void FlushFaultsTest::initTestCase()
{
    QString reason;
    if (!tracedrun::isPossible(&reason)) {
        QSKIP(qPrintable(reason));
    }
    init();
    if (!m_other->isAvailable()) {
        QSKIP(filefixture::kNoSecondFileSystem);
    }
    cleanup();
}

void FlushFaultsTest::init()
{
    m_here = std::make_unique<filefixture::OpenFolder>();
    m_other = std::make_unique<filefixture::SecondFileSystem>();
}

void FlushFaultsTest::cleanup()
{
    m_here.reset();
    m_other.reset();
}

void FlushFaultsTest::addRows(const char* systemCall, std::initializer_list<const char*> errors)
{
    for (const Way& way : ways()) {
        for (const char* error : errors) {
            QTest::addRow("%s: %s, %s", way.title, systemCall, error)
                << &way << QByteArray(systemCall) << QByteArray(error);
        }
    }
}

void FlushFaultsTest::makeSource(const Way& way)
{
    if (way.ofLink) {
        QVERIFY(write(m_here->filePath(u"linked.mp3"_s), m_content));
        QVERIFY(QFile::link(m_here->filePath(u"linked.mp3"_s), source()));
    } else {
        QVERIFY(write(source(), m_content));
    }
}

tracedrun::Result FlushFaultsTest::run(const Way& way, const QStringList& faults) const
{
    return tracedrun::run({QString::fromLatin1(way.operation), source(), destination()},
                          way.lacking + faults);
}

bool FlushFaultsTest::runWithFault(const QStringList& otherFaults, tracedrun::Result& result)
{
    QFETCH(const Way*, way);
    QFETCH(const QByteArray, systemCall);
    QFETCH(const QByteArray, error);
    makeSource(*way);
    const tracedrun::Result without = run(*way, {});
    const int number = without.numberOfCall(systemCall, kFolderOpened);
    if (without.output != "true\n" || number == 0) {
        return false;
    }
    cleanup();
    init();
    makeSource(*way);
    const QString fault =
        u"%1:error=%2:when=%3"_s.arg(QString::fromLatin1(systemCall), QString::fromLatin1(error))
            .arg(number);
    result = run(*way, QStringList(otherFaults) << fault);
    return result.injected > without.injected;
}

void FlushFaultsTest::verifySourceIsThere(const Way& way) const
{
    QCOMPARE(read(source()), m_content);
    QCOMPARE(QFile::symLinkTarget(source()).isEmpty(), !way.ofLink);
}

void FlushFaultsTest::failedFlushIsAFailure_data()
{
    QTest::addColumn<const Way*>("way");
    QTest::addColumn<QByteArray>("systemCall");
    QTest::addColumn<QByteArray>("error");
    addRows("fsync", {"EIO", "ENOSPC", "EDQUOT", "EROFS"});
    addRows("openat", {"EIO", "EMFILE", "EROFS"});
}

void FlushFaultsTest::failedFlushIsAFailure()
{
    QFETCH(const Way*, way);
    tracedrun::Result result;
    QVERIFY(runWithFault({}, result));
    QCOMPARE(result.output, "false\n");
    verifySourceIsThere(*way);
    QCOMPARE(entries(m_other->path()), QStringList());
}

void FlushFaultsTest::flushThatIsNotSupportedIsNone_data()
{
    QTest::addColumn<const Way*>("way");
    QTest::addColumn<QByteArray>("systemCall");
    QTest::addColumn<QByteArray>("error");
    addRows("fsync", {"EINVAL", "EOPNOTSUPP", "ENOSYS"});
    addRows("openat", {"EACCES", "EPERM", "EOPNOTSUPP"});
}

void FlushFaultsTest::flushThatIsNotSupportedIsNone()
{
    QFETCH(const Way*, way);
    tracedrun::Result result;
    QVERIFY(runWithFault({}, result));
    QCOMPARE(result.output, "true\n");
    QCOMPARE(read(destination()), m_content);
    QCOMPARE(entries(m_other->path()), QStringList(u"b.mp3"_s));
    QCOMPARE(QFile::exists(source()), way->operation == QByteArray("copy"));
}

void FlushFaultsTest::copyThatCannotBeWithdrawnLeavesTheSource_data()
{
    QTest::addColumn<const Way*>("way");
    QTest::addColumn<QByteArray>("systemCall");
    QTest::addColumn<QByteArray>("error");
    addRows("fsync", {"EIO"});
}

void FlushFaultsTest::copyThatCannotBeWithdrawnLeavesTheSource()
{
    QFETCH(const Way*, way);
    tracedrun::Result result;
    QVERIFY(runWithFault({u"unlinkat:error=EACCES:when=%1+"_s.arg(way->removals + 1)}, result));
    QCOMPARE(result.output, "false\n");
    verifySourceIsThere(*way);
    QCOMPARE(read(destination()), m_content);
}

void FlushFaultsTest::folderThatMayOnlyBeWrittenTakesFiles_data()
{
    QTest::addColumn<bool>("move");
    QTest::newRow("move") << true;
    QTest::newRow("copy") << false;
}

void FlushFaultsTest::folderThatMayOnlyBeWrittenTakesFiles()
{
    QFETCH(const bool, move);
    const QString folder = m_other->filePath(u"folder"_s);
    const QByteArray name = QFile::encodeName(folder);
    const fileops::SourceAndDestination paths(source(), folder + u"/b.mp3"_s);
    {
        const filefixture::OrdinaryUser user;
        QVERIFY(write(source(), m_content));
        QCOMPARE(::mkdir(name.constData(), 0300), 0);
        QVERIFY(move ? fileops::moveFile(paths) : fileops::copyFile(paths));
    }
    QCOMPARE(::chmod(name.constData(), 0700), 0);
    QCOMPARE(read(paths.second), m_content);
    QCOMPARE(QFile::exists(source()), !move);
}

QTEST_GUILESS_MAIN(FlushFaultsTest)
#include "tst_flushfaults.moc"
