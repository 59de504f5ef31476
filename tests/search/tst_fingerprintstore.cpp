#include "search/fingerprintstore.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <random>

#include <sys/stat.h>

using search::FileState;
using search::FingerprintStore;
using search::StoredFile;
using search::StoreError;

namespace {

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void write(const QString& path, const QByteArray& content)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), content.size());
}

/** Runs \a statements on the database at \a path, as somebody with sqlite3 would. */
void runSql(const QString& path, const QStringList& statements)
{
    {
        QSqlDatabase database =
            QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("other"));
        database.setDatabaseName(path);
        QVERIFY(database.open());
        for (const QString& statement : statements) {
            QVERIFY2(QSqlQuery(database).exec(statement), qPrintable(statement));
        }
    }
    QSqlDatabase::removeDatabase(QStringLiteral("other"));
}

constexpr FileState kState{1000, 1234567890123, 1234567890456};

StoredFile fileNamed(const QString& path, const QList<quint32>& words = {1U, 0xFFFFFFFFU, 0x80U})
{
    return {path, kState, {path, words, 180000, 44100, 2}, {}};
}

StoredFile failedFile(const QString& path)
{
    return {path, kState, {path, {}, 0, 0, 0}, QStringLiteral("Could not open")};
}

} // namespace

class TestFingerprintStore : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void whatIsSavedIsFoundAgain();
    void failureIsFoundWithItsReason();
    void laterSaveReplacesTheEarlier();
    void changedContentIsNotFound_data();
    void changedContentIsNotFound();
    void failedFileIsTriedAgainAfterAnyChange();
    void changedPermissionsKeepAFingerprint();
    void fileIsFoundThroughALinkAndARelativeName();
    void linkIsKeptUnderItsOwnName();
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
    /** Whether opening is refused with a message that holds \a text, and changes nothing. */
    bool isRefused(const char* text) const;

    std::unique_ptr<QTemporaryDir> folder;
};

void TestFingerprintStore::init()
{
    folder = std::make_unique<QTemporaryDir>();
    QVERIFY(folder->isValid());
}

void TestFingerprintStore::makeLargeStore() const
{
    QList<StoredFile> files;
    for (int i = 0; i < 50; ++i) {
        files.append(fileNamed(path(qPrintable(QString::number(i))), QList<quint32>(1900, 7U)));
    }
    FingerprintStore(path()).save(files);
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
    runSql(path(), {QStringLiteral("PRAGMA user_version = 2")});
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
        QVERIFY(QSqlQuery(newer).exec(QStringLiteral("PRAGMA user_version = 2")));
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
    QString schema;
    {
        QSqlDatabase database =
            QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("schema"));
        database.setDatabaseName(path());
        QVERIFY(database.open());
        QSqlQuery query(QStringLiteral("SELECT sql FROM sqlite_master WHERE name = 'files'"),
                        database);
        QVERIFY(query.next());
        schema = query.value(0).toString();
    }
    QSqlDatabase::removeDatabase(QStringLiteral("schema"));
    for (const QString& line : schema.split(QLatin1Char('\n'))) {
        QVERIFY2(text.contains(line), qPrintable(line));
    }
}

QTEST_GUILESS_MAIN(TestFingerprintStore)
#include "tst_fingerprintstore.moc"
