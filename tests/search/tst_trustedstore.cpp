#include "search/fingerprintstore.h"
#include "search/trustedstore.h"
#include "support/storefiles.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <stop_token>

using namespace Qt::StringLiterals;

using fingerprint::Listing;
using fingerprint::ListingOptions;
using search::FingerprintStore;
using search::StoredFile;
using search::StoreError;
using search::TrustedStore;

/** What a store gives in place of the files. */
class TestTrustedStore : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void listIsThatOfTheFolder_data();
    void listIsThatOfTheFolder();
    void overlappingFoldersLoadEachFileOnce();
    void folderThatIsGoneIsFoundThroughALinkAboveIt();
    void stopEndsTheList();
    void damageThatIsReadIsNamed_data();
    void damageThatIsReadIsNamed();

private:
    QString path(const QString& name) const
    {
        return m_root + u'/' + name;
    }
    /** Makes files, and keeps all of them in the store, whatever their names. */
    void makeFiles(const QStringList& names);

    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_root;
};

void TestTrustedStore::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_root = QDir(m_folder->path()).canonicalPath();
    makeFiles({u"m/1.mp3"_s, u"m/2.MP3"_s, u"m/x.opus"_s, u"m/y.txt"_s, u"m/.hidden.mp3"_s,
               u"m/.hid/1.mp3"_s, u"m/old/1.mp3"_s, u"m/old/new/1.mp3"_s, u"m-/1.mp3"_s,
               u"m0/1.mp3"_s, u"m/.hid/old/1.mp3"_s, u"m/ünï \U0001F3B5/1.mp3"_s});
}

void TestTrustedStore::makeFiles(const QStringList& names)
{
    FingerprintStore store(path(u"store.db"_s));
    QList<StoredFile> files;
    for (const QString& name : names) {
        QVERIFY(QDir().mkpath(QFileInfo(path(name)).path()));
        QFile file(path(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        files.append({path(name),
                      {1, 2, 3},
                      {path(name), {static_cast<quint32>(files.size()) + 1U}, 1000, 44100, 2},
                      {}});
    }
    store.save(files);
}

void TestTrustedStore::listIsThatOfTheFolder_data()
{
    QTest::addColumn<QStringList>("folders");
    QTest::addColumn<QString>("excluded");
    QTest::addColumn<bool>("withOpus");
    const QString none = u""_s;
    QTest::newRow("folder") << QStringList{u"m"_s} << none << false;
    QTest::newRow("slash at its end") << QStringList{u"m/"_s} << none << false;
    QTest::newRow("hidden folder") << QStringList{u"m/.hid"_s} << none << false;
    QTest::newRow("another ending") << QStringList{u"m"_s} << none << true;
    QTest::newRow("excluded folder") << QStringList{u"m"_s} << u"old"_s << false;
    QTest::newRow("excluded folder below") << QStringList{u"m"_s} << u"old/new"_s << false;
    QTest::newRow("excluded file") << QStringList{u"m"_s} << u"old/1.mp3"_s << false;
    QTest::newRow("nested folders")
        << QStringList{u"m"_s, u"m/old"_s, u"m/.hid"_s} << u"old"_s << false;
}

void TestTrustedStore::listIsThatOfTheFolder()
{
    QFETCH(QStringList, folders);
    QFETCH(const QString, excluded);
    QFETCH(const bool, withOpus);
    for (QString& folder : folders) {
        folder.prepend(m_root + u'/');
    }
    ListingOptions options;
    options.notedEndings = {u"opus"_s};
    if (withOpus) {
        options.moreEndings = {u"opus"_s};
    }
    options.isExcluded = [&excluded](const QString& below, bool) { return below == excluded; };
    Listing expected = fingerprint::listAudioFiles(folders, options);
    Listing list = TrustedStore(path(u"store.db"_s)).list(folders, options);
    QVERIFY(!expected.files.isEmpty());
    for (QStringList* names : {&expected.files, &list.files, &expected.noted, &list.noted}) {
        names->sort();
    }
    QCOMPARE(list.files, expected.files);
    QCOMPARE(list.noted, expected.noted);
}

void TestTrustedStore::overlappingFoldersLoadEachFileOnce()
{
    const TrustedStore store(path(u"store.db"_s));
    const QStringList folders{path(u"m/old"_s), path(u"m"_s)};
    const QStringList files{path(u"m/old/1.mp3"_s), path(u"m/1.mp3"_s)};
    QList<qsizetype> steps;
    const search::Collection collection =
        store.load(folders, files, [&steps](const search::CollectionProgress& progress) {
            steps.append(progress.filesDone);
        });
    QCOMPARE(steps, QList<qsizetype>({1, 2}));
    QCOMPARE(collection.records.size(), 2);
    QCOMPARE(std::get<0>(collection.records.at(0)), files.at(0));
    QCOMPARE(std::get<1>(collection.records.at(0)), QList<quint32>{7});
    QCOMPARE(std::get<0>(collection.records.at(1)), files.at(1));
    QCOMPARE(std::get<1>(collection.records.at(1)), QList<quint32>{1});
}

void TestTrustedStore::folderThatIsGoneIsFoundThroughALinkAboveIt()
{
    QVERIFY(QFile::link(m_root, path(u"link"_s)));
    QVERIFY(QDir(path(u"m"_s)).removeRecursively());
    const TrustedStore store(path(u"store.db"_s));
    QVERIFY(store.hasFilesBelow(path(u"link/m/old"_s)));
    QVERIFY(!store.hasFilesBelow(path(u"link/m/ol"_s)));
    QStringList files = store.list({path(u"link/m/old"_s)}, {}).files;
    files.sort();
    QCOMPARE(files, QStringList({path(u"link/m/old/1.mp3"_s), path(u"link/m/old/new/1.mp3"_s)}));
}

void TestTrustedStore::stopEndsTheList()
{
    std::stop_source stop;
    stop.request_stop();
    QCOMPARE(TrustedStore(path(u"store.db"_s)).list({m_root}, {}, stop.get_token()).files,
             QStringList());
}

void TestTrustedStore::damageThatIsReadIsNamed_data()
{
    QTest::addColumn<QString>("damage");
    QTest::newRow("overwritten pages") << u"pages"_s;
    QTest::newRow("half a word") << u"UPDATE files SET fingerprint = x'0102030405'"_s;
    QTest::newRow("no words and no failure") << u"UPDATE files SET fingerprint = x''"_s;
    QTest::newRow("another table") << u"ALTER TABLE files ADD COLUMN further TEXT"_s;
}

void TestTrustedStore::damageThatIsReadIsNamed()
{
    QFETCH(const QString, damage);
    const QString name = path(u"large.db"_s);
    QStringList files;
    {
        FingerprintStore store(name);
        QList<StoredFile> stored;
        for (int i = 0; i < 100; ++i) {
            files += path(u"m/%1.mp3"_s.arg(i));
            stored.append({files.last(),
                           {1, 2, 3},
                           {files.last(), QList<quint32>(3000, 7U), 1000, 44100, 2},
                           {}});
        }
        store.save(stored);
    }
    const auto load = [&] {
        return TrustedStore(name).load({path(u"m"_s)}, files, {}, {}, {}).records.size();
    };
    QCOMPARE(load(), 100);
    if (damage == u"pages") {
        QByteArray content = support::contentOf(name);
        const qsizetype middle = content.size() / 2 / 4096 * 4096;
        support::write(name, content.replace(middle, 64 * 4096, QByteArray(64 * 4096, '\xff')));
    } else {
        // The tables take no such record otherwise.
        support::runSql(name, {u"PRAGMA ignore_check_constraints = ON"_s, damage});
    }
    QVERIFY_EXCEPTION_THROWN(load(), StoreError);
}

QTEST_GUILESS_MAIN(TestTrustedStore)
#include "tst_trustedstore.moc"
