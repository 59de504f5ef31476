#include "cliprocess.h"
#include "schemavalidation.h"
#include "support/media.h"

#include <QFile>
#include <QJsonArray>
#include <QRegularExpression>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

/** A search with --parts. */
class TestQuorvelCliParts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void trackIsFoundInItsAlbumAndASongWithoutItsStart();
    void treeShowsPlacesAndRelations();
    void tableHasARowForEachPart();
    void nothingElseChanges();
    void threadsStoreAndOrderOfFoldersDoNotMatter_data();
    void threadsStoreAndOrderOfFoldersDoNotMatter();
    void groupsAreComparedWithEachOther();
    void longerPartsAreAskedFor();
    void thresholdWithoutPartsHasNone_data();
    void thresholdWithoutPartsHasNone();
    void applyTouchesNoParts();

private:
    QString path(const QString& name) const
    {
        return m_media->filePath(name);
    }
    CliRun searchJson(const QStringList& arguments) const
    {
        return runCli(QStringList{u"--parts"_s, u"-fjson"_s, u"--store"_s, m_store} + arguments);
    }

    std::unique_ptr<testmedia::MediaFolder> m_media;
    /** So that each file is decoded once. */
    QString m_store;
};

/** The parts of \a result: the names of the files, begins in seconds, relation. */
static QString partsText(const QJsonObject& result)
{
    const auto name = [](const QJsonValue& path) { return path.toString().section(u'/', -1); };
    const auto seconds = [](const QJsonValue& ms) { return qRound(ms.toDouble() / 1000.0); };
    QStringList texts;
    for (const QJsonValue part : result[u"parts"_s].toArray()) {
        texts += u"%1 %2 = %3 %4, %5 s, %6"_s.arg(name(part[u"first"_s]))
                     .arg(seconds(part[u"firstBeginMs"_s]))
                     .arg(name(part[u"second"_s]))
                     .arg(seconds(part[u"secondBeginMs"_s]))
                     .arg(seconds(part[u"lengthMs"_s]))
                     .arg(part[u"relation"_s].toString());
    }
    return texts.join(u'\n');
}

void TestQuorvelCliParts::initTestCase()
{
    m_media = std::make_unique<testmedia::MediaFolder>();
    m_store = path(u"store.db"_s);
    const testmedia::Tune tune{.seed = 61, .seconds = 100.0};
    const auto from = [](const QString& range) {
        return QStringList{u"-af"_s, u"atrim=%1,asetpts=PTS-STARTPTS"_s.arg(range)};
    };
    m_media->makeTune(u"music/album.mp3"_s, tune, {u"-b:a"_s, u"96k"_s});
    m_media->makeTune(u"music/track.flac"_s, tune, from(u"20:50"_s));
    m_media->makeTune(u"more/song.ogg"_s, tune, from(u"50:100"_s));
    m_media->makeTune(u"more/song without start.flac"_s, tune, from(u"62:100"_s));
    m_media->makeTune(u"more/the same song.flac"_s, tune, from(u"50:100"_s));
}

void TestQuorvelCliParts::trackIsFoundInItsAlbumAndASongWithoutItsStart()
{
    const CliRun run = searchJson({m_media->path()});
    QCOMPARE(run.exitStatus, 0);
    QCOMPARE(schemaObjection(run.output), QByteArray());
    QCOMPARE(partsText(run.json()),
             u"song without start.flac 0 = song.ogg 12, 38 s, sameRecording\n"
             "song without start.flac 0 = the same song.flac 12, 38 s, sameRecording\n"
             "song without start.flac 0 = album.mp3 62, 38 s, firstInSecond\n"
             "song.ogg 0 = album.mp3 50, 50 s, firstInSecond\n"
             "the same song.flac 0 = album.mp3 50, 50 s, firstInSecond\n"
             "album.mp3 20 = track.flac 0, 30 s, secondInFirst"_s);
    QCOMPARE(run.json()[u"counts"_s][u"parts"_s].toInt(), 6);
    QCOMPARE(run.json()[u"minLengthSeconds"_s].toInt(), 20);
}

void TestQuorvelCliParts::treeShowsPlacesAndRelations()
{
    const CliRun run = runCli({u"--parts"_s, u"--store"_s, m_store, path(u"music"_s)});
    QCOMPARE(run.exitStatus, 0);
    const QRegularExpression expected(
        u"^%1\\n%2\\n     \\d\\d%  00:00:(29.9|30.0) from 00:00:(19.9|20.\\d) and from 00:00:00.0, "
        u"30 % "
        "and 100 % of the files  \\[the second is contained in the first\\]\\n\\nNo duplicate "
        "audio "
        "files found.\\nFiles that could not be read as audio: 0\\nParts of 20 s or more in "
        "common: "
        "1\\nFiles searched: 2\\n$"_s.arg(QRegularExpression::escape(path(u"music/album.mp3"_s)),
                                          QRegularExpression::escape(path(u"music/track.flac"_s))));
    QVERIFY2(expected.match(QString::fromUtf8(run.output)).hasMatch(), run.output.constData());
}

void TestQuorvelCliParts::tableHasARowForEachPart()
{
    const CliRun run = runCli({u"--parts"_s, u"-fcsv"_s, u"--store"_s, m_store, path(u"music"_s)});
    QCOMPARE(run.exitStatus, 0);
    const QList<QByteArray> lines = run.output.split('\n');
    QCOMPARE(lines.size(), 3);
    const QList<QByteArray> names = lines[0].trimmed().split(',');
    const QList<QByteArray> fields = lines[1].trimmed().split(',');
    QCOMPARE(fields.size(), names.size());
    QCOMPARE(fields[0], path(u"music/album.mp3"_s).toUtf8());
    QCOMPARE(fields[1], path(u"music/track.flac"_s).toUtf8());
    QCOMPARE(names.mid(names.size() - 6).join(','),
             "relation,lengthMs,referenceBeginMs,beginMs,referenceShare,share");
    QCOMPARE(fields[names.indexOf("relation")], "secondInFirst");
    QCOMPARE(fields[names.indexOf("beginMs")], "0");
    QCOMPARE_GT(fields[names.indexOf("share")].toDouble(), 0.99);
    const double length = fields[names.indexOf("lengthMs")].toDouble();
    QCOMPARE_LE(qAbs(length - 30000.0), 300.0);
    QCOMPARE_LE(qAbs(fields[names.indexOf("referenceBeginMs")].toDouble() - 20000.0), 300.0);
    QCOMPARE_LE(qAbs(fields[names.indexOf("referenceShare")].toDouble() - length / 100000), 0.001);
    QCOMPARE(fields[names.indexOf("durationMs")], "30000");
}

void TestQuorvelCliParts::nothingElseChanges()
{
    const auto without = [](QJsonObject result) {
        QJsonObject counts = result[u"counts"_s].toObject();
        for (const QString& name : {u"parts"_s, u"commonWords"_s, u"commonPlaces"_s}) {
            counts.remove(name);
        }
        result[u"counts"_s] = counts;
        result.remove(u"parts"_s);
        result.remove(u"minLengthSeconds"_s);
        return result;
    };
    const QJsonObject plain = runCli({u"-fjson"_s, u"--store"_s, m_store, m_media->path()}).json();
    QCOMPARE(plain[u"groups"_s].toArray().size(), 1);
    QVERIFY(!plain.contains(u"parts"_s));
    const QJsonObject withParts = searchJson({m_media->path()}).json();
    QVERIFY(withParts.contains(u"parts"_s));
    QCOMPARE(without(withParts), plain);
}

void TestQuorvelCliParts::threadsStoreAndOrderOfFoldersDoNotMatter_data()
{
    QTest::addColumn<QStringList>("arguments");
    const QString music = path(u"music"_s);
    const QString more = path(u"more"_s);
    QTest::newRow("one thread") << QStringList{u"-j1"_s, music, more};
    QTest::newRow("eight threads") << QStringList{u"-j8"_s, music, more};
    QTest::newRow("other order") << QStringList{more, music};
    QTest::newRow("new store") << QStringList{u"--store"_s, path(u"new.db"_s), music, more};
    QTest::newRow("trusted store") << QStringList{u"--trust-store"_s, music, more};
}

void TestQuorvelCliParts::threadsStoreAndOrderOfFoldersDoNotMatter()
{
    QFETCH(const QStringList, arguments);
    const CliRun expected = searchJson({path(u"music"_s), path(u"more"_s)});
    QCOMPARE(expected.exitStatus, 0);
    QVERIFY(expected.output.contains("sameRecording"));
    QCOMPARE(searchJson(arguments).output, expected.output);
}

void TestQuorvelCliParts::groupsAreComparedWithEachOther()
{
    const CliRun run = searchJson({path(u"music"_s), u"--against"_s, path(u"more"_s)});
    QCOMPARE(schemaObjection(run.output), QByteArray());
    QCOMPARE(partsText(run.json()),
             u"album.mp3 62 = song without start.flac 0, 38 s, secondInFirst\n"
             "album.mp3 50 = song.ogg 0, 50 s, secondInFirst\n"
             "album.mp3 50 = the same song.flac 0, 50 s, secondInFirst"_s);
}

void TestQuorvelCliParts::longerPartsAreAskedFor()
{
    const CliRun run = searchJson({u"--min-length"_s, u"45"_s, m_media->path()});
    QCOMPARE(partsText(run.json()), u"song.ogg 0 = album.mp3 50, 50 s, firstInSecond\n"
                                    "the same song.flac 0 = album.mp3 50, 50 s, firstInSecond"_s);
}

void TestQuorvelCliParts::thresholdWithoutPartsHasNone_data()
{
    QTest::addColumn<QString>("threshold");
    QTest::newRow("every pair is a duplicate") << u"0"_s;
    QTest::newRow("no part is like the other") << u"100"_s;
}

void TestQuorvelCliParts::thresholdWithoutPartsHasNone()
{
    QFETCH(const QString, threshold);
    const CliRun run = searchJson({u"-t"_s, threshold, path(u"music"_s)});
    QCOMPARE(run.exitStatus, 0);
    QCOMPARE(schemaObjection(run.output), QByteArray());
    QCOMPARE(partsText(run.json()), QString());
}

void TestQuorvelCliParts::applyTouchesNoParts()
{
    const QString result = path(u"result.json"_s);
    QCOMPARE(searchJson({u"-o"_s, result, path(u"music"_s)}).exitStatus, 0);
    QVERIFY(testmedia::contentOf(result).contains("secondInFirst"));
    const CliRun run = runCli({u"apply"_s, result, u"--move-to"_s, path(u"moved"_s), u"--yes"_s});
    QVERIFY2(run.exitStatus == 0, run.errors.constData());
    QVERIFY(QFile::exists(path(u"music/album.mp3"_s)));
    QVERIFY(QFile::exists(path(u"music/track.flac"_s)));
}

QTEST_GUILESS_MAIN(TestQuorvelCliParts)
#include "tst_quorvelcli_parts.moc"
