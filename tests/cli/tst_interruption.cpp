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

/** The number of files that a store holds; -1 if it cannot be read. */
int filesIn(const QString& store)
{
    int count = -1;
    {
        QSqlDatabase database =
            QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("count"));
        database.setDatabaseName(store);
        if (database.open()) {
            // A search that ended early may not have made the table yet.
            QSqlQuery query(QStringLiteral("SELECT count(*) FROM sqlite_master"), database);
            if (query.next() && query.value(0).toInt() == 0) {
                count = 0;
            } else if (query.exec(QStringLiteral("SELECT count(*) FROM files")) && query.next()) {
                count = query.value(0).toInt();
            }
        }
    }
    QSqlDatabase::removeDatabase(QStringLiteral("count"));
    return count;
}

/** False if the process has ended: it has no number then, and none is another one's. */
bool sendSignal(const QProcess& process, int signal)
{
    const auto number = static_cast<pid_t>(process.processId());
    return number > 0 && ::kill(number, signal) == 0;
}

/** A search that a signal has ended. */
struct EndedSearch
{
    std::unique_ptr<QProcess> process;
    /** The number of files in the store afterwards; -1 if none was ended so. */
    int kept = -1;
    qint64 goneAfterMs = 0;
};

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
    /**
     * Ends searches by \a signal, each after twice the time of the one before, until the store does
     * not hold \a kept files any more. Nobody looks at the store meanwhile: who writes it has it
     * for himself most of the time, and the moment is to be any one.
     */
    EndedSearch endSearch(int signal, int kept, const QStringList& more = {}) const;

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

EndedSearch TestInterruption::endSearch(int signal, int kept, const QStringList& more) const
{
    const QDeadlineTimer deadline(kHangGuardMs);
    for (int runMs = 10; !deadline.hasExpired(); runMs *= 2) {
        EndedSearch search{std::make_unique<QProcess>()};
        startCli(*search.process, searchArguments() + more);
        QTest::qWait(runMs); // unavoidable: it is what the search is given to get on
        QElapsedTimer timer;
        timer.start();
        if (!sendSignal(*search.process, signal) || !search.process->waitForFinished(kPromptMs)) {
            break;
        }
        search.goneAfterMs = timer.elapsed();
        search.kept = filesIn(store);
        if (search.kept != kept) {
            return search;
        }
    }
    return {};
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
    const EndedSearch search = endSearch(signal, 0, {QStringLiteral("-o"), result});
    QVERIFY2(search.kept > 0 && search.kept < kTunes, qPrintable(QString::number(search.kept)));
    qInfo("gone after %lld ms", search.goneAfterMs);
    QCOMPARE(search.process->exitStatus(), QProcess::NormalExit);
    QCOMPARE(search.process->exitCode(), exitStatus);
    QCOMPARE(search.process->readAllStandardOutput() + search.process->readAllStandardError(),
             QByteArray());
    QFile file(result);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("an older result"));
    QCOMPARE(QDir(media->path()).entryList({QStringLiteral("result*")}).size(), 1);
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
    QVERIFY(sendSignal(process, SIGINT));
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
        QVERIFY(sendSignal(process, SIGINT));
        QVERIFY(sendSignal(process, SIGTERM));
        QVERIFY(process.waitForFinished(10000));
    }
    QSqlDatabase::removeDatabase(QStringLiteral("other"));
}

void TestInterruption::ignoredHangUpStaysIgnored()
{
    QProcess process;
    process.setChildProcessModifier([] { ::signal(SIGHUP, SIG_IGN); });
    startCli(process, searchArguments());
    QTRY_VERIFY_WITH_TIMEOUT(handlesSignal(process.processId(), SIGTERM), kHangGuardMs);
    QVERIFY(sendSignal(process, SIGHUP));
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
        const int now = endSearch(SIGKILL, kept).kept;
        QVERIFY2(now > kept && now < kTunes,
                 qPrintable(QStringLiteral("%1 after %2").arg(now).arg(kept)));
        kept = now;
    }
    QCOMPARE(runCli(searchArguments()).output, whole.output);
    QCOMPARE(filesIn(store), kTunes);
}

QTEST_GUILESS_MAIN(TestInterruption)
#include "tst_interruption.moc"
