#include "fingerprint/faults.h"
#include "search/fingerprintcollection.h"
#include "search/fingerprintstore.h"
#include "support/media.h"

#include <QDateTime>
#include <QFile>
#include <QTest>

#include <functional>
#include <new>
#include <stdexcept>
#include <stop_token>

using search::Collection;
using search::FingerprintStore;
using testmedia::MediaFolder;

namespace {

bool appendTo(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::Append) && file.write("more") == 4;
}

bool setLaterTime(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadWrite) &&
           file.setFileTime(QDateTime::currentDateTime().addSecs(60),
                            QFileDevice::FileModificationTime);
}

} // namespace

/**
 * What happens to a file while it is decoded. One thread decodes, since the functions in between
 * count without locks.
 */
class TestChangingCollection : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void fileThatChangesWhileItIsDecodedIsNotKept_data();
    void fileThatChangesWhileItIsDecodedIsNotKept();
    void exceptionIsTheFailureOfItsFile_data();
    void exceptionIsTheFailureOfItsFile();
    void fileOfAStoppedSearchIsNotKept();

private:
    /** Fingerprints the tune on one thread and calls \a action in the middle of it. */
    Collection collect(FingerprintStore* store, const std::function<void()>& action,
                       const std::stop_token& stop = {}) const;

    MediaFolder media;
    QByteArray content;
    QString tune;
};

void TestChangingCollection::initTestCase()
{
    content = testmedia::contentOf(
        media.makeTune(QStringLiteral("original.ogg"), {.seed = 1, .seconds = 10.0}));
}

void TestChangingCollection::init()
{
    faults::reset();
    tune = media.write(QStringLiteral("tune.ogg"), content);
}

Collection TestChangingCollection::collect(FingerprintStore* store,
                                           const std::function<void()>& action,
                                           const std::stop_token& stop) const
{
    faults::onCall("chromaprint_feed", 10, action);
    return search::fingerprintFiles({tune}, {1, store, {}, stop});
}

void TestChangingCollection::fileThatChangesWhileItIsDecodedIsNotKept_data()
{
    QTest::addColumn<QString>("change");
    for (const char* change : {"none", "grows", "gets another time", "vanishes"}) {
        QTest::newRow(change) << QString::fromLatin1(change);
    }
}

void TestChangingCollection::fileThatChangesWhileItIsDecodedIsNotKept()
{
    QFETCH(const QString, change);
    const std::optional<search::FileState> before = search::FileState::of(tune);
    QVERIFY(before);
    FingerprintStore store(media.filePath(change + QStringLiteral(".db")));
    bool changed = false;
    const Collection collection = collect(&store, [&] {
        changed = change == u"none"                ? true
                  : change == u"grows"             ? appendTo(tune)
                  : change == u"gets another time" ? setLaterTime(tune)
                                                   : QFile::remove(tune);
    });
    QVERIFY(changed);
    QVERIFY(collection.failures.isEmpty());
    QVERIFY(!std::get<1>(collection.records.at(0)).isEmpty());
    QCOMPARE(store.find(tune, *before).has_value(), change == u"none");
    const std::optional<search::FileState> after = search::FileState::of(tune);
    QCOMPARE(after && store.find(tune, *after), change == u"none");
}

void TestChangingCollection::exceptionIsTheFailureOfItsFile_data()
{
    QTest::addColumn<bool>("outOfMemory");
    QTest::addColumn<QString>("reason");
    QTest::newRow("memory") << true << QStringLiteral("Not enough memory");
    QTest::newRow("another") << false << QStringLiteral("the libraries disagree");
}

void TestChangingCollection::exceptionIsTheFailureOfItsFile()
{
    QFETCH(const bool, outOfMemory);
    QFETCH(const QString, reason);
    FingerprintStore store(media.filePath(reason + QStringLiteral(".db")));
    const Collection collection = collect(&store, [outOfMemory] {
        if (outOfMemory) {
            throw std::bad_alloc();
        }
        throw std::runtime_error("the libraries disagree");
    });
    QCOMPARE(collection.failures.size(), 1);
    QCOMPARE(collection.failures.at(0).path, tune);
    QCOMPARE(collection.failures.at(0).reason, reason);
    const FingerprintRecord failed{tune, {}, 0, 0, 0};
    QCOMPARE(collection.records, QList<FingerprintRecord>{failed});
    QVERIFY(!store.find(tune, *search::FileState::of(tune)));
}

/** Half a fingerprint would pass for the whole one in every later search. */
void TestChangingCollection::fileOfAStoppedSearchIsNotKept()
{
    FingerprintStore store(media.filePath(QStringLiteral("stopped.db")));
    std::stop_source stop;
    collect(
        &store, [&stop] { stop.request_stop(); }, stop.get_token());
    QVERIFY(stop.stop_requested());
    QVERIFY(!store.find(tune, *search::FileState::of(tune)));
    collect(&store, [] {});
    QVERIFY(store.find(tune, *search::FileState::of(tune)));
}

QTEST_GUILESS_MAIN(TestChangingCollection)
#include "tst_changingcollection.moc"
