#include "cliprocess.h"
#include "search/shard.h"
#include "storecontent.h"
#include "support/media.h"
#include "tunefolders.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QHash>
#include <QTest>

#include <memory>
#include <utility>

using namespace Qt::StringLiterals;

using testmedia::contentOf;

namespace {

/** Whether either of two shards has at least two of the files below \a folder. */
bool isDivided(const QString& folder)
{
    QDirIterator files(folder, QDir::Files, QDirIterator::Subdirectories);
    int counts[] = {0, 0};
    while (files.hasNext()) {
        files.next();
        ++counts[search::shardOf(files.fileInfo().canonicalFilePath(), 2) - 1];
    }
    return counts[0] >= 2 && counts[1] >= 2;
}

} // namespace

/** The commands "fingerprint" and "merge". */
class TestQuorvelCliShards : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void shardsAndOneRunGiveTheSameBytes_data();
    void shardsAndOneRunGiveTheSameBytes();
    void fingerprintPrintsWhatFailedOnRequest();
    void fingerprintReportsWhatItCannotDo_data();
    void fingerprintReportsWhatItCannotDo();
    void fileThatMetADiskErrorIsNamedAndTriedAgain();
    void brokenOffFingerprintIsCompletedByTheNextRun_data();
    void brokenOffFingerprintIsCompletedByTheNextRun();
    void fileOfAnotherShardIsNotOpened();
    void partThatCannotBeMergedIsNamedAndTheOthersAreTaken();
    void mergeIntoWhatIsNoStoreIsRefused();
    void brokenOffMergeLeavesWholeParts_data();
    void brokenOffMergeLeavesWholeParts();
    void interruptedMergeTakesNothingMore();

private:
    QString path(const QString& name) const
    {
        return media->filePath(name);
    }
    /** Fingerprints both folders in \a count shards, once; returns the stores, the last one first. */
    QStringList makeParts(int count);
    /** Fingerprints the first folder in one run. */
    CliRun fingerprint(const QString& store) const
    {
        return runCli({u"fingerprint"_s, u"--store"_s, store, u"-j1"_s, first});
    }

    std::unique_ptr<testmedia::MediaFolder> media;
    QString first;
    QString second;
    QHash<int, QStringList> m_parts;
    /** Searches, each with what it gives with a new store. */
    QList<std::pair<QStringList, CliRun>> m_searches;
    /** What the new store has then. */
    QStringList m_storeContent;
};

void TestQuorvelCliShards::initTestCase()
{
    // The shard of a file follows from its path, and the folder has a random name.
    do {
        media = std::make_unique<testmedia::MediaFolder>();
        addTuneFolders(*media);
    } while (!isDivided(media->path()));
    first = path(u"first"_s);
    second = path(u"second"_s);
    QDir().mkpath(path(u"empty"_s));
    for (const QStringList& arguments :
         {QStringList{first, second, u"-fjson"_s}, QStringList{second, first, u"-v"_s},
          QStringList{first, u"-fcsv"_s, u"-v"_s, u"--against"_s, second}}) {
        const QString store = path(u"one.db"_s);
        QFile::remove(store);
        const CliRun run = runCli(arguments + QStringList{u"--store"_s, store});
        QCOMPARE(run.exitStatus, 0);
        QVERIFY(run.output.contains("first/1.flac"));
        m_searches.append({arguments, run});
        m_storeContent = contentOfStore(store);
        QCOMPARE(m_storeContent.size(), 7);
    }
}

QStringList TestQuorvelCliShards::makeParts(int count)
{
    QStringList& parts = m_parts[count];
    if (!parts.isEmpty()) {
        return parts;
    }
    for (int number = 1; number <= count; ++number) {
        const QString store = path(u"part%1-of-%2.db"_s.arg(number).arg(count));
        const CliRun run = runCli({u"fingerprint"_s, u"--store"_s, store, u"--shard"_s,
                                   u"%1/%2"_s.arg(number).arg(count), first, second});
        if (run.exitStatus != 0 || !run.output.isEmpty() || !run.errors.isEmpty()) {
            qFatal("%s", run.errors.constData());
        }
        parts.prepend(store);
    }
    return parts;
}

void TestQuorvelCliShards::shardsAndOneRunGiveTheSameBytes_data()
{
    QTest::addColumn<int>("count");
    for (const int count : {1, 2, 7, 16}) {
        QTest::addRow("%d", count) << count;
    }
}

void TestQuorvelCliShards::shardsAndOneRunGiveTheSameBytes()
{
    QFETCH(const int, count);
    const QStringList parts = makeParts(count);
    qsizetype sum = 0;
    for (const QString& part : parts) {
        sum += contentOfStore(part).size();
    }
    QCOMPARE(sum, 7);

    const QString merged = path(u"merged%1.db"_s.arg(count));
    const CliRun merge = runCli(QStringList{u"merge"_s, u"--into"_s, merged} + parts);
    QCOMPARE(merge.errors, QByteArray());
    QCOMPARE(merge.output, QByteArray());
    QCOMPARE(merge.exitStatus, 0);
    QCOMPARE(contentOfStore(merged), m_storeContent);
    for (const auto& [arguments, expected] : std::as_const(m_searches)) {
        const CliRun run =
            runCli(arguments + QStringList{u"--trust-store"_s, u"--store"_s, merged});
        QCOMPARE(run.output, expected.output);
        QCOMPARE(run.errors, expected.errors);
        QCOMPARE(run.exitStatus, expected.exitStatus);
    }
}

void TestQuorvelCliShards::fingerprintPrintsWhatFailedOnRequest()
{
    const QString store = path(u"verbose.db"_s);
    const CliRun run = runCli({u"fingerprint"_s, u"-v"_s, u"--store"_s, store, first});
    QCOMPARE(run.exitStatus, 0);
    QCOMPARE(run.output, QByteArray());
    QVERIFY2(run.errors.startsWith("quorvel-cli: " + first.toUtf8() + "/noise.ogg: "),
             run.errors.constData());
    QCOMPARE(run.errors.count('\n'), 1);
}

void TestQuorvelCliShards::fingerprintReportsWhatItCannotDo_data()
{
    QTest::addColumn<QString>("store");
    QTest::addColumn<QStringList>("folders");
    QTest::addColumn<int>("exitStatus");
    QTest::addColumn<QByteArray>("error");
    QTest::addColumn<int>("fileCount");
    QTest::newRow("a folder is missing")
        << u"missing.db"_s << QStringList{first, path(u"nowhere"_s)} << 1
        << QByteArray("No such folder") << 4;
    QTest::newRow("the store is none")
        << u"first/noise.ogg"_s << QStringList{first} << 3 << QByteArray("not a store") << -1;
    QTest::newRow("nothing to do")
        << u"nothing.db"_s << QStringList{path(u"empty"_s)} << 0 << QByteArray() << 0;
}

void TestQuorvelCliShards::fingerprintReportsWhatItCannotDo()
{
    QFETCH(const QString, store);
    QFETCH(const QStringList, folders);
    QDir().mkpath(path(u"empty"_s));
    const CliRun run = runCli(QStringList{u"fingerprint"_s, u"--store"_s, path(store)} + folders);
    QTEST(run.exitStatus, "exitStatus");
    QFETCH(const QByteArray, error);
    QVERIFY2(run.errors.contains(error), run.errors.constData());
    QCOMPARE(run.errors.isEmpty(), error.isEmpty());
    QFETCH(const int, fileCount);
    if (fileCount >= 0) {
        QCOMPARE(contentOfStore(path(store)).size(), fileCount);
    }
}

void TestQuorvelCliShards::fileThatMetADiskErrorIsNamedAndTriedAgain()
{
    const QString store = path(u"disk.db"_s);
    const QStringList arguments{u"fingerprint"_s, u"-j1"_s, u"--store"_s, store, first};
    const CliRun failing = runCliTraced(path(u"trace.txt"_s),
                                        {u"-P"_s, path(u"first/1.flac"_s), u"-e"_s, u"trace=read"_s,
                                         u"-e"_s, u"inject=read:error=EIO:when=1+"_s},
                                        arguments);
    QCOMPARE(failing.exitStatus, 1);
    QVERIFY2(failing.errors.contains("Not kept: " + first.toUtf8() + "/1.flac: "),
             failing.errors.constData());
    QCOMPARE(contentOfStore(store).size(), 3);
    const CliRun run = runCli(arguments);
    QCOMPARE(run.errors, QByteArray());
    QCOMPARE(run.exitStatus, 0);
    QCOMPARE(contentOfStore(store).size(), 4);
}

void TestQuorvelCliShards::brokenOffFingerprintIsCompletedByTheNextRun_data()
{
    QTest::addColumn<QString>("calls");
    QTest::addColumn<QString>("injection");
    QTest::addColumn<int>("step");
    QTest::addColumn<int>("exitStatus");
    const int killed = 9; // the number of the signal, as strace ends by it, too
    // Whether files are saved one by one or together decides how many calls there are.
    QTest::newRow("killed") << u"fsync,fdatasync"_s << u"signal=KILL:when=%1"_s << 3 << killed;
    QTest::newRow("disk full") << u"pwrite64"_s << u"error=ENOSPC:when=%1+"_s << 10 << 3;
}

/** At every few of the calls by which the run changes the disk, one after the other. */
void TestQuorvelCliShards::brokenOffFingerprintIsCompletedByTheNextRun()
{
    QFETCH(const QString, calls);
    QFETCH(const QString, injection);
    QFETCH(const int, step);
    const QString whole = path(u"whole.db"_s);
    QCOMPARE(fingerprint(whole).exitStatus, 0);
    const QStringList expected = contentOfStore(whole);
    QCOMPARE(expected.size(), 4);
    int breaks = 0;
    for (int at = 1;; at += step) {
        const QString store = path(u"broken%1.db"_s.arg(at));
        QFile::remove(store);
        QFile::remove(store + u"-journal"_s);
        const CliRun run = runCliTraced(path(u"trace.txt"_s),
                                        {u"-e"_s, u"trace="_s + calls, u"-e"_s,
                                         u"inject="_s + calls + u':' + injection.arg(at)},
                                        {u"fingerprint"_s, u"--store"_s, store, u"-j1"_s, first});
        if (run.exitStatus == 0) {
            break;
        }
        QTEST(run.exitStatus, "exitStatus");
        QVERIFY(++breaks < 100);
        const CliRun next = fingerprint(store);
        QCOMPARE(next.errors, QByteArray());
        QCOMPARE(next.exitStatus, 0);
        QCOMPARE(contentOfStore(store), expected);
    }
    QVERIFY2(breaks >= 2, qPrintable(QString::number(breaks)));
}

void TestQuorvelCliShards::fileOfAnotherShardIsNotOpened()
{
    const QStringList parts = makeParts(2);
    for (int i = 0; i < 2; ++i) {
        const QString trace = path(u"trace.txt"_s);
        const QString again = path(u"again.db"_s);
        QFile::remove(again);
        // The list of parts is in reverse.
        QCOMPARE(runCliTraced(trace, {u"-e"_s, u"trace=openat"_s},
                              {u"fingerprint"_s, u"--store"_s, again, u"--shard"_s,
                               u"%1/2"_s.arg(2 - i), first, second})
                     .exitStatus,
                 0);
        QCOMPARE(contentOfStore(again), contentOfStore(parts.at(i)));
        const QByteArray opened = contentOf(trace);
        for (const QString& line : contentOfStore(parts.at(1 - i))) {
            const QString file = line.section(u'|', 0, 0).section(u'/', -1);
            // strace shows what is not ASCII by numbers.
            if (file.endsWith(u".flac"_s)) {
                QVERIFY2(!opened.contains(file.toUtf8()), qPrintable(file));
            }
        }
    }
}

void TestQuorvelCliShards::partThatCannotBeMergedIsNamedAndTheOthersAreTaken()
{
    const QStringList parts = makeParts(2);
    const QString missing = path(u"missing-part.db"_s);
    const QString broken = media->write(u"broken-part.db"_s, contentOf(parts.at(0)).left(6000));
    const QString store = path(u"partly.db"_s);
    const CliRun run = runCli({u"merge"_s, u"-v"_s, u"--into"_s, store, missing, parts.at(0),
                               broken, store, parts.at(1), parts.at(1)});
    QCOMPARE(run.exitStatus, 3);
    const QList<QByteArray> lines = run.errors.trimmed().split('\n');
    QCOMPARE(lines.size(), 6);
    QVERIFY(lines.at(0).contains("missing-part.db cannot be used: it does not exist"));
    QVERIFY(lines.at(1).startsWith("quorvel-cli: Merged: " + parts.at(0).toUtf8()));
    QVERIFY(lines.at(2).contains("broken-part.db cannot be used: it is damaged"));
    QVERIFY(lines.at(3).endsWith("partly.db: 0 files taken"));
    QVERIFY(lines.at(4).startsWith("quorvel-cli: Merged: " + parts.at(1).toUtf8()));
    QVERIFY(lines.at(5).endsWith(": 0 files taken"));
    QCOMPARE(contentOfStore(store).size(), 7);
}

void TestQuorvelCliShards::mergeIntoWhatIsNoStoreIsRefused()
{
    const QString notes = media->write(u"notes.txt"_s, "My notes.");
    const CliRun run = runCli({u"merge"_s, u"--into"_s, notes, path(u"whole.db"_s)});
    QCOMPARE(run.exitStatus, 3);
    QVERIFY2(run.errors.contains("notes.txt cannot be used"), run.errors.constData());
    QCOMPARE(contentOf(notes), QByteArray("My notes."));
}

void TestQuorvelCliShards::brokenOffMergeLeavesWholeParts_data()
{
    QTest::addColumn<QString>("calls");
    QTest::addColumn<QString>("injection");
    QTest::addColumn<int>("exitStatus");
    QTest::addColumn<int>("step");
    const int killed = 9; // the number of the signal, as strace ends by it, too
    QTest::newRow("killed as it writes")
        << u"pwrite64"_s << u"signal=KILL:when=%1"_s << killed << 4;
    QTest::newRow("killed as it flushes")
        << u"fsync,fdatasync"_s << u"signal=KILL:when=%1"_s << killed << 1;
    QTest::newRow("killed as it commits") << u"unlink"_s << u"signal=KILL:when=%1"_s << killed << 1;
    QTest::newRow("disk full") << u"pwrite64"_s << u"error=ENOSPC:when=%1+"_s << 3 << 7;
}

void TestQuorvelCliShards::brokenOffMergeLeavesWholeParts()
{
    QFETCH(const QString, calls);
    QFETCH(const QString, injection);
    QFETCH(const int, step);
    const QStringList parts = makeParts(2);
    const QStringList all = QStringList{u"merge"_s, u"--into"_s};
    const QString whole = path(u"both.db"_s);
    QFile::remove(whole);
    QCOMPARE(runCli(all + QStringList{whole} + parts).exitStatus, 0);
    const QList<QStringList> allowed{{}, contentOfStore(parts.at(0)), contentOfStore(whole)};
    const QString store = path(u"killed.db"_s);
    QFile::remove(store);
    // One that exists, as its making is tested elsewhere.
    QCOMPARE(runCli({u"fingerprint"_s, u"--store"_s, store, path(u"empty"_s)}).exitStatus, 0);
    const QByteArray before = contentOf(store);
    int breaks = 0;
    for (int at = 1;; at += step) {
        media->write(u"killed.db"_s, before);
        QFile::remove(store + u"-journal"_s);
        const CliRun run = runCliTraced(path(u"trace.txt"_s),
                                        {u"-e"_s, u"trace="_s + calls, u"-e"_s,
                                         u"inject="_s + calls + u':' + injection.arg(at)},
                                        all + QStringList{store} + parts);
        if (run.exitStatus == 0) {
            break;
        }
        QTEST(run.exitStatus, "exitStatus");
        QVERIFY(++breaks < 100);
        QVERIFY2(allowed.contains(contentOfStore(store)),
                 qPrintable(contentOfStore(store).join(u'\n')));
        QCOMPARE(runCli(all + QStringList{store} + parts).exitStatus, 0);
        QCOMPARE(contentOfStore(store), contentOfStore(whole));
    }
    QVERIFY2(breaks >= 2, qPrintable(QString::number(breaks)));
}

void TestQuorvelCliShards::interruptedMergeTakesNothingMore()
{
    const QStringList parts = makeParts(2);
    const QString store = path(u"interrupted.db"_s);
    QCOMPARE(runCli({u"merge"_s, u"--into"_s, store, parts.at(0)}).exitStatus, 0);
    const QStringList before = contentOfStore(store);
    // The program waits for a lock of the part, which a writer holds until it is killed.
    QProcess writer;
    writer.start(u"python3"_s, {u"-c"_s,
                                u"import sqlite3, sys\n"
                                "store = sqlite3.connect(sys.argv[1], isolation_level=None)\n"
                                "store.execute('BEGIN EXCLUSIVE')\n"
                                "print('locked', flush=True)\n"
                                "sys.stdin.read()\n"_s,
                                parts.at(1)});
    QVERIFY(writer.waitForReadyRead());
    QProcess process;
    process.setProcessChannelMode(QProcess::SeparateChannels);
    process.start(u"strace"_s,
                  {u"-f"_s, u"-o"_s, path(u"trace.txt"_s), u"-e"_s, u"trace=clock_nanosleep"_s,
                   u"-e"_s, u"inject=clock_nanosleep:signal=INT:when=1"_s,
                   QStringLiteral(QUORVEL_CLI), u"merge"_s, u"--into"_s, store, parts.at(1)});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 130);
    writer.closeWriteChannel();
    QVERIFY(writer.waitForFinished());
    QCOMPARE(contentOfStore(store), before);
}

QTEST_GUILESS_MAIN(TestQuorvelCliShards)
#include "tst_quorvelcli_shards.moc"
