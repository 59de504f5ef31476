#include "filefixture.h"
#include "tracedrun.h"

#include <QFile>
#include <QHash>
#include <QTest>

#include <algorithm>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <sys/sysmacros.h>

using namespace Qt::StringLiterals;

using filefixture::entries;
using filefixture::read;
using filefixture::write;

namespace {

constexpr auto kUnnamed = "O_TMPFILE";
constexpr auto kTemporaryName = "\".quorvel-";
constexpr auto kSourceOpened = "O_NONBLOCK";
constexpr auto kFinalNameCreated = "\"b.mp3\", O_WRONLY|O_CREAT|O_EXCL";

constexpr qsizetype kBlock = 131'072;
constexpr qsizetype kSize = 300'000; // three blocks
constexpr mode_t kMode = 0640;

/** How a copy gets its name. */
enum class Naming { Link, Rename, LinkAndRemove, Create };

} // namespace

Q_DECLARE_METATYPE(Naming)

/**
 * The copy that copying and moving between file systems make: how it gets its name where the file
 * system lacks the best way, and what is seen of it before.
 */
class FileCopyTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void fallbackSucceeds_data();
    void fallbackSucceeds();
    void otherErrorIsNotAnsweredByAFallback_data();
    void otherErrorIsNotAnsweredByAFallback();
    void incompleteCopyIsNotSeenUnderItsName_data();
    void incompleteCopyIsNotSeenUnderItsName();
    void sourceThatGrowsIsNotFollowed_data()
    {
        addOperations();
    }
    void sourceThatGrowsIsNotFollowed();
    void sourceThatIsChangedIsNotCopied_data()
    {
        addOperations();
    }
    void sourceThatIsChangedIsNotCopied();
    void takenNameIsNotCopiedTo_data()
    {
        addOperations();
    }
    void takenNameIsNotCopiedTo();
    void pipeOrDeviceThatTakesTheNameIsRefused_data();
    void pipeOrDeviceThatTakesTheNameIsRefused();
    void eachStepIsOnDiskBeforeTheNext_data()
    {
        addOperations();
    }
    void eachStepIsOnDiskBeforeTheNext();

private:
    static void addOperations();
    QString source() const
    {
        return m_here->filePath(u"a.mp3"_s);
    }
    QString destination() const
    {
        return m_other->filePath(u"b.mp3"_s);
    }
    QStringList arguments() const;
    /** The faults of a row, with the numbers of the calls to fail. */
    QStringList numbered(const QStringList& faults) const;

    std::unique_ptr<filefixture::OpenFolder> m_here;
    std::unique_ptr<filefixture::SecondFileSystem> m_other;
    /** Runs without any fault, by operation. */
    QHash<QString, tracedrun::Result> m_without;
    const QByteArray m_content = filefixture::noise(kSize);
};

void FileCopyTest::initTestCase()
{
    QString reason;
    if (!tracedrun::isPossible(&reason)) {
        QSKIP(qPrintable(reason));
    }
    for (const QString& operation : {u"move"_s, u"copy"_s}) {
        init();
        if (!m_other->isAvailable()) {
            QSKIP(filefixture::kNoSecondFileSystem);
        }
        const tracedrun::Result result =
            tracedrun::run({operation, source(), destination()}, QStringList());
        QCOMPARE(result.output, "true\n");
        if (!result.trace.contains("linkat(")) {
            QSKIP("no unnamed files on the second file system");
        }
        m_without.insert(operation, result);
        cleanup();
    }
}

void FileCopyTest::init()
{
    m_here = std::make_unique<filefixture::OpenFolder>();
    m_other = std::make_unique<filefixture::SecondFileSystem>();
    QVERIFY(write(source(), m_content));
    QCOMPARE(::chmod(QFile::encodeName(source()).constData(), kMode), 0);
}

void FileCopyTest::cleanup()
{
    m_here.reset();
    m_other.reset();
}

void FileCopyTest::addOperations()
{
    QTest::addColumn<QString>("operation");
    QTest::newRow("move") << u"move"_s;
    QTest::newRow("copy") << u"copy"_s;
}

QStringList FileCopyTest::arguments() const
{
    QFETCH(const QString, operation);
    return {operation, source(), destination()};
}

QStringList FileCopyTest::numbered(const QStringList& faults) const
{
    QFETCH(const QString, operation);
    const int unnamed = m_without.value(operation).numberOfCall("openat", kUnnamed);
    // The first rename of a move is that from one file system to the other.
    const int renamed = operation == u"move" ? 2 : 1;
    QStringList numbered;
    for (const QString& fault : faults) {
        if (fault.startsWith(u"openat:")) {
            numbered.append(u"%1:when=%2"_s.arg(fault).arg(unnamed));
        } else if (fault.startsWith(u"renameat2:")) {
            numbered.append(u"%1:when=%2"_s.arg(fault).arg(renamed));
        } else {
            numbered.append(fault);
        }
    }
    return numbered;
}

void FileCopyTest::fallbackSucceeds_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QStringList>("lacking");
    QTest::addColumn<int>("faults");
    QTest::addColumn<Naming>("naming");
    const auto row = [](const QStringList& lacking, int faults, Naming naming) {
        for (const QString& operation : {u"move"_s, u"copy"_s}) {
            QTest::addRow("%s, %s", qPrintable(operation), qPrintable(lacking.join(u", ")))
                << operation << lacking << faults << naming;
        }
    };
    const QString noUnnamed = u"openat:error=EOPNOTSUPP"_s;
    const QString noRename = u"renameat2:error=EINVAL"_s;
    row({}, 0, Naming::Link);
    for (const char* error : {"EOPNOTSUPP", "EISDIR", "EINVAL", "ENOENT"}) {
        row({u"openat:error="_s + QString::fromLatin1(error)}, 1, Naming::Rename);
    }
    for (const char* error : {"EPERM", "EOPNOTSUPP", "ENOSYS", "ENOENT"}) {
        row({u"linkat:error="_s + QString::fromLatin1(error)}, 1, Naming::Rename);
    }
    for (const char* error : {"EINVAL", "ENOSYS"}) {
        row({noUnnamed, u"renameat2:error="_s + QString::fromLatin1(error)}, 2,
            Naming::LinkAndRemove);
    }
    for (const char* error : {"EPERM", "EOPNOTSUPP", "ENOSYS", "EMLINK"}) {
        row({noUnnamed, noRename, u"linkat:error="_s + QString::fromLatin1(error)}, 3,
            Naming::Create);
    }
}

void FileCopyTest::fallbackSucceeds()
{
    QFETCH(const QString, operation);
    QFETCH(const QStringList, lacking);
    QFETCH(const int, faults);
    QFETCH(const Naming, naming);
    const tracedrun::Result result = tracedrun::run(arguments(), numbered(lacking));
    QCOMPARE(result.injected, faults);
    QCOMPARE(result.output, "true\n");
    QCOMPARE(read(destination()), m_content);
    QCOMPARE(entries(m_other->path()), QStringList(u"b.mp3"_s));
    QCOMPARE(QFile::exists(source()), operation == u"copy");
    struct stat copy = {};
    QCOMPARE(::stat(QFile::encodeName(destination()).constData(), &copy), 0);
    QCOMPARE(copy.st_mode & 07777U, kMode);

    QCOMPARE(result.trace.contains(kTemporaryName), naming != Naming::Link);
    QCOMPARE(result.trace.contains(kFinalNameCreated), naming == Naming::Create);
}

void FileCopyTest::otherErrorIsNotAnsweredByAFallback_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QString>("fault");
    for (const QString& operation : {u"move"_s, u"copy"_s}) {
        for (const char* fault :
             {"openat:error=EACCES", "openat:error=ENOSPC", "openat:error=EROFS",
              "openat:error=EMFILE", "openat:error=EIO", "linkat:error=EACCES",
              "linkat:error=EEXIST", "linkat:error=ENOSPC", "linkat:error=EIO",
              "linkat:error=EROFS", "linkat:error=EDQUOT"}) {
            QTest::addRow("%s, %s", qPrintable(operation), fault)
                << operation << QString::fromLatin1(fault);
        }
    }
}

void FileCopyTest::otherErrorIsNotAnsweredByAFallback()
{
    QFETCH(const QString, fault);
    const tracedrun::Result result = tracedrun::run(arguments(), numbered({fault}));
    QCOMPARE(result.injected, 1);
    QCOMPARE(result.output, "false\n");
    QVERIFY(!result.trace.contains(kTemporaryName));
    QCOMPARE(entries(m_other->path()), QStringList());
    QCOMPARE(read(source()), m_content);
}

void FileCopyTest::incompleteCopyIsNotSeenUnderItsName_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<bool>("unnamed");
    for (const QString& operation : {u"move"_s, u"copy"_s}) {
        QTest::addRow("%s, unnamed", qPrintable(operation)) << operation << true;
        QTest::addRow("%s, temporary name", qPrintable(operation)) << operation << false;
    }
}

void FileCopyTest::incompleteCopyIsNotSeenUnderItsName()
{
    QFETCH(const bool, unnamed);
    const QStringList lacking = unnamed ? QStringList() : numbered({u"openat:error=EOPNOTSUPP"_s});
    QFETCH(const QString, operation);
    // The second of three blocks is written.
    const int number = m_without.value(operation).numberOfCall("write", kUnnamed) + 1;
    bool heldUp = false;
    QStringList seen;
    const tracedrun::Result result =
        tracedrun::runStopped(arguments(), lacking, u"write"_s, number, [&] {
            heldUp = true;
            seen = entries(m_other->path());
        });
    QVERIFY(heldUp);
    QCOMPARE(seen.size(), unnamed ? 0 : 1);
    QVERIFY(unnamed || seen.constFirst().startsWith(u".quorvel-"));
    QCOMPARE(result.output, "true\n");
    QCOMPARE(read(destination()), m_content);
    QCOMPARE(entries(m_other->path()), QStringList(u"b.mp3"_s));
}

void FileCopyTest::sourceThatGrowsIsNotFollowed()
{
    QFETCH(const QString, operation);
    const auto reads = [](const tracedrun::Result& result) {
        const QList<tracedrun::Call> calls = result.operationCalls();
        return std::count_if(calls.cbegin(), calls.cend(),
                             [](const tracedrun::Call& call) { return call.name == "read"; });
    };
    const tracedrun::Result& without = m_without[operation];
    const QByteArray more = filefixture::noise(20 * kBlock);
    bool heldUp = false;
    const tracedrun::Result result = tracedrun::runStopped(
        arguments(), {}, u"read"_s, without.numberOfCall("read", kSourceOpened), [&] {
            QFile file(source());
            heldUp = file.open(QFile::Append) && file.write(more) == more.size() && file.flush();
        });
    QVERIFY(heldUp);
    QCOMPARE(result.output, "false\n");
    QVERIFY2(reads(result) <= reads(without), result.trace.constData());
    QCOMPARE(entries(m_other->path()), QStringList());
    QCOMPARE(read(source()), m_content + more);
}

/** The change leaves the size as it is, and comes when the content is read. */
void FileCopyTest::sourceThatIsChangedIsNotCopied()
{
    QFETCH(const QString, operation);
    QByteArray expected = m_content;
    expected.replace(0, 7, "changed");
    bool heldUp = false;
    const tracedrun::Result result = tracedrun::runStopped(
        arguments(), {}, u"fsync"_s, m_without[operation].numberOfCall("fsync", kUnnamed), [&] {
            QFile file(source());
            heldUp = file.open(QFile::ReadWrite | QFile::ExistingOnly) &&
                     file.write("changed") == 7 && file.flush();
        });
    QVERIFY(heldUp);
    QCOMPARE(result.output, "false\n");
    QCOMPARE(entries(m_other->path()), QStringList());
    QCOMPARE(read(source()), expected);
}

void FileCopyTest::takenNameIsNotCopiedTo()
{
    QVERIFY(write(destination(), "old"));
    const tracedrun::Result result = tracedrun::run(arguments(), {});
    QCOMPARE(result.output, "false\n");
    QVERIFY(!result.trace.contains(kUnnamed));
    QCOMPARE(read(destination()), "old");
    QCOMPARE(read(source()), m_content);
}

void FileCopyTest::pipeOrDeviceThatTakesTheNameIsRefused_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<mode_t>("type");
    for (const QString& operation : {u"move"_s, u"copy"_s}) {
        QTest::addRow("%s, pipe", qPrintable(operation)) << operation << mode_t{S_IFIFO};
        QTest::addRow("%s, device", qPrintable(operation)) << operation << mode_t{S_IFCHR};
    }
}

/** It comes between the look at the source and its opening. A pipe is not waited for. */
void FileCopyTest::pipeOrDeviceThatTakesTheNameIsRefused()
{
    QFETCH(const QString, operation);
    QFETCH(const mode_t, type);
    const QString node = m_here->filePath(u"node"_s);
    // A device that is as empty as a file of no size, so that nothing else refuses it.
    if (::mknod(QFile::encodeName(node).constData(), type | 0600, ::makedev(1, 3)) != 0) {
        QSKIP("devices cannot be made here");
    }
    const tracedrun::Result& without = m_without[operation];
    int looks = 0; // at anything before the source is opened
    for (const tracedrun::Call& call : without.operationCalls()) {
        if (call.line.contains(kSourceOpened)) {
            break;
        }
        looks = call.name == "newfstatat" ? call.number : looks;
    }
    QVERIFY(looks > 0);
    bool heldUp = false;
    const tracedrun::Result result =
        tracedrun::runStopped(arguments(), {}, u"newfstatat"_s, looks, [&] {
            heldUp = ::rename(QFile::encodeName(node).constData(),
                              QFile::encodeName(source()).constData()) == 0;
        });
    QVERIFY(heldUp);
    QCOMPARE(result.output, "false\n");
    QCOMPARE(entries(m_here->path()), QStringList(u"a.mp3"_s));
    QCOMPARE(entries(m_other->path()), QStringList());
}

/** A crash of the system finds the content, then the name and the number of names, on disk. */
void FileCopyTest::eachStepIsOnDiskBeforeTheNext()
{
    QFETCH(const QString, operation);
    QByteArrayList steps;
    for (const tracedrun::Call& call : m_without[operation].operationCalls()) {
        if (call.name == "write" || call.name == "fsync" || call.name == "linkat" ||
            call.name == "unlinkat") {
            steps.append(call.name);
        }
    }
    QByteArrayList expected = {"write", "write", "write", "fsync", "linkat", "fsync", "fsync"};
    if (operation == u"move") {
        expected.append("unlinkat");
    }
    QCOMPARE(steps, expected);
}

QTEST_GUILESS_MAIN(FileCopyTest)
#include "tst_filecopy.moc"
