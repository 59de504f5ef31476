#include "search/fingerprintstore.h"
#include "support/storefiles.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <chrono>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

using fingerprint::Completeness;
using fingerprint::FileFacts;
using search::FileState;
using search::FingerprintStore;
using search::StoredFile;
using search::StoreError;
using support::contentOf;
using support::runSql;
using support::write;

namespace {

constexpr FileState kState{1000, 1234567890123, 1234567890456};

StoredFile fileNamed(const QString& path, const QList<quint32>& words = {1U, 0xFFFFFFFFU, 0x80U})
{
    return {path, kState, {path, words, 180000, 44100, 2}, {}};
}

/** A part of a file, of which everything is known. */
FileFacts someFacts()
{
    FileFacts facts;
    facts.container = QStringLiteral("mov,mp4,m4a,3gp,3g2,mj2");
    facts.codec = QStringLiteral("alac");
    facts.bitRate = 5'000'000'000;
    facts.isLossless = true;
    facts.bitsPerSample = 24;
    facts.sizeBytes = kState.sizeBytes;
    facts.modifiedMs = kState.modifiedMs;
    facts.completeness = Completeness::Partial;
    facts.breakReason = QStringLiteral("Only 1.0 s of 2.0 s could be read");
    facts.statedMs = 6'000'000'000;
    facts.decodedMs = 3'000'000'000;
    return facts;
}

/** What is known of a file without its facts. */
FileFacts unknownFacts()
{
    FileFacts facts;
    facts.sizeBytes = kState.sizeBytes;
    facts.modifiedMs = kState.modifiedMs;
    return facts;
}

StoredFile failedFile(const QString& path)
{
    return {path, kState, {path, {}, 0, 0, 0}, QStringLiteral("Could not open")};
}

/** If set, released when this thread waits for a lock of the database. */
thread_local std::atomic<bool>* waiting = nullptr;

} // namespace

// SQLite sleeps by it between two attempts to get a lock.
extern "C" int usleep(useconds_t microseconds) // unavoidable: it is what SQLite waits with
{
    if (waiting != nullptr) {
        *waiting = true;
        waiting->notify_all();
    }
    return reinterpret_cast<decltype(&usleep)>(::dlsym(RTLD_NEXT, "usleep"))(microseconds);
}

class TestFingerprintStore : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void whatIsSavedIsFoundAgain();
    void failureIsFoundWithItsReason();
    void laterSaveReplacesTheEarlier();
    void changedContentIsNotFound_data();
    void changedContentIsNotFound();
    void failedFileIsTriedAgainAfterAnyChange();
    void changedPermissionsKeepAFingerprint();
    void fileIsFoundThroughALinkAndARelativeName();
    void linkIsKeptUnderItsOwnName();
    void linkIsKeptInItsOwnFolder();
    void factsAreFoundAgain();
    void laterSaveReplacesTheFacts();
    void removedRowTakesItsFactsAlong();
    void featurelessFollowsFromTheWords();
    void olderStoreIsUpgraded();
    void olderStoreThatIsDamagedIsRefusedAndUntouched();
    void failedUpgradeChangesNothing();
    void upgradeWaitsForOtherPrograms();
    void upgradesAtATimeMakeOne();
    void unusableFileIsRefusedAndUntouched_data();
    void unusableFileIsRefusedAndUntouched();
    void damagedPageIsRefusedAndUntouched();
    void truncatedStoreIsRefusedAndUntouched();
    void newerVersionIsRefusedAndUntouched();
    void newerVersionInAWriteAheadLogIsRefused();
    void otherTableIsRefused();
    void storeWithoutItsTableIsRefusedAndUntouched();
    void emptyFileBecomesAStore();
    void nameOfNoUsableFileIsRefusedWithTheReason_data();
    void nameOfNoUsableFileIsRefusedWithTheReason();
    void storeThatAnotherProgramMakesIsWaitedFor();
    void twoStoresOnOneFileSeeEachOther();
    void failedSaveKeepsNothingOfIt();
    void schemaIsAsDocumented();

private:
    QString path(const char* name = "fingerprints.db") const
    {
        return folder->filePath(QString::fromLatin1(name));
    }
    /** A store with many files, so that it has many pages. */
    void makeLargeStore() const;
    /** Turns the store into one as version 1 made it, with the same files. */
    void downgrade() const;
    /** Whether opening is refused with a message that holds \a text, and changes nothing. */
    bool isRefused(const char* text) const;

    std::unique_ptr<QTemporaryDir> folder;
};

void TestFingerprintStore::init()
{
    folder = std::make_unique<QTemporaryDir>();
    QVERIFY(folder->isValid());
}

/** A store that is refused must not stay open, either. */
void TestFingerprintStore::cleanup()
{
    QCOMPARE(QSqlDatabase::connectionNames(), QStringList());
}

void TestFingerprintStore::makeLargeStore() const
{
    QList<StoredFile> files;
    for (int i = 0; i < 50; ++i) {
        files.append(fileNamed(path(qPrintable(QString::number(i))), QList<quint32>(1900, 7U)));
    }
    FingerprintStore(path()).save(files);
}

void TestFingerprintStore::downgrade() const
{
    runSql(path(), {QStringLiteral("DROP TRIGGER files_added"),
                    QStringLiteral("DROP TRIGGER files_removed"),
                    QStringLiteral("DROP TABLE facts"), QStringLiteral("PRAGMA user_version = 1")});
}

bool TestFingerprintStore::isRefused(const char* text) const
{
    const QByteArray before = contentOf(path());
    try {
        const FingerprintStore store(path());
    } catch (const StoreError& error) {
        const QStringList left = QDir(folder->path()).entryList(QDir::Files);
        if (!error.message().contains(QString::fromLatin1(text)) ||
            !error.message().contains(path())) {
            qWarning("%s", qPrintable(error.message()));
            return false;
        }
        return contentOf(path()) == before && left.size() == 1;
    }
    return false;
}

void TestFingerprintStore::whatIsSavedIsFoundAgain()
{
    std::mt19937 random(1);
    QList<quint32> words;
    for (int i = 0; i < 3000; ++i) {
        words.append(static_cast<quint32>(random()));
    }
    const StoredFile saved = fileNamed(path("ünïcode \U0001F3B5.mp3"), words);
    FingerprintStore(path()).save({saved});
    const auto found = FingerprintStore(path()).find(saved.path, kState);
    QVERIFY(found);
    QCOMPARE(found->record, saved.record);
    QVERIFY(found->failure.isNull());
    QVERIFY(!FingerprintStore(path()).find(path("other.mp3"), kState));
}

void TestFingerprintStore::failureIsFoundWithItsReason()
{
    FingerprintStore store(path());
    store.save({failedFile(path("a.mp3"))});
    const auto found = store.find(path("a.mp3"), kState);
    QVERIFY(found);
    QCOMPARE(found->failure, QStringLiteral("Could not open"));
    QCOMPARE(found->record, failedFile(path("a.mp3")).record);
}

void TestFingerprintStore::laterSaveReplacesTheEarlier()
{
    FingerprintStore store(path());
    store.save({failedFile(path("a.mp3"))});
    store.save({fileNamed(path("a.mp3"))});
    const auto found = store.find(path("a.mp3"), kState);
    QVERIFY(found);
    QVERIFY(found->failure.isNull());
}

void TestFingerprintStore::changedContentIsNotFound_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<qint64>("modified");
    QTest::newRow("size") << kState.sizeBytes + 1 << kState.modifiedMs;
    QTest::newRow("later") << kState.sizeBytes << kState.modifiedMs + 1;
    QTest::newRow("earlier") << kState.sizeBytes << kState.modifiedMs - 1;
}

void TestFingerprintStore::changedContentIsNotFound()
{
    QFETCH(const qint64, size);
    QFETCH(const qint64, modified);
    FingerprintStore store(path());
    store.save({fileNamed(path("a.mp3")), failedFile(path("b.mp3"))});
    QVERIFY(!store.find(path("a.mp3"), {size, modified, kState.changedMs}));
    QVERIFY(!store.find(path("b.mp3"), {size, modified, kState.changedMs}));
}

void TestFingerprintStore::failedFileIsTriedAgainAfterAnyChange()
{
    FingerprintStore store(path());
    store.save({failedFile(path("a.mp3"))});
    QVERIFY(!store.find(path("a.mp3"), {kState.sizeBytes, kState.modifiedMs, 1}));
}

void TestFingerprintStore::changedPermissionsKeepAFingerprint()
{
    FingerprintStore store(path());
    store.save({fileNamed(path("a.mp3"))});
    QVERIFY(store.find(path("a.mp3"), {kState.sizeBytes, kState.modifiedMs, 1}));
}

void TestFingerprintStore::fileIsFoundThroughALinkAndARelativeName()
{
    QVERIFY(QDir(folder->path()).mkdir(QStringLiteral("music")));
    QVERIFY(QFile::link(path("music"), path("link")));
    FingerprintStore store(path());
    store.save({fileNamed(path("music/a.mp3"))});
    const auto throughLink = store.find(path("link/a.mp3"), kState);
    QVERIFY(throughLink);
    QCOMPARE(std::get<0>(throughLink->record), path("link/a.mp3"));
    QVERIFY(store.find(QDir::current().relativeFilePath(path("music/a.mp3")), kState));
}

void TestFingerprintStore::linkIsKeptUnderItsOwnName()
{
    write(path("a.wav"), "content");
    QVERIFY(QFile::link(path("a.wav"), path("a.al")));
    FingerprintStore store(path());
    store.save({fileNamed(path("a.wav"))});
    QVERIFY(!store.find(path("a.al"), kState));
}

void TestFingerprintStore::factsAreFoundAgain()
{
    StoredFile partial = fileNamed(path("partial.m4a"));
    partial.facts = someFacts();
    StoredFile whole = fileNamed(path("whole.m4a"));
    whole.facts = unknownFacts();
    whole.facts.completeness = Completeness::Whole;
    const StoredFile unknown = fileNamed(path("unknown.m4a"));
    FingerprintStore(path()).save({partial, whole, unknown, failedFile(path("failed.m4a"))});
    FingerprintStore store(path());
    QCOMPARE(store.find(partial.path, kState)->facts, someFacts());
    QCOMPARE(store.find(whole.path, kState)->facts, whole.facts);
    QCOMPARE(store.find(unknown.path, kState)->facts, unknownFacts());
    QCOMPARE(store.find(path("failed.m4a"), kState)->facts, unknownFacts());
}

void TestFingerprintStore::laterSaveReplacesTheFacts()
{
    FingerprintStore store(path());
    StoredFile file = fileNamed(path("a.m4a"));
    file.facts = someFacts();
    store.save({file});
    file.facts.bitsPerSample = 16;
    store.save({file});
    QCOMPARE(store.find(file.path, kState)->facts.bitsPerSample, 16);
    store.save({fileNamed(file.path)});
    QCOMPARE(store.find(file.path, kState)->facts, unknownFacts());
}

void TestFingerprintStore::removedRowTakesItsFactsAlong()
{
    StoredFile file = fileNamed(path("a.m4a"));
    file.facts = someFacts();
    FingerprintStore(path()).save({file});
    runSql(path(), {QStringLiteral("DELETE FROM files"),
                    // Fails if there is such a row.
                    QStringLiteral("CREATE TABLE none (path CHECK (path IS NULL))"),
                    QStringLiteral("INSERT INTO none SELECT path FROM facts")});
}

void TestFingerprintStore::featurelessFollowsFromTheWords()
{
    FingerprintStore store(path());
    store.save({fileNamed(path("silence.wav"), QList<quint32>(100, 627964279U))});
    QVERIFY(store.find(path("silence.wav"), kState)->facts.isFeatureless);
}

void TestFingerprintStore::olderStoreIsUpgraded()
{
    makeLargeStore();
    StoredFile file = fileNamed(path("a.m4a"), {1U, 2U, 3U});
    file.facts = someFacts();
    FingerprintStore(path()).save({file, failedFile(path("failed.mp3"))});
    downgrade();
    for (int opened = 0; opened < 2; ++opened) {
        FingerprintStore store(path());
        QCOMPARE(store.find(path("49"), kState)->record,
                 fileNamed(path("49"), QList<quint32>(1900, 7U)).record);
        QVERIFY(store.find(path("49"), kState)->facts.isFeatureless);
        QCOMPARE(store.find(file.path, kState)->record, file.record);
        QCOMPARE(store.find(file.path, kState)->facts, unknownFacts());
        QCOMPARE(store.find(path("failed.mp3"), kState)->failure, QStringLiteral("Could not open"));
    }
    FingerprintStore(path()).save({file});
    QCOMPARE(FingerprintStore(path()).find(file.path, kState)->facts, someFacts());
}

void TestFingerprintStore::olderStoreThatIsDamagedIsRefusedAndUntouched()
{
    makeLargeStore();
    downgrade();
    const QByteArray sound = contentOf(path());
    write(path(), QByteArray(sound).replace(sound.size() - 4096, 4096, QByteArray(4096, '\x5A')));
    QVERIFY(isRefused("damaged"));
    write(path(), sound);
    runSql(path(), {QStringLiteral("ALTER TABLE files ADD COLUMN remark TEXT")});
    QVERIFY(isRefused("damaged"));
}

void TestFingerprintStore::failedUpgradeChangesNothing()
{
    makeLargeStore();
    downgrade();
    // The last of what an upgrade adds is there already, as somebody's own.
    runSql(path(), {QStringLiteral("CREATE TRIGGER files_removed AFTER DELETE ON files BEGIN "
                                   "SELECT 1; END")});
    QVERIFY(isRefused("already exists"));
    runSql(path(), {QStringLiteral("DROP TRIGGER files_removed")});
    QVERIFY(FingerprintStore(path()).find(path("49"), kState));
}

void TestFingerprintStore::upgradeWaitsForOtherPrograms()
{
    makeLargeStore();
    downgrade();
    const QByteArray before = contentOf(path());
    {
        QSqlDatabase other =
            QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("holding"));
        other.setDatabaseName(path());
        QVERIFY(other.open());
        QVERIFY(QSqlQuery(other).exec(QStringLiteral("BEGIN IMMEDIATE")));
        bool isBusy = false;
        try {
            const FingerprintStore store(path(), std::chrono::milliseconds(10));
        } catch (const StoreError& error) {
            isBusy = error.isBusy();
        }
        QVERIFY(isBusy);
        QCOMPARE(contentOf(path()), before);
    }
    QSqlDatabase::removeDatabase(QStringLiteral("holding"));
    QVERIFY(FingerprintStore(path()).find(path("49"), kState));
}

void TestFingerprintStore::upgradesAtATimeMakeOne()
{
    makeLargeStore();
    downgrade();
    constexpr int kPrograms = 8;
    std::atomic<int> found = 0;
    {
        std::vector<std::jthread> programs;
        for (int i = 0; i < kPrograms; ++i) {
            programs.emplace_back([this, &found] {
                try {
                    FingerprintStore store(path());
                    found += store.find(path("49"), kState) ? 1 : 0;
                } catch (const StoreError& error) {
                    qWarning("%s", error.what());
                }
            });
        }
    }
    QCOMPARE(found.load(), kPrograms);
}

void TestFingerprintStore::linkIsKeptInItsOwnFolder()
{
    QVERIFY(QDir(folder->path()).mkdir(QStringLiteral("music")));
    QVERIFY(QDir(folder->path()).mkdir(QStringLiteral("links")));
    write(path("music/a.wav"), "content");
    write(path("links/b.wav"), "other content");
    QVERIFY(QFile::link(path("music/a.wav"), path("links/a.wav")));
    FingerprintStore store(path());
    // The link comes first: it must not decide where the others of its folder are kept.
    store.save({fileNamed(path("links/a.wav")), fileNamed(path("links/b.wav"))});
    QVERIFY(!store.find(path("music/a.wav"), kState));
    QVERIFY(!store.find(path("music/b.wav"), kState));
    QVERIFY(FingerprintStore(path()).find(path("links/b.wav"), kState));
}

void TestFingerprintStore::unusableFileIsRefusedAndUntouched_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("text") << QByteArray("These are my notes.\n");
    QTest::newRow("long text") << QByteArray(20000, 'x');
    QTest::newRow("zeros") << QByteArray(8192, '\0');
    QTest::newRow("magic alone") << QByteArray("SQLite format 3");
    QTest::newRow("magic and zeros") << QByteArray("SQLite format 3").leftJustified(8192, '\0');
}

void TestFingerprintStore::unusableFileIsRefusedAndUntouched()
{
    QFETCH(const QByteArray, content);
    write(path(), content);
    QVERIFY(isRefused("not a store"));
}

void TestFingerprintStore::damagedPageIsRefusedAndUntouched()
{
    makeLargeStore();
    QByteArray content = contentOf(path());
    QVERIFY(content.size() > qsizetype{5} * 4096);
    content.replace(4096, 4096, QByteArray(4096, '\x5A'));
    write(path(), content);
    QVERIFY(isRefused("damaged"));
}

void TestFingerprintStore::truncatedStoreIsRefusedAndUntouched()
{
    makeLargeStore();
    const QByteArray content = contentOf(path());
    write(path(), content.left(content.size() / 2));
    QVERIFY(isRefused("damaged"));
    write(path(), content.left(4096));
    QVERIFY(isRefused("damaged"));
}

void TestFingerprintStore::newerVersionIsRefusedAndUntouched()
{
    makeLargeStore();
    runSql(path(), {QStringLiteral("PRAGMA user_version = 3")});
    QVERIFY(isRefused("newer version"));
}

void TestFingerprintStore::newerVersionInAWriteAheadLogIsRefused()
{
    makeLargeStore();
    {
        QSqlDatabase newer =
            QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("newer"));
        newer.setDatabaseName(path());
        QVERIFY(newer.open());
        QVERIFY(QSqlQuery(newer).exec(QStringLiteral("PRAGMA journal_mode = WAL")));
        const QByteArray before = contentOf(path());
        QVERIFY(QSqlQuery(newer).exec(QStringLiteral("PRAGMA user_version = 3")));
        QCOMPARE(contentOf(path()), before);
        QVERIFY_EXCEPTION_THROWN(FingerprintStore{path()}, StoreError);
        QCOMPARE(contentOf(path()), before);
    }
    QSqlDatabase::removeDatabase(QStringLiteral("newer"));
}

void TestFingerprintStore::otherTableIsRefused()
{
    runSql(path(), {QStringLiteral("CREATE TABLE bookmarks (url TEXT)")});
    QVERIFY(isRefused("not a store"));
    QVERIFY(QFile::remove(path()));
    makeLargeStore();
    runSql(path(), {QStringLiteral("ALTER TABLE files ADD COLUMN remark TEXT")});
    QVERIFY(isRefused("damaged"));
}

void TestFingerprintStore::storeWithoutItsTableIsRefusedAndUntouched()
{
    // As a damaged first page leaves it: pages, but nothing that names what they hold.
    makeLargeStore();
    runSql(path(), {QStringLiteral("PRAGMA writable_schema = ON"),
                    QStringLiteral("DELETE FROM sqlite_master")});
    QVERIFY(isRefused("it is damaged"));
}

void TestFingerprintStore::emptyFileBecomesAStore()
{
    write(path(), {});
    FingerprintStore(path()).save({fileNamed(path("a.mp3"))});
    QVERIFY(FingerprintStore(path()).find(path("a.mp3"), kState));
}

void TestFingerprintStore::nameOfNoUsableFileIsRefusedWithTheReason_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("reason");
    QTest::newRow("folder") << QStringLiteral("folder")
                            << QStringLiteral("it is not a regular file");
    QTest::newRow("pipe") << QStringLiteral("pipe") << QStringLiteral("it is not a regular file");
    QTest::newRow("in a missing folder")
        << QStringLiteral("missing/store.db") << QStringLiteral("unable to open database file");
}

void TestFingerprintStore::nameOfNoUsableFileIsRefusedWithTheReason()
{
    QFETCH(const QString, name);
    QFETCH(const QString, reason);
    QVERIFY(QDir(folder->path()).mkdir(QStringLiteral("folder")));
    QCOMPARE(::mkfifo(path("pipe").toUtf8().constData(), 0600), 0);
    const QString fileName = folder->filePath(name);
    QString message;
    try {
        const FingerprintStore store(fileName);
    } catch (const StoreError& error) {
        message = error.message();
    }
    QCOMPARE(message, QStringLiteral("The store %1 cannot be used: %2").arg(fileName, reason));
    QCOMPARE(QDir(folder->path()).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot),
             QStringList({QStringLiteral("folder"), QStringLiteral("pipe")}));
}

void TestFingerprintStore::storeThatAnotherProgramMakesIsWaitedFor()
{
    std::atomic<bool> isLocked = false; // or has ended already, if it did not wait
    QString failure;
    {
        QSqlDatabase other =
            QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("other"));
        other.setDatabaseName(path());
        QVERIFY(other.open());
        QVERIFY(QSqlQuery(other).exec(QStringLiteral("BEGIN IMMEDIATE")));
        std::thread opening([&] {
            waiting = &isLocked;
            try {
                FingerprintStore(path()).save({fileNamed(path("a.mp3"))});
            } catch (const StoreError& error) {
                failure = error.message();
            }
            isLocked = true;
            isLocked.notify_all();
        });
        isLocked.wait(false);
        const bool released = QSqlQuery(other).exec(QStringLiteral("COMMIT"));
        opening.join();
        QVERIFY(released);
    }
    QSqlDatabase::removeDatabase(QStringLiteral("other"));
    QCOMPARE(failure, QString());
    QVERIFY(FingerprintStore(path()).find(path("a.mp3"), kState));
}

void TestFingerprintStore::twoStoresOnOneFileSeeEachOther()
{
    FingerprintStore first(path());
    FingerprintStore second(path());
    first.save({fileNamed(path("a.mp3"))});
    second.save({fileNamed(path("b.mp3"))});
    QVERIFY(second.find(path("a.mp3"), kState));
    QVERIFY(first.find(path("b.mp3"), kState));
}

void TestFingerprintStore::failedSaveKeepsNothingOfIt()
{
    FingerprintStore store(path());
    StoredFile impossible = fileNamed(path("b.mp3"));
    std::get<1>(impossible.record).clear(); // neither a fingerprint nor a reason
    QVERIFY_EXCEPTION_THROWN(store.save({fileNamed(path("a.mp3")), impossible}), StoreError);
    QVERIFY(!store.find(path("a.mp3"), kState));
    store.save({fileNamed(path("a.mp3"))});
    QVERIFY(store.find(path("a.mp3"), kState));
}

void TestFingerprintStore::schemaIsAsDocumented()
{
    QFile document(QStringLiteral(QUORVEL_SOURCE_DIR "/docs/store.md"));
    QVERIFY(document.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(document.readAll());
    const FingerprintStore store(path());
    QStringList statements;
    {
        QSqlDatabase database =
            QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("schema"));
        database.setDatabaseName(path());
        QVERIFY(database.open());
        QSqlQuery query(QStringLiteral("SELECT sql FROM sqlite_master WHERE sql NOT NULL"),
                        database);
        while (query.next()) {
            statements.append(query.value(0).toString());
        }
    }
    QSqlDatabase::removeDatabase(QStringLiteral("schema"));
    QCOMPARE(statements.size(), 4);
    for (const QString& line : statements.join(QLatin1Char('\n')).split(QLatin1Char('\n'))) {
        QVERIFY2(text.contains(line), qPrintable(line));
    }
}

QTEST_GUILESS_MAIN(TestFingerprintStore)
#include "tst_fingerprintstore.moc"
