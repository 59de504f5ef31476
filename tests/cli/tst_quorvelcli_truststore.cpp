#include "cliprocess.h"
#include "support/media.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

using testmedia::contentOf;

/** A search with --trust-store. */
class TestQuorvelCliTrustStore : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void resultIsThatOfASearchWithANewStore_data();
    void resultIsThatOfASearchWithANewStore();
    void filesAreNotLookedAt();
    void folderWithoutStoredFilesIsNamed();
    void unusableStoreIsRefused_data();
    void unusableStoreIsRefused();

private:
    /** Runs a search of the folder "music" and the like from where they are. */
    CliRun search(const QStringList& arguments) const
    {
        return runCli(arguments, media->path());
    }

    std::unique_ptr<testmedia::MediaFolder> media;
};

void TestQuorvelCliTrustStore::initTestCase()
{
    media = std::make_unique<testmedia::MediaFolder>();
    for (unsigned seed = 1; seed <= 2; ++seed) {
        const testmedia::Tune tune{.seed = seed, .seconds = 5.0 + seed};
        const QByteArray content = contentOf(media->makeTune(u"music/%1.wav"_s.arg(seed), tune));
        for (const char* name : {"music/ünï/%1.mp3.wav", "music/.hidden/%1.wav", "music0/%1.wav",
                                 "music/old/%1.WAV", "music/more/%1.l16", "other/%1.flac"}) {
            media->write(QString::fromUtf8(name).arg(seed), content);
        }
    }
    media->write(u"music/noise.ogg"_s, "no audio");
    media->write(u"other/empty.mp3"_s, "");
    QVERIFY(QFile::link(u"1.wav"_s, media->filePath(u"music/link.wav"_s)));
    QVERIFY(QFile::link(u"music"_s, media->filePath(u"linked"_s)));
    // Also what these searches pass over: hidden files, and another ending.
    const CliRun run = search({u"fingerprint"_s, u"--store"_s, u"all.db"_s, u"--ext"_s, u"+l16"_s,
                               u"music"_s, u"music/.hidden"_s, u"music0"_s, u"other"_s});
    QCOMPARE(run.errors, QByteArray());
    QCOMPARE(run.exitStatus, 0);
}

void TestQuorvelCliTrustStore::resultIsThatOfASearchWithANewStore_data()
{
    QTest::addColumn<QString>("arguments");
    for (const char* arguments : {
             "music",
             "-fjson -v music",
             "-fcsv -v music other",
             "-fjson other music",
             "-fjson music music/old",
             "-fjson music/old/ ./music/",
             "-fjson music/old/../old other",
             "-fjson music/.hidden music",
             "-fjson music linked",
             "-fjson linked",
             "-fjson music --against other",
             "-fcsv other --against music --against music/old",
             "-fjson linked/old --against music",
             "-fjson --exclude old/ --exclude 2.* music",
             "-fjson --exclude /old --against music/old music",
             "-fjson --ext +l16 music",
             "-fjson --min-duration 7 music",
             "-fjson --keep size,under=music/old music",
             "-fcsv --pairs -t 10 music other",
             "-j2 other",
             "-v --against other music/noise",
         }) {
        QTest::newRow(arguments) << QString::fromUtf8(arguments);
    }
}

void TestQuorvelCliTrustStore::resultIsThatOfASearchWithANewStore()
{
    QFETCH(const QString, arguments);
    const QStringList list = arguments.split(u' ');
    QFile::remove(media->filePath(u"new.db"_s));
    const CliRun expected = search(list + QStringList{u"--store"_s, u"new.db"_s});
    const CliRun run = search(list + QStringList{u"--trust-store"_s, u"--store"_s, u"all.db"_s});
    QVERIFY(!expected.output.isEmpty());
    QCOMPARE(run.output, expected.output);
    QCOMPARE(run.exitStatus, expected.exitStatus);
    if (expected.exitStatus == 0) {
        QCOMPARE(run.errors, expected.errors);
    }
}

void TestQuorvelCliTrustStore::filesAreNotLookedAt()
{
    const QStringList arguments{u"-fjson"_s,  u"-v"_s,          u"other"_s,
                                u"music"_s,   u"--keep=size"_s, u"--trust-store"_s,
                                u"--store"_s, u"all.db"_s};
    const QByteArray store = contentOf(media->filePath(u"all.db"_s));
    const CliRun expected = search(arguments);
    QCOMPARE(expected.exitStatus, 0);
    const auto rename = [this](const char* from, const char* to) {
        return QDir(media->path()).rename(QString::fromLatin1(from), QString::fromLatin1(to));
    };
    QVERIFY(rename("music", "taken away") && rename("other", "taken away too"));
    const CliRun run = search(arguments);
    const QString trace = media->filePath(u"trace.txt"_s);
    QString absolute = media->path();
    const CliRun traced = runCliTraced(trace, {u"-e"_s, u"trace=%file"_s},
                                       {u"-fjson"_s, absolute + u"/other"_s, u"--trust-store"_s,
                                        u"--store"_s, absolute + u"/all.db"_s});
    QVERIFY(rename("taken away", "music") && rename("taken away too", "other"));
    QCOMPARE(run.output, expected.output);
    QCOMPARE(run.errors, expected.errors);
    QCOMPARE(run.exitStatus, 0);
    QCOMPARE(traced.exitStatus, 0);
    bool isOpened = false;
    for (const QByteArray& call : contentOf(trace).split('\n')) {
        QVERIFY2(!call.contains(".flac"), call.constData());
        if (call.contains("openat(") && call.contains("all.db\"")) {
            QVERIFY2(call.contains("O_RDONLY"), call.constData());
            isOpened = true;
        }
    }
    QVERIFY(isOpened);
    QCOMPARE(contentOf(media->filePath(u"all.db"_s)), store);
}

void TestQuorvelCliTrustStore::folderWithoutStoredFilesIsNamed()
{
    const QStringList arguments{u"-fcsv"_s, u"--trust-store"_s, u"--store"_s, u"all.db"_s};
    const CliRun run = search(arguments + QStringList{u"mus"_s, u"music"_s});
    QCOMPARE(run.errors, "quorvel-cli: The store has no file below this folder: mus\n");
    QCOMPARE(run.exitStatus, 1);
    QCOMPARE(run.output, search(arguments + QStringList{u"music"_s}).output);
}

void TestQuorvelCliTrustStore::unusableStoreIsRefused_data()
{
    QTest::addColumn<QString>("store");
    QTest::addColumn<QByteArray>("error");
    QTest::newRow("missing") << u"nowhere.db"_s << QByteArray("it does not exist");
    QTest::newRow("another file") << u"music/noise.ogg"_s << QByteArray("not a store");
}

void TestQuorvelCliTrustStore::unusableStoreIsRefused()
{
    QFETCH(const QString, store);
    QFETCH(const QByteArray, error);
    const CliRun run = search({u"music"_s, u"--trust-store"_s, u"--store"_s, store});
    QCOMPARE(run.exitStatus, 3);
    QCOMPARE(run.output, QByteArray());
    QVERIFY2(run.errors.contains(error), run.errors.constData());
    QVERIFY(!QFile::exists(media->filePath(u"nowhere.db"_s)));
}

QTEST_GUILESS_MAIN(TestQuorvelCliTrustStore)
#include "tst_quorvelcli_truststore.moc"
