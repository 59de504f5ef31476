#include "cliprocess.h"
#include "search/fingerprintstore.h"
#include "storecontent.h"
#include "support/media.h"
#include "tunefolders.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QSet>
#include <QTest>

#include <filesystem>
#include <memory>

using testmedia::contentOf;

namespace {

/** Turns the store at \a path into one as version 1 made it, with the same files. */
void downgrade(const QString& path)
{
    executed(path,
             {QStringLiteral("DROP TRIGGER files_added"),
              QStringLiteral("DROP TRIGGER files_removed"), QStringLiteral("DROP TABLE facts"),
              QStringLiteral("PRAGMA user_version = 1"), QStringLiteral("VACUUM")});
}

} // namespace

/** A search with --store. */
class TestQuorvelCliStore : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void unusableStoreIsRefused();
    void resultIsNotWrittenOverTheStore();
    void resultMayReplaceAnotherNameOfTheStore();
    void storeAndResultMayBothBeNew();
    void storeThatFailsExitsWithThreeAfterTheRest_data();
    void storeThatFailsExitsWithThreeAfterTheRest();
    void storeServesTheNextRun();
    void filesThatAreGoneAreForgottenOnRequest();
    void commitIsFlushedWithItsFolder();
    void filesOfAnOlderStoreCountAsPartialUntilTheyChange();
    void killInTheMiddleOfAnUpgradeLeavesAStore();
    void fileThatMetADiskErrorIsTriedAgain_data();
    void fileThatMetADiskErrorIsTriedAgain();
    void twoRunsAtATimeShareAStore();

private:
    QString path(const char* name) const
    {
        return media->filePath(QString::fromUtf8(name));
    }

    /** Runs the program under strace with \a options; the trace is written to trace.txt. */
    CliRun runTraced(const QStringList& options, const QStringList& arguments) const
    {
        return runCliTraced(path("trace.txt"), options, arguments);
    }

    std::unique_ptr<testmedia::MediaFolder> media;
    QString first;
    QString second;
};

void TestQuorvelCliStore::initTestCase()
{
    media = std::make_unique<testmedia::MediaFolder>();
    addTuneFolders(*media);
    first = path("first");
    second = path("second");
}

void TestQuorvelCliStore::unusableStoreIsRefused()
{
    const QString notes = media->write(QStringLiteral("notes.txt"), "My notes.");
    const CliRun run = runCli({first, QStringLiteral("--store"), notes});
    QCOMPARE(run.exitStatus, 3);
    QCOMPARE(run.output, QByteArray());
    QVERIFY(run.errors.contains("not a store"));
    QCOMPARE(contentOf(notes), QByteArray("My notes."));
}

void TestQuorvelCliStore::resultIsNotWrittenOverTheStore()
{
    const QString store = path("result.db");
    const QStringList arguments{first, QStringLiteral("--store"), store};
    QCOMPARE(runCli(arguments).exitStatus, 0);
    const QByteArray before = contentOf(store);
    const CliRun run = runCli(arguments + QStringList{QStringLiteral("-o"), store});
    QCOMPARE(run.exitStatus, 3);
    QCOMPARE(contentOf(store), before);
    const QString neither = path("neither.db");
    QCOMPARE(runCli({first, QStringLiteral("--store"), neither, QStringLiteral("-o"), neither})
                 .exitStatus,
             3);
    QVERIFY(!QFile::exists(neither));
    const QString linked = path("linked");
    QVERIFY(QFile::link(QFileInfo(store).path(), linked));
    for (const char* name : {"result.db", "neither.db"}) {
        const QString sameStore = linked + QLatin1Char('/') + QLatin1String(name);
        QCOMPARE(
            runCli({first, QStringLiteral("--store"), path(name), QStringLiteral("-o"), sameStore})
                .exitStatus,
            3);
    }
    QCOMPARE(contentOf(store), before);
    QVERIFY(!QFile::exists(neither));
}

void TestQuorvelCliStore::resultMayReplaceAnotherNameOfTheStore()
{
    const QString store = path("named.db");
    const QStringList arguments{first, QStringLiteral("--store"), store};
    QCOMPARE(runCli(arguments).exitStatus, 0);
    const QByteArray begin = contentOf(store).left(15);
    QCOMPARE(begin, "SQLite format 3");
    const QString other = path("other.txt");
    std::filesystem::create_hard_link(store.toStdString(), other.toStdString());
    QCOMPARE(runCli(arguments + QStringList{QStringLiteral("-o"), other}).exitStatus, 0);
    QVERIFY(contentOf(store).startsWith(begin));
    QVERIFY(!contentOf(other).startsWith(begin));
}

void TestQuorvelCliStore::storeAndResultMayBothBeNew()
{
    const CliRun run = runCli(
        {first, QStringLiteral("--store"), path("new.db"), QStringLiteral("-o"), path("new.txt")});
    QCOMPARE(run.errors, QByteArray());
    QCOMPARE(run.exitStatus, 0);
    QVERIFY(QFile::exists(path("new.db")) && QFile::exists(path("new.txt")));
}

void TestQuorvelCliStore::storeThatFailsExitsWithThreeAfterTheRest_data()
{
    QTest::addColumn<QStringList>("folders");
    QTest::newRow("alone") << QStringList{first, second};
    QTest::newRow("and a folder is missing") << QStringList{first, second, path("nowhere")};
}

void TestQuorvelCliStore::storeThatFailsExitsWithThreeAfterTheRest()
{
    QFETCH(const QStringList, folders);
    const QString store = path("full.db");
    QFile::remove(store);
    const search::FingerprintStore made(store);
    executed(store, {QStringLiteral("CREATE TRIGGER refusal BEFORE INSERT ON files "
                                    "BEGIN SELECT RAISE(ABORT, 'no room'); END")});
    const QStringList arguments = folders + QStringList{QStringLiteral("-fjson")};
    const CliRun run = runCli(arguments + QStringList{QStringLiteral("--store"), store});
    QCOMPARE(run.exitStatus, 3);
    QVERIFY2(run.errors.contains("no room"), run.errors.constData());
    QCOMPARE(run.output, runCli(arguments).output);
}

void TestQuorvelCliStore::storeServesTheNextRun()
{
    const QStringList arguments{first, second, QStringLiteral("-fjson"), QStringLiteral("--store"),
                                path("store.db")};
    const CliRun once = runCli(arguments);
    QCOMPARE(once.exitStatus, 0);
    // Unreadable files stand for "not read": as root they would be read nevertheless.
    const QByteArray content = contentOf(path("first/1.flac"));
    const auto time = QFileInfo(path("first/1.flac")).lastModified();
    media->write(QStringLiteral("first/1.flac"), QByteArray(content.size(), 'x'));
    QFile file(path("first/1.flac"));
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.setFileTime(time, QFileDevice::FileModificationTime));
    file.close();
    QCOMPARE(runCli(arguments).output, once.output);
    media->write(QStringLiteral("first/1.flac"), content);
}

void TestQuorvelCliStore::filesThatAreGoneAreForgottenOnRequest()
{
    const QString folder = path("vanishing");
    const QString store = path("vanishing.db");
    for (const char* name : {"a.wav", "b.wav", "c.wav"}) {
        media->makeTune(QStringLiteral("vanishing/") + QString::fromLatin1(name),
                        {.seed = 5, .seconds = 5.0});
    }
    const QStringList arguments{folder, QStringLiteral("--store"), store};
    QCOMPARE(runCli(arguments).exitStatus, 0);
    const auto keptFiles = [&] {
        return search::FingerprintStore(store).pathsBelow(QFileInfo(folder).canonicalFilePath());
    };
    QCOMPARE(keptFiles().size(), 3);
    QVERIFY(QFile::remove(folder + QStringLiteral("/b.wav")));
    QCOMPARE(runCli(arguments).errors, QByteArray());
    QCOMPARE(keptFiles().size(), 3);
    const CliRun run = runCli(arguments + QStringList{QStringLiteral("--forget")});
    QCOMPARE(run.exitStatus, 0);
    QCOMPARE(run.errors, "quorvel-cli: 1 file is gone and taken out of " + store.toUtf8() + '\n');
    QCOMPARE(run.output, runCli(arguments).output);
    QCOMPARE(keptFiles().size(), 2);
}

void TestQuorvelCliStore::commitIsFlushedWithItsFolder()
{
    // A commit ends with the removal of its journal. Until the folder is flushed, a power cut
    // brings the journal back, and with it the state before the commit.
    const QString store = path("flushed/store.db");
    QVERIFY(QDir().mkpath(path("flushed")));
    const CliRun run = runTraced({QStringLiteral("-y"), QStringLiteral("-e"),
                                  QStringLiteral("trace=unlink,unlinkat,fsync,fdatasync")},
                                 {first, QStringLiteral("--store"), store, QStringLiteral("-j1")});
    QCOMPARE(run.exitStatus, 0);
    const QByteArray folder = '<' + path("flushed").toUtf8() + ">)";
    int commits = 0;
    bool isFlushed = true;
    for (const QByteArray& call : contentOf(path("trace.txt")).split('\n')) {
        if (call.contains(store.toUtf8() + "-journal\"")) {
            QVERIFY(isFlushed);
            isFlushed = false;
            ++commits;
        } else if (call.contains("sync(") && call.contains(folder)) {
            isFlushed = true;
        }
    }
    QVERIFY(isFlushed);
    QVERIFY(commits > 1);
}

void TestQuorvelCliStore::filesOfAnOlderStoreCountAsPartialUntilTheyChange()
{
    const QString store = path("older.db");
    const QStringList arguments{first, second, QStringLiteral("--store"), store};
    const auto partialCount = [&arguments] {
        return runCli(arguments + QStringList{QStringLiteral("-fjson")})
            .json()[QStringLiteral("counts")][QStringLiteral("partial")]
            .toInt();
    };
    QCOMPARE(partialCount(), 0);
    downgrade(store);
    QCOMPARE(partialCount(), 6);
    QVERIFY(runCli(arguments).output.contains(
        "Files read by an older version, which may be incomplete: 6\n"));
    QFile file(path("first/2.flac"));
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.setFileTime(file.fileTime(QFileDevice::FileModificationTime).addSecs(1),
                             QFileDevice::FileModificationTime));
    file.close();
    QCOMPARE(partialCount(), 5);
    // Of the files that are alike it alone is known to be whole, so it is kept.
    const CliRun kept =
        runCli(arguments + QStringList{QStringLiteral("-fjson"), QStringLiteral("--keep=size")});
    QCOMPARE(kept.json()[QStringLiteral("groups")][1][QStringLiteral("reference")]
                        [QStringLiteral("path")]
                            .toString(),
             path("first/2.flac"));
}

/** A kill before each call by which an upgrade changes the disk, one after the other. */
void TestQuorvelCliStore::killInTheMiddleOfAnUpgradeLeavesAStore()
{
    const QString store = path("killed.db");
    QCOMPARE(runCli({first, QStringLiteral("--store"), store}).exitStatus, 0);
    downgrade(store);
    const QByteArray older = contentOf(store);
    const QVariantList fingerprints =
        executed(store, {QStringLiteral("SELECT fingerprint FROM files ORDER BY path")});
    QCOMPARE(fingerprints.size(), 4);
    QDir().mkpath(path("empty"));
    int kills = 0;
    QSet<int> versions;
    for (const char* call : {"pwrite64", "fsync,fdatasync", "unlink"}) {
        for (int at = 1;; ++at) {
            media->write(QStringLiteral("killed.db"), older);
            QFile::remove(store + QStringLiteral("-journal"));
            const CliRun run = runTraced(
                {QStringLiteral("-e"), QStringLiteral("trace=") + QString::fromLatin1(call),
                 QStringLiteral("-e"),
                 QStringLiteral("inject=%1:signal=KILL:when=%2").arg(QLatin1String(call)).arg(at)},
                {path("empty"), QStringLiteral("--store"), store});
            if (run.exitStatus == 0) {
                break;
            }
            QVERIFY(++kills < 100);
            versions.insert(
                executed(store, {QStringLiteral("PRAGMA user_version")}).value(0).toInt());
            QCOMPARE(executed(store, {QStringLiteral("SELECT fingerprint FROM files "
                                                     "ORDER BY path")}),
                     fingerprints);
            const CliRun next = runCli({path("empty"), QStringLiteral("--store"), store});
            QCOMPARE(next.errors, QByteArray());
            QCOMPARE(next.exitStatus, 0);
            QCOMPARE(executed(store, {QStringLiteral("PRAGMA user_version")}).value(0).toInt(), 2);
            QCOMPARE(executed(store, {QStringLiteral("SELECT fingerprint FROM files "
                                                     "ORDER BY path")}),
                     fingerprints);
        }
    }
    QVERIFY2(kills >= 6, qPrintable(QString::number(kills)));
    QCOMPARE(versions, QSet<int>({1, 2}));
}

void TestQuorvelCliStore::fileThatMetADiskErrorIsTriedAgain_data()
{
    QTest::addColumn<int>("firstFailingRead");
    QTest::newRow("at once") << 1;
    QTest::newRow("in the middle") << 5;
}

void TestQuorvelCliStore::fileThatMetADiskErrorIsTriedAgain()
{
    QFETCH(const int, firstFailingRead);
    const QString store = path("disk.db");
    QFile::remove(store);
    const QStringList arguments{
        first, second, QStringLiteral("-j1"), QStringLiteral("-fjson"), QStringLiteral("--store"),
        store};
    const CliRun failing =
        runTraced({QStringLiteral("-P"), path("first/1.flac"), QStringLiteral("-e"),
                   QStringLiteral("trace=read"), QStringLiteral("-e"),
                   QStringLiteral("inject=read:error=EIO:when=%1+").arg(firstFailingRead)},
                  arguments);
    QCOMPARE(failing.exitStatus, 0);
    QVERIFY(contentOf(path("trace.txt")).contains("EIO"));
    const QByteArray expected = runCli({first, second, QStringLiteral("-fjson")}).output;
    QVERIFY(failing.output != expected);
    QCOMPARE(runCli(arguments).output, expected);
}

void TestQuorvelCliStore::twoRunsAtATimeShareAStore()
{
    const QString store = path("shared.db");
    const QStringList arguments{first, second, QStringLiteral("-fjson"), QStringLiteral("--store"),
                                store};
    QProcess one;
    QProcess two;
    startCli(one, arguments);
    startCli(two, arguments);
    QVERIFY(one.waitForFinished() && two.waitForFinished());
    QCOMPARE(one.exitCode(), 0);
    QCOMPARE(two.exitCode(), 0);
    const QByteArray expected = runCli({first, second, QStringLiteral("-fjson")}).output;
    QCOMPARE(one.readAllStandardOutput(), expected);
    QCOMPARE(two.readAllStandardOutput(), expected);
    QCOMPARE(runCli(arguments).output, expected);
}

QTEST_GUILESS_MAIN(TestQuorvelCliStore)
#include "tst_quorvelcli_store.moc"
