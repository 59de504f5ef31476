#include "cliprocess.h"
#include "settings/settingsstore.h"
#include "support/media.h"
#include "support/windowfixture.h"

#include <QTest>

#include <memory>

namespace {

constexpr int kBetweenGroups = 0;
constexpr int kWithinGroup = 1;

} // namespace

class TestWindowEquality : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void betweenGroupsGivesTheRowsOfTheTree_data();
    void betweenGroupsGivesTheRowsOfTheTree();
    void withinGroupGivesTheRowsOfTheTreeOnOneThread_data();
    void withinGroupGivesTheRowsOfTheTreeOnOneThread();
    void withinGroupFindsThePairsOfTheWindowOnAllThreads();
    void fileInBothGroupsIsOfGroupA();
    void emptyGroupGivesNothing();

private:
    QString folder(const char* name) const
    {
        return media->filePath(QString::fromLatin1(name));
    }

    std::unique_ptr<testmedia::MediaFolder> media;
    std::unique_ptr<WindowFixture> window;
};

void TestWindowEquality::initTestCase()
{
    media = std::make_unique<testmedia::MediaFolder>();
    for (unsigned seed = 1; seed <= 3; ++seed) {
        const testmedia::Tune tune{.seed = seed, .seconds = 12.0};
        media->makeTune(QStringLiteral("a/%1.flac").arg(seed), tune);
        media->makeTune(QStringLiteral("a/deep/%1 again.mp3").arg(seed), tune);
        media->makeTune(QStringLiteral("b/copy of %1.ogg").arg(seed), tune);
        media->makeTune(QStringLiteral("b/%1 telephone.wav").arg(seed), tune,
                        {QStringLiteral("-ar"), QStringLiteral("8000"), QStringLiteral("-ac"),
                         QStringLiteral("1")});
        media->makeTune(QStringLiteral("twice/%1.flac").arg(seed), tune);
        media->makeTune(QStringLiteral("twice/%1.mp3").arg(seed), tune);
    }
    media->makeTune(QStringLiteral("a/alone.flac"), {.seed = 50, .seconds = 12.0});
    media->write(QStringLiteral("a/broken.mp3"), "not audio");
    media->write(QStringLiteral("b/broken.mp3"), "not audio either");
    media->write(QStringLiteral("empty/readme.txt"), "no audio file");
}

void TestWindowEquality::init()
{
    window = std::make_unique<WindowFixture>();
    window->open();
}

void TestWindowEquality::cleanup()
{
    window.reset();
}

void TestWindowEquality::betweenGroupsGivesTheRowsOfTheTree_data()
{
    QTest::addColumn<int>("threshold");
    for (const int threshold : {0, 1, 70, 95, 100}) {
        QTest::addRow("%d percent", threshold) << threshold;
    }
}

void TestWindowEquality::betweenGroupsGivesTheRowsOfTheTree()
{
    QFETCH(const int, threshold);
    settings::write({threshold, true});
    window->setMode(kBetweenGroups);
    window->listFolder('A', folder("a"));
    window->listFolder('B', folder("b"));
    QVERIFY(window->findDuplicates());

    const CliRun run =
        runCli({folder("a"), QStringLiteral("-b"), folder("b"), QStringLiteral("-t"),
                QString::number(threshold), QStringLiteral("-f"), QStringLiteral("json")});
    QCOMPARE(run.exitStatus, 0);
    QCOMPARE(run.treeText(media->path()), window->treeText(media->path()));
    QCOMPARE(run.treeText().isEmpty(), false);
}

void TestWindowEquality::withinGroupGivesTheRowsOfTheTreeOnOneThread_data()
{
    betweenGroupsGivesTheRowsOfTheTree_data();
}

void TestWindowEquality::withinGroupGivesTheRowsOfTheTreeOnOneThread()
{
    QFETCH(const int, threshold);
    settings::write({threshold, false});
    window->setMode(kWithinGroup);
    window->listFolder('A', folder("b"));
    window->listFolder('A', folder("a"));
    QVERIFY(window->findDuplicates());

    const CliRun run = runCli({folder("b"), folder("a"), QStringLiteral("-t"),
                               QString::number(threshold), QStringLiteral("--format=json")});
    QCOMPARE(run.exitStatus, 0);
    QCOMPARE(run.treeText(media->path()), window->treeText(media->path()));
    QCOMPARE(run.treeText().isEmpty(), false);
}

void TestWindowEquality::withinGroupFindsThePairsOfTheWindowOnAllThreads()
{
    settings::write({70, true});
    window->setMode(kWithinGroup);
    window->listFolder('A', folder("twice"));
    QVERIFY(window->findDuplicates());

    const CliRun run = runCli({folder("twice"), QStringLiteral("--pairs"), QStringLiteral("-t70"),
                               QStringLiteral("-fjson")});
    QCOMPARE(run.unorderedPairs(media->path()), window->unorderedPairs(media->path()));
    QCOMPARE(run.unorderedPairs().size(), 3);
}

void TestWindowEquality::fileInBothGroupsIsOfGroupA()
{
    settings::write({70, true});
    window->setMode(kBetweenGroups);
    window->listFolder('A', folder("a/deep"));
    window->listFolder('B', folder("a"));
    QVERIFY(window->findDuplicates());

    const CliRun run = runCli({folder("a/deep"), QStringLiteral("--against"), folder("a"),
                               QStringLiteral("-t70"), QStringLiteral("-fjson")});
    QCOMPARE(run.treeText(media->path()), window->treeText(media->path()));
    QCOMPARE(run.unorderedPairs().size(), 3);
}

void TestWindowEquality::emptyGroupGivesNothing()
{
    settings::write({0, true});
    window->setMode(kBetweenGroups);
    window->listFolder('A', folder("a"));
    window->listFolder('B', folder("empty"));
    QVERIFY(window->findDuplicates());

    const CliRun run = runCli({folder("a"), QStringLiteral("-b"), folder("empty"),
                               QStringLiteral("-t0"), QStringLiteral("-fjson")});
    QCOMPARE(run.exitStatus, 0);
    QCOMPARE(run.treeText(), window->treeText());
    QCOMPARE(run.treeText(), QString());
}

QTEST_MAIN(TestWindowEquality)
#include "tst_windowequality.moc"
