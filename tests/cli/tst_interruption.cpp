#include "cliprocess.h"
#include "search/fingerprintstore.h"
#include "support/media.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTest>

#include <csignal>
#include <memory>
#include <random>

namespace {

constexpr int kTunes = 100;
constexpr int kHangGuardMs = 300000;
/** Ten times what is promised, for a machine that is busy with other things. */
constexpr int kPromptMs = 10000;

/** The number of files that a store holds; -1 if it cannot be read, as while it is written. */
int filesIn(const QString& store)
{
    int count = -1;
    {
        QSqlDatabase database =
            QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("count"));
        database.setDatabaseName(store);
        // Who writes may have been halted, and does not end while this waits.
        database.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=0"));
        QSqlQuery query(database);
        if (database.open()) {
            query = QSqlQuery(QStringLiteral("SELECT count(*) FROM files"), database);
            count = query.next() ? query.value(0).toInt() : -1;
        }
    }
    QSqlDatabase::removeDatabase(QStringLiteral("count"));
    return count;
}

void sendSignal(const QProcess& process, int signal)
{
    ::kill(static_cast<pid_t>(process.processId()), signal);
}

/**
 * Lets a search run until its store holds more files than \a kept, and halts it there: a machine
 * that is slow to look must not find all done. False if that is never seen.
 */
bool haltWithMoreThan(int kept, const QProcess& process, const QString& store)
{
    constexpr int kRunMs = 10;
    const QDeadlineTimer deadline(kHangGuardMs);
    while (process.state() == QProcess::Running && !deadline.hasExpired()) {
        QTest::qWait(kRunMs); // unavoidable: it is what the search is given to get on
        sendSignal(process, SIGSTOP);
        if (filesIn(store) > kept) {
            return true;
        }
        sendSignal(process, SIGCONT);
    }
    return false;
}

/** Whether the process has a handler of its own for \a signal. */
bool handlesSignal(qint64 process, int signal)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(process));
    if (!status.open(QIODevice::ReadOnly)) {
        return false;
    }
    const QByteArray text = status.readAll();
    const QByteArray caught = text.mid(text.indexOf("SigCgt:") + 7).simplified().left(16);
    return (caught.toULongLong(nullptr, 16) >> (signal - 1) & 1U) != 0;
}

} // namespace

class TestInterruption : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void signalStopsWithinASecondAndWritesNothing_data();
    void signalStopsWithinASecondAndWritesNothing();
    void comparisonIsStoppedToo();
    void secondSignalEndsAtOnce();
    void ignoredHangUpStaysIgnored();
    void killedRunIsContinued();

private:
    QStringList searchArguments() const
    {
        return {media->filePath(QStringLiteral("music")), QStringLiteral("-j2"),
                QStringLiteral("-fjson"), QStringLiteral("--store"), store};
    }

    std::unique_ptr<testmedia::MediaFolder> media;
    QString store;
};

void TestInterruption::initTestCase()
{
    media = std::make_unique<testmedia::MediaFolder>();
    const QString tune = media->makeTune(QStringLiteral("tune.ogg"), {.seed = 1, .seconds = 60.0});
    QDir().mkpath(media->path() + QStringLiteral("/music"));
    for (int i = 0; i < kTunes; ++i) {
        QVERIFY(QFile::copy(tune, media->path() + QStringLiteral("/music/%1.ogg").arg(i)));
    }
}

void TestInterruption::init()
{
    store = media->filePath(QStringLiteral("store.db"));
    QFile::remove(store);
    QFile::remove(store + QStringLiteral("-journal"));
}

void TestInterruption::signalStopsWithinASecondAndWritesNothing_data()
{
    QTest::addColumn<int>("signal");
    QTest::addColumn<int>("exitStatus");
    QTest::newRow("Ctrl-C") << SIGINT << 130;
    QTest::newRow("terminate") << SIGTERM << 143;
    QTest::newRow("hang up") << SIGHUP << 129;
}

void TestInterruption::signalStopsWithinASecondAndWritesNothing()
{
    QFETCH(const int, signal);
    QFETCH(const int, exitStatus);
    const QString result = media->write(QStringLiteral("result.json"), "an older result");
    QProcess process;
    startCli(process, searchArguments() + QStringList{QStringLiteral("-o"), result});
    QVERIFY(haltWithMoreThan(0, process, store));
    QElapsedTimer timer;
    timer.start();
    sendSignal(process, signal);
    sendSignal(process, SIGCONT);
    QVERIFY(process.waitForFinished(kPromptMs));
    qInfo("gone after %lld ms", timer.elapsed());
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), exitStatus);
    QCOMPARE(process.readAllStandardOutput() + process.readAllStandardError(), QByteArray());
    QFile file(result);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("an older result"));
    QCOMPARE(QDir(media->path()).entryList({QStringLiteral("result*")}).size(), 1);
    const int kept = filesIn(store);
    QVERIFY(kept > 0 && kept < kTunes);
}

void TestInterruption::comparisonIsStoppedToo()
{
    // So many files that comparing them all, with each other, takes minutes.
    std::mt19937 random(1);
    QList<search::StoredFile> files;
    const QString folder = media->path() + QStringLiteral("/many");
    QDir().mkpath(folder);
    for (int i = 0; i < 12000; ++i) {
        QList<quint32> words(1900);
        std::generate(words.begin(), words.end(), [&random] { return random(); });
        const QString path = folder + QStringLiteral("/%1.mp3").arg(i);
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        files.append({path, *search::FileState::of(path), {path, words, 240000, 44100, 2}, {}});
    }
    search::FingerprintStore(store).save(files);
    QProcess process;
    startCli(process, {folder, QStringLiteral("-j2"), QStringLiteral("--store"), store,
                       QStringLiteral("-t1")});
    // Reading the store takes a second or two; there is nothing to see from outside after that.
    QVERIFY(!process.waitForFinished(5000));
    sendSignal(process, SIGINT);
    QVERIFY(process.waitForFinished(kPromptMs));
    QCOMPARE(process.exitCode(), 130);
    QCOMPARE(process.readAllStandardOutput(), QByteArray());
}

void TestInterruption::secondSignalEndsAtOnce()
{
    QCOMPARE(runCli({media->filePath(QStringLiteral("missing")), QStringLiteral("--store"), store})
                 .exitStatus,
             1);
    {
        QSqlDatabase other =
            QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("other"));
        other.setDatabaseName(store);
        QVERIFY(other.open());
        // The program waits a minute for this to end, in a call that answers to nothing.
        QVERIFY(QSqlQuery(other).exec(QStringLiteral("BEGIN IMMEDIATE")));
        QProcess process;
        startCli(process, searchArguments());
        QTRY_VERIFY_WITH_TIMEOUT(handlesSignal(process.processId(), SIGHUP), kHangGuardMs);
        sendSignal(process, SIGINT);
        sendSignal(process, SIGTERM);
        QVERIFY(process.waitForFinished(10000));
    }
    QSqlDatabase::removeDatabase(QStringLiteral("other"));
}

void TestInterruption::ignoredHangUpStaysIgnored()
{
    QProcess process;
    process.setChildProcessModifier([] { ::signal(SIGHUP, SIG_IGN); });
    startCli(process, searchArguments());
    QVERIFY(haltWithMoreThan(0, process, store));
    sendSignal(process, SIGHUP);
    sendSignal(process, SIGCONT);
    QVERIFY(process.waitForFinished(kHangGuardMs));
    QCOMPARE(process.exitCode(), 0);
}

void TestInterruption::killedRunIsContinued()
{
    const CliRun whole = runCli(searchArguments());
    QCOMPARE(whole.exitStatus, 0);
    init();
    int kept = 0;
    for (int round = 0; round < 4; ++round) {
        QProcess process;
        startCli(process, searchArguments());
        QVERIFY(haltWithMoreThan(kept, process, store));
        process.kill();
        QVERIFY(process.waitForFinished());
        const int now = filesIn(store);
        QVERIFY2(now > kept, qPrintable(QStringLiteral("%1 after %2").arg(now).arg(kept)));
        kept = now;
    }
    QVERIFY(kept < kTunes);
    QCOMPARE(runCli(searchArguments()).output, whole.output);
    QCOMPARE(filesIn(store), kTunes);
}

QTEST_GUILESS_MAIN(TestInterruption)
#include "tst_interruption.moc"
