#include "cliprocess.h"
#include "schemavalidation.h"
#include "support/media.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QTest>

#include <algorithm>
#include <memory>

using namespace Qt::StringLiterals;

/** A search with --keep. */
class TestQuorvelCliKeep : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void ruleDecidesWhichFileIsTheReference_data();
    void ruleDecidesWhichFileIsTheReference();
    void folderIsFoundUnderAnotherName();
    void everyPairIsUnderTheBetterFile();
    void groupAStaysAboveGroupB_data();
    void groupAStaysAboveGroupB();
    void whatIsNotKnownDecidesNothing();
    void duplicatesOfTheKeptFileAreMoved();
    void wrongRuleExitsWithTwo();

private:
    QString path(const QString& name) const
    {
        return m_media->filePath(name);
    }
    QString references(const QStringList& arguments) const;

    std::unique_ptr<testmedia::MediaFolder> m_media;
};

void TestQuorvelCliKeep::initTestCase()
{
    m_media = std::make_unique<testmedia::MediaFolder>();
    const testmedia::Tune tune{.seed = 50, .seconds = 10.0};
    const QStringList low{u"-b:a"_s, u"96k"_s};
    const QStringList high{u"-b:a"_s, u"256k"_s};
    const QStringList more{u"-ar"_s, u"48000"_s};
    const QStringList most{u"-ar"_s, u"96000"_s};
    // The names begin with the order of the paths, which no rule but the path is to give.
    const QString whole = m_media->makeTune(u"other/whole.flac"_s, tune, most);
    m_media->truncate(u"all/1 cut.flac"_s, whole, 0.7);
    m_media->makeTune(u"all/2 low.mp3"_s, tune, low);
    m_media->makeTune(u"all/3 high.mp3"_s, tune, high);
    m_media->makeTune(u"all/4 old.ogg"_s, tune, more);
    m_media->makeTune(u"all/5.flac"_s, tune);
    m_media->makeTune(u"all/6 more.flac"_s, tune, more);
    m_media->makeTune(u"all/7 large.wav"_s, tune);
    m_media->makeTune(u"all/8/sub.mp3"_s, tune, low);
    m_media->makeTune(u"all/9, with a comma/sub.mp3"_s, tune, low);
    QFile old(path(u"all/4 old.ogg"_s));
    QVERIFY(old.open(QIODevice::ReadWrite));
    QVERIFY(old.setFileTime(QDateTime::fromSecsSinceEpoch(1'000'000'000),
                            QFileDevice::FileModificationTime));
}

/** The references of a search in the folder of the media, with their numbers of duplicates. */
QString TestQuorvelCliKeep::references(const QStringList& arguments) const
{
    const CliRun run = runCli(arguments + QStringList{u"-fjson"_s}, m_media->path());
    if (run.exitStatus != 0) {
        return QString::fromUtf8(run.errors);
    }
    QStringList references;
    for (const QJsonValue group : run.json()[u"groups"_s].toArray()) {
        references.append(
            u"%1: %2"_s
                .arg(group[u"reference"_s][u"path"_s].toString().mid(m_media->path().size() + 1))
                .arg(group[u"duplicates"_s].toArray().size()));
    }
    return references.join(u"; "_s);
}

void TestQuorvelCliKeep::ruleDecidesWhichFileIsTheReference_data()
{
    QTest::addColumn<QString>("rules");
    QTest::addColumn<QString>("reference");
    QTest::addColumn<QString>("head");
    const auto row = [](const char* rules, const char* reference, const char* head) {
        QTest::newRow(rules) << QString::fromLatin1(rules) << QString::fromLatin1(reference)
                             << QString::fromLatin1(head);
    };
    row("", "1 cut.flac", "");
    row("complete", "2 low.mp3", "complete");
    row("lossless", "5.flac", "complete|lossless");
    row("lossless,sample-rate", "6 more.flac", "complete|lossless|sample-rate");
    row("lossless,complete,sample-rate,size", "6 more.flac", "complete|lossless|sample-rate|size");
    row("sample-rate", "4 old.ogg", "complete|sample-rate");
    row("bit-rate", "3 high.mp3", "complete|bit-rate");
    row("size", "7 large.wav", "complete|size");
    row("oldest", "4 old.ogg", "complete|oldest");
    row("under=all/8,lossless", "8/sub.mp3", "complete|under=%1/8|lossless");
    row("lossless,under=all/8", "5.flac", "complete|lossless|under=%1/8");
    row("under=all/9\\, with a comma", "9, with a comma/sub.mp3",
        "complete|under=%1/9, with a comma");
    row("under=all/8,under=all/9\\, with a comma", "8/sub.mp3",
        "complete|under=%1/8|under=%1/9, with a comma");
    row("under=other,under=./all/../all/8/", "8/sub.mp3", "complete|under=%2|under=%1/8");
}

void TestQuorvelCliKeep::ruleDecidesWhichFileIsTheReference()
{
    QFETCH(const QString, rules);
    QFETCH(const QString, reference);
    QFETCH(const QString, head);
    QStringList arguments{u"all"_s, u"-fjson"_s, u"-t60"_s};
    if (!rules.isEmpty()) {
        arguments += {u"--keep"_s, rules};
    }
    const CliRun run = runCli(arguments + QStringList{u"-j1"_s}, m_media->path());
    QCOMPARE(run.errors, QByteArray());
    QCOMPARE(schemaObjection(run.output), QByteArray());
    const QString all = QDir(path(u"all"_s)).canonicalPath();
    const QString other = QDir(path(u"other"_s)).canonicalPath();
    QCOMPARE(run.json()[u"keep"_s].toVariant().toStringList(),
             QString(head)
                 .replace(u"%1"_s, all)
                 .replace(u"%2"_s, other)
                 .split(u'|', Qt::SkipEmptyParts));

    const QJsonArray groups = run.json()[u"groups"_s].toArray();
    QCOMPARE(groups.size(), 1);
    QCOMPARE(groups[0][u"reference"_s][u"path"_s].toString(), path(u"all/"_s + reference));
    QStringList duplicates;
    for (const QJsonValue duplicate : groups[0][u"duplicates"_s].toArray()) {
        duplicates.append(duplicate[u"path"_s].toString());
    }
    QCOMPARE(duplicates.size(), 8);
    QVERIFY(std::is_sorted(duplicates.cbegin(), duplicates.cend()));

    // With other threads it is the same, and in all rows but the first with what a store kept.
    const QStringList stored{u"--store"_s, path(u"kept.db"_s), u"-j8"_s};
    QCOMPARE(runCli(arguments + stored, m_media->path()).output, run.output);
}

void TestQuorvelCliKeep::folderIsFoundUnderAnotherName()
{
    const QString link = path(u"linked"_s);
    QVERIFY(QFile::link(path(u"all"_s), link));
    QCOMPARE(references({u"linked"_s, u"-t60"_s, u"--keep"_s, u"under=all/8"_s}),
             u"linked/8/sub.mp3: 8"_s);
    QCOMPARE(references({u"all"_s, u"-t60"_s, u"--keep"_s, u"under=linked/8"_s}),
             u"all/8/sub.mp3: 8"_s);
}

void TestQuorvelCliKeep::everyPairIsUnderTheBetterFile()
{
    QCOMPARE(
        references({u"all"_s, u"-t60"_s, u"--pairs"_s, u"--exclude"_s, u"[1-4]*"_s, u"--exclude"_s,
                    u"9*"_s, u"--keep=lossless"_s, u"--keep=sample-rate,size"_s}),
        u"all/5.flac: 1; all/6 more.flac: 3; all/7 large.wav: 2"_s);
}

void TestQuorvelCliKeep::groupAStaysAboveGroupB_data()
{
    QTest::addColumn<QString>("rules");
    QTest::addColumn<QString>("groups");
    QTest::newRow("size") << u"size"_s << u"all/7 large.wav: 1"_s;
    QTest::newRow("sample rate of lossless files")
        << u"lossless,sample-rate"_s << u"all/6 more.flac: 1"_s;
}

void TestQuorvelCliKeep::groupAStaysAboveGroupB()
{
    QFETCH(const QString, rules);
    QFETCH(const QString, groups);
    // The one of Group B has the highest rate of all.
    const QStringList arguments{u"all"_s, u"--against"_s, u"other"_s, u"-t60"_s};
    QCOMPARE(references(arguments), u"all/1 cut.flac: 1"_s);
    QCOMPARE(references(arguments + QStringList{u"--keep"_s, rules}), groups);
    QCOMPARE(references(arguments + QStringList{u"--pairs"_s, u"--keep"_s, rules}),
             references(arguments + QStringList{u"--pairs"_s}));
}

void TestQuorvelCliKeep::whatIsNotKnownDecidesNothing()
{
    // A file that cannot be read as audio has no place among those that are kept.
    m_media->write(u"few/0.mp3"_s, "no audio");
    const testmedia::Tune tune{.seed = 51, .seconds = 10.0};
    m_media->makeTune(u"few/1.mp3"_s, tune);
    QVERIFY(QFile::copy(path(u"few/1.mp3"_s), path(u"few/2.mp3"_s)));
    QCOMPARE(references({u"few"_s, u"--keep"_s, u"lossless,sample-rate,bit-rate,size"_s}),
             u"few/1.mp3: 1"_s);
}

void TestQuorvelCliKeep::duplicatesOfTheKeptFileAreMoved()
{
    const QString result = path(u"found.json"_s);
    QCOMPARE(runCli({path(u"all"_s), u"-t60"_s, u"--keep"_s, u"lossless,sample-rate"_s, u"-fjson"_s,
                     u"-o"_s, result})
                 .exitStatus,
             0);
    const CliRun shown = runCli({u"apply"_s, result, u"--even-short"_s, u"--min-similarity=60"_s,
                                 u"--move-to"_s, path(u"moved"_s)});
    QCOMPARE(shown.errors, QByteArray());
    QCOMPARE(shown.exitStatus, 0);
    QCOMPARE(shown.output.count("would be moved: "), 8);
    const QByteArray stays = " like " + path(u"all/6 more.flac"_s).toUtf8() + ", which stays\n";
    QCOMPARE(shown.output.count(stays), 8);
}

void TestQuorvelCliKeep::wrongRuleExitsWithTwo()
{
    const CliRun run = runCli({path(u"all"_s), u"--keep"_s, u"under=nowhere"_s}, m_media->path());
    QCOMPARE(run.exitStatus, 2);
    QCOMPARE(run.output, QByteArray());
    QCOMPARE(run.errors, QByteArray("quorvel-cli: --keep under=: No such folder: nowhere\n"
                                    "Usage: quorvel-cli [options] FOLDER...\n"));
}

QTEST_GUILESS_MAIN(TestQuorvelCliKeep)
#include "tst_quorvelcli_keep.moc"
