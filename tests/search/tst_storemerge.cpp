#include "search/fingerprintstore.h"
#include "search/storemerge.h"
#include "support/storefiles.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <stop_token>

using namespace Qt::StringLiterals;

using search::FileState;
using search::FingerprintStore;
using search::mergeStore;
using search::StoredFile;
using search::StoreError;
using support::contentOf;
using support::runSql;
using support::write;

namespace {

StoredFile fileNamed(const QString& path, const FileState& state, quint32 word)
{
    StoredFile file{path, state, {path, {word, 2U}, 1000, 44100, 2}, {}};
    file.facts.codec = QString::number(word);
    file.facts.completeness = fingerprint::Completeness::Whole;
    return file;
}

} // namespace

class TestStoreMerge : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void newestStateOfAFileWins_data();
    void newestStateOfAFileWins();
    void failureIsMergedAsOne();
    void unknownFactsReplaceKnownOnes();
    void storeItselfHasNothingToAdd();
    void partStaysAsItIs();
    void oddNameOfAPartIsTaken();
    void unusablePartIsRefused_data();
    void unusablePartIsRefused();
    void journalOfAKilledWriterIsNotPassedOver();
    void writeAheadLogIsReadWhole();
    void everyPortionIsTaken();
    void stopTakesNothing_data();
    void stopTakesNothing();

private:
    QString path(const QString& name) const
    {
        return folder->filePath(name);
    }
    QString saved(const QString& name, const QList<StoredFile>& files) const
    {
        FingerprintStore(path(name)).save(files);
        return path(name);
    }
    /** Makes the file "bad.db" as the row of the test asks. */
    void makeUnusable(const QString& kind) const;

    std::unique_ptr<QTemporaryDir> folder;
};

void TestStoreMerge::init()
{
    folder = std::make_unique<QTemporaryDir>();
    QVERIFY(folder->isValid());
}

void TestStoreMerge::cleanup()
{
    folder.reset();
}

void TestStoreMerge::newestStateOfAFileWins_data()
{
    QTest::addColumn<qint64>("modifiedMs");
    QTest::addColumn<qint64>("changedMs");
    QTest::addColumn<bool>("isTaken");
    QTest::newRow("changed later") << 5LL << 21LL << true;
    QTest::newRow("changed earlier") << 15LL << 19LL << false;
    QTest::newRow("modified later") << 11LL << 20LL << true;
    QTest::newRow("modified earlier") << 9LL << 20LL << false;
    QTest::newRow("the same") << 10LL << 20LL << false;
}

void TestStoreMerge::newestStateOfAFileWins()
{
    QFETCH(const qint64, modifiedMs);
    QFETCH(const qint64, changedMs);
    QFETCH(const bool, isTaken);
    const FileState ours{1, 10, 20};
    const FileState theirs{1, modifiedMs, changedMs};
    FingerprintStore store(path(u"store.db"_s));
    store.save({fileNamed(u"/both"_s, ours, 1), fileNamed(u"/ours"_s, ours, 2)});
    const QString part =
        saved(u"part.db"_s, {fileNamed(u"/both"_s, theirs, 7), fileNamed(u"/theirs"_s, theirs, 8)});
    QCOMPARE(mergeStore(store, part), std::optional<qsizetype>(isTaken ? 2 : 1));
    const auto both = store.find(u"/both"_s, isTaken ? theirs : ours);
    QVERIFY(both);
    QCOMPARE(std::get<1>(both->record).constFirst(), isTaken ? 7U : 1U);
    QCOMPARE(both->facts.codec, isTaken ? u"7"_s : u"1"_s);
    QVERIFY(store.find(u"/ours"_s, ours));
    QCOMPARE(store.find(u"/theirs"_s, theirs)->facts.codec, u"8"_s);
    QCOMPARE(mergeStore(store, part), std::optional<qsizetype>(0));
}

void TestStoreMerge::failureIsMergedAsOne()
{
    const FileState state{1, 10, 20};
    const StoredFile failed{u"/a"_s, state, {u"/a"_s, {}, 0, 0, 0}, u"no audio"_s};
    FingerprintStore store(path(u"store.db"_s));
    store.save({fileNamed(u"/a"_s, {1, 9, 19}, 1)});
    QCOMPARE(mergeStore(store, saved(u"part.db"_s, {failed})), std::optional<qsizetype>(1));
    const auto found = store.find(u"/a"_s, state);
    QVERIFY(found);
    QCOMPARE(found->failure, u"no audio"_s);
    QCOMPARE(found->facts.codec, QString());
}

void TestStoreMerge::unknownFactsReplaceKnownOnes()
{
    StoredFile unknown = fileNamed(u"/a"_s, {1, 10, 20}, 7);
    unknown.facts = {};
    FingerprintStore store(path(u"store.db"_s));
    store.save({fileNamed(u"/a"_s, {1, 9, 19}, 1)});
    QCOMPARE(mergeStore(store, saved(u"part.db"_s, {unknown})), std::optional<qsizetype>(1));
    QCOMPARE(store.find(u"/a"_s, unknown.state)->facts.completeness,
             fingerprint::Completeness::Unknown);
}

void TestStoreMerge::storeItselfHasNothingToAdd()
{
    FingerprintStore store(saved(u"store.db"_s, {fileNamed(u"/a"_s, {1, 2, 3}, 1)}));
    QVERIFY(QFile::link(path(u"store.db"_s), path(u"link.db"_s)));
    for (const QString& name : {u"store.db"_s, u"./store.db"_s, u"link.db"_s}) {
        QCOMPARE(mergeStore(store, path(name)), std::optional<qsizetype>(0));
    }
    QVERIFY(store.find(u"/a"_s, {1, 2, 3}));
}

void TestStoreMerge::partStaysAsItIs()
{
    QVERIFY(QDir(folder->path()).mkdir(u"parts"_s));
    const QString part = saved(u"parts/part.db"_s, {fileNamed(u"/a"_s, {1, 2, 3}, 1)});
    const QByteArray before = contentOf(part);
    FingerprintStore store(path(u"store.db"_s));
    const auto entries = [this] { return QDir(path(u"parts"_s)).entryList(QDir::Files); };
    QStringList during;
    QCOMPARE(mergeStore(store, part, {[&](qsizetype, qsizetype) { during = entries(); }, {}}),
             std::optional<qsizetype>(1));
    QCOMPARE(contentOf(part), before);
    QCOMPARE(during, QStringList(u"part.db"_s));
    QCOMPARE(entries(), QStringList(u"part.db"_s));
}

void TestStoreMerge::oddNameOfAPartIsTaken()
{
    const QString part = saved(u"odd ?mode=rw#%41 ünï'.db"_s, {fileNamed(u"/a"_s, {1, 2, 3}, 1)});
    FingerprintStore store(path(u"store.db"_s));
    QCOMPARE(mergeStore(store, part), std::optional<qsizetype>(1));
}

void TestStoreMerge::unusablePartIsRefused_data()
{
    QTest::addColumn<QString>("reason");
    QTest::newRow("missing") << u"it does not exist"_s;
    QTest::newRow("folder") << u"not a regular file"_s;
    QTest::newRow("empty") << u"not a store"_s;
    QTest::newRow("text") << u"not a store"_s;
    QTest::newRow("truncated") << u"it is damaged"_s;
    QTest::newRow("overwritten page") << u"it is damaged"_s;
    QTest::newRow("older") << u"older version"_s;
    QTest::newRow("newer") << u"newer version"_s;
    QTest::newRow("changed table") << u"its table has been changed"_s;
    QTest::newRow("half a word") << u"a fingerprint is incomplete"_s;
}

void TestStoreMerge::makeUnusable(const QString& kind) const
{
    const QString bad = path(u"bad.db"_s);
    if (kind == "missing"_L1) {
        return;
    }
    if (kind == "folder"_L1) {
        QVERIFY(QDir().mkdir(bad));
        return;
    }
    if (kind == "empty"_L1 || kind == "text"_L1) {
        write(bad, kind == "empty"_L1 ? QByteArray() : QByteArray(5000, 'x'));
        return;
    }
    QList<StoredFile> files;
    for (int i = 0; i < 200; ++i) {
        files.append(fileNamed(u"/%1"_s.arg(i), {1, 2, 3}, 1));
    }
    saved(u"bad.db"_s, files);
    const QByteArray content = contentOf(bad);
    if (kind == "truncated"_L1) {
        write(bad, content.first(content.size() - 4096));
    } else if (kind == "overwritten page"_L1) {
        write(bad, QByteArray(content).replace(content.size() - 4096, 4096, QByteArray(4096, 'x')));
    } else if (kind == "older"_L1) {
        runSql(bad, {u"PRAGMA user_version = 1"_s});
    } else if (kind == "newer"_L1) {
        runSql(bad, {u"PRAGMA user_version = 3"_s});
    } else if (kind == "changed table"_L1) {
        runSql(bad, {u"ALTER TABLE files ADD COLUMN more"_s});
    } else {
        runSql(bad, {u"PRAGMA ignore_check_constraints = 1"_s,
                     u"UPDATE files SET fingerprint = x'0102' WHERE path = '/7'"_s});
    }
}

void TestStoreMerge::unusablePartIsRefused()
{
    makeUnusable(QString::fromLatin1(QTest::currentDataTag()));
    const FileState state{1, 2, 3};
    FingerprintStore store(saved(u"store.db"_s, {fileNamed(u"/a"_s, state, 1)}));
    QString message;
    try {
        mergeStore(store, path(u"bad.db"_s));
    } catch (const StoreError& error) {
        message = error.message();
    }
    QFETCH(const QString, reason);
    QVERIFY2(message.contains(reason) && message.contains(path(u"bad.db"_s)), qPrintable(message));
    QCOMPARE(store.pathsBelow(u"/"_s), QStringList(u"/a"_s));
    // The next one is not hindered.
    QCOMPARE(mergeStore(store, saved(u"good.db"_s, {fileNamed(u"/b"_s, state, 1)})),
             std::optional<qsizetype>(1));
}

/** The files that a writer leaves that is killed in the middle of a large transaction. */
void TestStoreMerge::journalOfAKilledWriterIsNotPassedOver()
{
    const QString part = saved(u"part.db"_s, {fileNamed(u"/a"_s, {1, 2, 3}, 1)});
    const QString left = path(u"left.db"_s);
    runSql(part,
           {u"PRAGMA cache_size = 1"_s, u"BEGIN"_s,
            u"WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 100) "
            "INSERT INTO files SELECT '/half/' || i, 1, 1, 1, 1, 1, 1, zeroblob(8000), NULL "
            "FROM n"_s},
           [&] {
               QVERIFY(QFile::copy(part, left));
               QVERIFY(QFile::copy(part + u"-journal"_s, left + u"-journal"_s));
           });
    FingerprintStore store(path(u"store.db"_s));
    QVERIFY_THROWS_EXCEPTION(StoreError, mergeStore(store, left));
    QCOMPARE(store.pathsBelow(u"/"_s), QStringList());
    // The next run of what was killed takes the half back.
    QCOMPARE(FingerprintStore(left).pathsBelow(u"/"_s), QStringList(u"/a"_s));
    QCOMPARE(mergeStore(store, left), std::optional<qsizetype>(1));
}

void TestStoreMerge::writeAheadLogIsReadWhole()
{
    const QString part = saved(u"part.db"_s, {fileNamed(u"/a"_s, {1, 2, 3}, 1)});
    const QString left = path(u"left.db"_s);
    runSql(part,
           {u"PRAGMA journal_mode = WAL"_s,
            u"INSERT INTO files VALUES ('/b', 1, 1, 1, 1, 1, 1, zeroblob(8), NULL)"_s},
           [&] {
               QVERIFY(QFile::copy(part, left));
               QVERIFY(QFile::copy(part + u"-wal"_s, left + u"-wal"_s));
           });
    FingerprintStore store(path(u"store.db"_s));
    QCOMPARE(mergeStore(store, left), std::optional<qsizetype>(2));
}

void TestStoreMerge::everyPortionIsTaken()
{
    QList<StoredFile> files;
    for (quint32 i = 0; i < 4001; ++i) {
        files.append(fileNamed(u"/%1"_s.arg(i), {1, 2, 3}, i + 1));
    }
    const QString part = saved(u"part.db"_s, files);
    FingerprintStore store(path(u"store.db"_s));
    QList<qsizetype> steps;
    QCOMPARE(mergeStore(store, part,
                        {[&](qsizetype done, qsizetype all) {
                             QCOMPARE(all, 4001);
                             steps.append(done);
                         },
                         {}}),
             std::optional<qsizetype>(4001));
    QCOMPARE(steps, QList<qsizetype>({2000, 4000, 4001}));
    QCOMPARE(store.pathsBelow(u"/"_s).size(), 4001);
    QCOMPARE(store.find(u"/4000"_s, {1, 2, 3})->facts.codec, u"4001"_s);
}

void TestStoreMerge::stopTakesNothing_data()
{
    QTest::addColumn<int>("portion");
    QTest::newRow("after the first portion") << 1;
    QTest::newRow("after the last portion") << 3;
}

void TestStoreMerge::stopTakesNothing()
{
    QFETCH(const int, portion);
    QList<StoredFile> files;
    for (quint32 i = 0; i < 4001; ++i) {
        files.append(fileNamed(u"/%1"_s.arg(i), {1, 2, 3}, 1));
    }
    const QString part = saved(u"part.db"_s, files);
    FingerprintStore store(path(u"store.db"_s));
    std::stop_source stop;
    int portions = 0;
    const auto progress = [&](qsizetype, qsizetype) {
        if (++portions == portion) {
            stop.request_stop();
        }
    };
    QCOMPARE(mergeStore(store, part, {progress, stop.get_token()}), std::optional<qsizetype>());
    QCOMPARE(portions, portion);
    QCOMPARE(store.pathsBelow(u"/"_s), QStringList());
    QCOMPARE(mergeStore(store, part), std::optional<qsizetype>(4001));
}

QTEST_GUILESS_MAIN(TestStoreMerge)
#include "tst_storemerge.moc"
