#include "cliprocess.h"
#include "search/fingerprintstore.h"
#include "support/media.h"
#include "terminal.h"

#include <QDir>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTest>

#include <csignal>
#include <memory>
#include <random>

namespace {

constexpr int kRounds = 4;
constexpr int kTunesARound = 5;
constexpr int kHangGuardMs = 300000;
constexpr int kLessThanTheCallMs = 45000;
/** Raw samples for months, which take no room on the disk: no search gets to their end. */
constexpr qint64 kEndlessBytes = qint64(1) << 40;

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
    /** The number of files in the store afterwards; -1 if the search could not be ended. */
    int kept = -1;
    /** What was written to standard error. */
    QByteArray messages;
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
    void init();

    void signalEndsAnEndlessSearchAndWritesNothing_data();
    void signalEndsAnEndlessSearchAndWritesNothing();
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
    /** Lists more tunes. */
    void addTunes();
    /**
     * Starts a search that has no end, and sends it \a signal when more files are done than \a
     * kept, those that the store has already. One thread is in the middle of the endless file then.
     */
    EndedSearch endSearch(int signal, int kept, const QStringList& more = {}) const;
    /** What a search says on a terminal that has saved \a count fingerprints. */
    QByteArray messageAbout(int count) const
    {
        return QStringLiteral("\r\033[Kquorvel-cli: %1 new fingerprint%2 kept in %3\r\n")
            .arg(count)
            .arg(count == 1 ? QString() : QStringLiteral("s"), store)
            .toUtf8();
    }

    std::unique_ptr<testmedia::MediaFolder> media;
    QString store;
    QString endless;
    int tunes = 0;
};

void TestInterruption::init()
{
    media = std::make_unique<testmedia::MediaFolder>();
    store = media->filePath(QStringLiteral("store.db"));
    media->makeTune(QStringLiteral("tune.ogg"), {.seed = 1, .seconds = 60.0});
    endless = media->writeSparse(QStringLiteral("music/endless.sw"), {}, kEndlessBytes);
    tunes = 0;
    addTunes();
}

void TestInterruption::addTunes()
{
    const QString tune = media->filePath(QStringLiteral("tune.ogg"));
    for (const int end = tunes + kTunesARound; tunes < end; ++tunes) {
        QVERIFY(QFile::copy(tune, media->filePath(QStringLiteral("music/%1.ogg").arg(tunes))));
    }
}

EndedSearch TestInterruption::endSearch(int signal, int kept, const QStringList& more) const
{
    EndedSearch search;
    search.process = std::make_unique<QProcess>();
    Terminal terminal;
    terminal.attachTo(*search.process);
    startCli(*search.process, searchArguments() + more);
    // A file is saved before it counts as done; those of the store count first.
    QString done = QString::number(kept + 1);
    for (int count = kept + 2; count <= tunes; ++count) {
        done += QStringLiteral("|%1").arg(count);
    }
    if (terminal.waitForProgress(
            *search.process,
            QRegularExpression(QStringLiteral("Fingerprinting: (%1) of").arg(done))) &&
        sendSignal(*search.process, signal) && search.process->waitForFinished(kHangGuardMs)) {
        search.kept = filesIn(store);
        search.messages = terminal.text();
    }
    return search;
}

void TestInterruption::signalEndsAnEndlessSearchAndWritesNothing_data()
{
    QTest::addColumn<int>("signal");
    QTest::addColumn<int>("exitStatus");
    QTest::newRow("Ctrl-C") << SIGINT << 130;
    QTest::newRow("terminate") << SIGTERM << 143;
    QTest::newRow("hang up") << SIGHUP << 129;
}

void TestInterruption::signalEndsAnEndlessSearchAndWritesNothing()
{
    QFETCH(const int, signal);
    QFETCH(const int, exitStatus);
    const QString result = media->write(QStringLiteral("result.json"), "an older result");
    const EndedSearch search = endSearch(signal, 0, {QStringLiteral("-o"), result});
    QVERIFY2(search.kept > 0 && search.kept <= tunes, qPrintable(QString::number(search.kept)));
    QCOMPARE(search.process->exitStatus(), QProcess::NormalExit);
    QCOMPARE(search.process->exitCode(), exitStatus);
    QCOMPARE(search.process->readAllStandardOutput(), QByteArray());
    QVERIFY2(search.messages.endsWith(messageAbout(search.kept)), search.messages.constData());
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
    Terminal terminal;
    terminal.attachTo(process);
    startCli(process, {folder, QStringLiteral("-j2"), QStringLiteral("--store"), store,
                       QStringLiteral("-t1")});
    QVERIFY(terminal.waitForProgress(process, QRegularExpression(QStringLiteral("Comparing: "))));
    QVERIFY(sendSignal(process, SIGINT));
    QVERIFY(process.waitForFinished(kHangGuardMs));
    QCOMPARE(process.exitCode(), 130);
    QCOMPARE(process.readAllStandardOutput(), QByteArray());
    QVERIFY2(terminal.text().endsWith(messageAbout(0)), terminal.text().constData());
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
        // The program waits a minute for this to end, in a call that cannot be stopped.
        QVERIFY(QSqlQuery(other).exec(QStringLiteral("BEGIN IMMEDIATE")));
        QProcess process;
        startCli(process, searchArguments());
        QTRY_VERIFY_WITH_TIMEOUT(handlesSignal(process.processId(), SIGHUP), kHangGuardMs);
        QVERIFY(sendSignal(process, SIGINT));
        // Two signals at once can be handled by two threads, in either order. A handled one is
        // reset.
        QTRY_VERIFY_WITH_TIMEOUT(!handlesSignal(process.processId(), SIGINT), kHangGuardMs);
        QVERIFY(sendSignal(process, SIGTERM));
        QVERIFY(process.waitForFinished(kLessThanTheCallMs));
        QCOMPARE(process.exitCode(), 130);
    }
    QSqlDatabase::removeDatabase(QStringLiteral("other"));
}

void TestInterruption::ignoredHangUpStaysIgnored()
{
    QVERIFY(QFile::remove(endless));
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
    int kept = 0;
    for (int round = 0; round < kRounds; ++round) {
        const int now = endSearch(SIGKILL, kept).kept;
        QVERIFY2(now > kept && now <= tunes,
                 qPrintable(QStringLiteral("%1 after %2").arg(now).arg(kept)));
        kept = now;
        addTunes();
    }
    QVERIFY(QFile::remove(endless));
    const CliRun continued = runCli(searchArguments());
    QCOMPARE(continued.exitStatus, 0);
    QCOMPARE(filesIn(store), tunes);
    QVERIFY(QFile::remove(store));
    QCOMPARE(continued.output, runCli(searchArguments()).output);
}

QTEST_GUILESS_MAIN(TestInterruption)
#include "tst_interruption.moc"
