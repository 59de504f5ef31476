#include "settings/settingsstore.h"
#include "support/media.h"
#include "support/standardstreams.h"
#include "support/windowfixture.h"

#include <QLabel>
#include <QProgressBar>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTest>
#include <QTreeWidget>

using namespace Qt::StringLiterals;

namespace {

constexpr double kTuneSeconds = 12;

/** \a text with every percentage but 100 replaced by "~": lossy encoders differ from day to day. */
QString withoutLossyPercentages(QString text)
{
    static const QRegularExpression percentage(QStringLiteral("\\| \\d{1,2}% \\|"));
    return text.replace(percentage, QStringLiteral("| ~ |"));
}

bool writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

testmedia::Tune tune(unsigned seed)
{
    testmedia::Tune result;
    result.seed = seed;
    result.seconds = kTuneSeconds;
    return result;
}

} // namespace

class TestMainWindowRun : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void betweenGroupsShowsExactRows();
    void withinGroupOnOneThreadShowsExactRows();
    void withinGroupOnAllThreadsFindsTheSamePairs();
    void secondPressFindsTheSameAgain();
    void nothingInCommonIsReported();
    void oneFileWithinGroupFindsNothing();
    void noFilesAtAllFindNothingAfterASecond();
    void groupBWithinGroupAFindsNothingAfterASecond();
    void fileInBothGroupsIsNotComparedWithItself();
    void brokenFilesStopNothing();
    void absentThresholdListsEveryPair();
    void thresholdAboveOneHundredFindsNothing();
    void multicoreDecidesTheNumberOfThreads_data();
    void multicoreDecidesTheNumberOfThreads();
    void progressRisesToEightyAndThenToOneHundred();
    void progressWithAnEmptyGroupBRunNeverExceedsEightyInItsStage();
    void strangeNamesSurvive();
    void namesThatAreNotUtf8YieldNoOtherFilesResult();
    void tooManyFilesAreReportedInTheStatusBar();
    void rowsAreExpandedAndDoNotFoldOnDoubleClick();

private:
    QString music(const QString& relative = {}) const
    {
        return relative.isEmpty() ? m_music.path() : m_music.filePath(relative);
    }
    testmedia::MediaFolder m_music;
    std::unique_ptr<WindowFixture> fixture;
};

/** Three tunes: the first three times, the second twice, the third once. */
void TestMainWindowRun::initTestCase()
{
    m_music.makeTune(QStringLiteral("a/first.wav"), tune(1));
    m_music.makeTune(QStringLiteral("a/second.flac"), tune(2),
                     {QStringLiteral("-ar"), QStringLiteral("48000")});
    m_music.makeTune(QStringLiteral("b/first again.flac"), tune(1));
    m_music.makeTune(QStringLiteral("b/first.mp3"), tune(1),
                     {QStringLiteral("-ac"), QStringLiteral("1")});
    m_music.makeTune(QStringLiteral("b/second.ogg"), tune(2),
                     {QStringLiteral("-ar"), QStringLiteral("22050")});
    m_music.makeTune(QStringLiteral("b/third.flac"), tune(3));
}

void TestMainWindowRun::init()
{
    fixture = std::make_unique<WindowFixture>();
    fixture->open();
}

void TestMainWindowRun::cleanup()
{
    fixture.reset();
}

void TestMainWindowRun::betweenGroupsShowsExactRows()
{
    QVERIFY(fixture->addFolder('A', music(QStringLiteral("a"))));
    QVERIFY(fixture->addFolder('B', music(QStringLiteral("b"))));
    QVERIFY(fixture->findDuplicates());
    QCOMPARE(fixture->countText(), QStringLiteral("3 duplicate audio files found."));
    QCOMPARE(withoutLossyPercentages(fixture->treeText(music())),
             QStringLiteral("/a/first.wav |  | 00:00:12 | 44100 | 2\n"
                            "    /b/first again.flac | 100% | 00:00:12 | 44100 | 2\n"
                            "    /b/first.mp3 | ~ | 00:00:12 | 44100 | 1\n"
                            "/a/second.flac |  | 00:00:12 | 48000 | 2\n"
                            "    /b/second.ogg | ~ | 00:00:12 | 22050 | 2\n"));
    QCOMPARE(fixture->find<QProgressBar>("progressBar")->value(), 0);
    QVERIFY(!fixture->find<QProgressBar>("progressBar")->isTextVisible());
    QVERIFY(MainWindow::fingerprintsFirst.isEmpty());
    QVERIFY(MainWindow::fingerprintsSecond.isEmpty());
}

void TestMainWindowRun::withinGroupOnOneThreadShowsExactRows()
{
    settings::write({70, false});
    fixture->setMode(1);
    fixture->listFolder('A', music(QStringLiteral("b")));
    fixture->listFolder('A', music(QStringLiteral("a")));
    QVERIFY(fixture->findDuplicates());
    QCOMPARE(withoutLossyPercentages(fixture->treeText(music())),
             QStringLiteral("/a/first.wav |  | 00:00:12 | 44100 | 2\n"
                            "    /b/first again.flac | 100% | 00:00:12 | 44100 | 2\n"
                            "    /b/first.mp3 | ~ | 00:00:12 | 44100 | 1\n"
                            "/a/second.flac |  | 00:00:12 | 48000 | 2\n"
                            "    /b/second.ogg | ~ | 00:00:12 | 22050 | 2\n"));
    QCOMPARE(fixture->countText(), QStringLiteral("3 duplicate audio files found."));
}

void TestMainWindowRun::withinGroupOnAllThreadsFindsTheSamePairs()
{
    // Two alike are unordered: which of them is the reference depends on which is done first.
    const testmedia::MediaFolder copies;
    QVERIFY(QFile::copy(music(QStringLiteral("b/second.ogg")),
                        copies.filePath(QStringLiteral("copy.ogg"))));
    fixture->setMode(1);
    fixture->listFolder('A', music(QStringLiteral("a")));
    fixture->listFolder('A', copies.path());
    QVERIFY(fixture->findDuplicates());
    QStringList pair{music(QStringLiteral("a/second.flac")),
                     copies.filePath(QStringLiteral("copy.ogg"))};
    pair.sort();
    QCOMPARE(fixture->unorderedPairs(), QStringList{pair.join(QStringLiteral(" = "))});
    QCOMPARE(fixture->countText(), QStringLiteral("1 duplicate audio file found."));
}

void TestMainWindowRun::secondPressFindsTheSameAgain()
{
    fixture->listFolder('A', music(QStringLiteral("a")));
    fixture->listFolder('B', music(QStringLiteral("b")));
    QVERIFY(fixture->findDuplicates());
    const QString first = fixture->treeText();
    QVERIFY(!first.isEmpty());
    for (int round = 0; round < 5; ++round) {
        QVERIFY(fixture->findDuplicates());
        QCOMPARE(fixture->treeText(), first);
    }
}

void TestMainWindowRun::nothingInCommonIsReported()
{
    const testmedia::MediaFolder other;
    other.makeTune(QStringLiteral("9.wav"), tune(9));
    fixture->listFolder('A', music(QStringLiteral("a")));
    fixture->listFolder('B', other.path());
    QVERIFY(fixture->findDuplicates());
    QCOMPARE(fixture->countText(), QStringLiteral("No duplicate audio files found."));
    QCOMPARE(fixture->treeText(), QString());
}

void TestMainWindowRun::oneFileWithinGroupFindsNothing()
{
    const QTemporaryDir one;
    QVERIFY(
        QFile::copy(music(QStringLiteral("a/first.wav")), one.filePath(QStringLiteral("1.wav"))));
    fixture->setMode(1);
    fixture->listFolder('A', one.path());
    QVERIFY(fixture->findDuplicates());
    QCOMPARE(fixture->countText(), QStringLiteral("No duplicate audio files found."));
    QCOMPARE(fixture->find<QProgressBar>("progressBar")->value(), 0);
}

void TestMainWindowRun::noFilesAtAllFindNothingAfterASecond()
{
    const QTemporaryDir empty;
    fixture->setMode(1);
    fixture->listFolder('A', empty.path());
    QVERIFY(fixture->click("compareButton"));
    const auto* bar = fixture->find<QProgressBar>("progressBar");
    QTRY_COMPARE(bar->value(), 100);
    QVERIFY(bar->isTextVisible());
    QCOMPARE(fixture->countText(), QString());
    QVERIFY(fixture->waitForResult());
    QCOMPARE(fixture->countText(), QStringLiteral("No duplicate audio files found."));
    QCOMPARE(bar->value(), 0);
    QVERIFY(!bar->isTextVisible());
}

void TestMainWindowRun::groupBWithinGroupAFindsNothingAfterASecond()
{
    fixture->listFolder('A', music());
    fixture->listFolder('B', music(QStringLiteral("b")));
    // The same paths, as the folder of Group B is below that of Group A.
    QVERIFY(fixture->click("compareButton"));
    QTRY_COMPARE(fixture->find<QProgressBar>("progressBar")->value(), 100);
    QVERIFY(fixture->waitForResult());
    QCOMPARE(fixture->countText(), QStringLiteral("No duplicate audio files found."));
}

void TestMainWindowRun::fileInBothGroupsIsNotComparedWithItself()
{
    fixture->listFolder('A', music(QStringLiteral("a")));
    fixture->listFolder('B', music(QStringLiteral("a")));
    fixture->listFolder('B', music(QStringLiteral("b")));
    QVERIFY(fixture->findDuplicates());
    QVERIFY(!fixture->treeText(music()).contains(QStringLiteral("    /a/")));
    QCOMPARE(fixture->countText(), QStringLiteral("3 duplicate audio files found."));
}

void TestMainWindowRun::brokenFilesStopNothing()
{
    const QTemporaryDir broken;
    QVERIFY(writeFile(broken.filePath(QStringLiteral("empty.mp3")), {}));
    QVERIFY(writeFile(broken.filePath(QStringLiteral("text.flac")), "not music\n"));
    QVERIFY(writeFile(broken.filePath(QStringLiteral("playlist.mp3")), "#EXTM3U\nfirst.wav\n"));
    const QByteArray whole = testmedia::contentOf(music(QStringLiteral("b/first again.flac")));
    QVERIFY(writeFile(broken.filePath(QStringLiteral("cut.flac")), whole.first(whole.size() / 2)));
    QVERIFY(QFile::copy(music(QStringLiteral("b/second.ogg")),
                        broken.filePath(QStringLiteral("whole.ogg"))));
    fixture->listFolder('A', music(QStringLiteral("a")));
    fixture->listFolder('B', broken.path());
    fixture->listFolder('B', QStringLiteral("/does/not/exist"));
    QVERIFY(fixture->findDuplicates());
    const QString text = fixture->treeText();
    QVERIFY2(text.contains(QStringLiteral("/whole.ogg | ")), qPrintable(text));
    QVERIFY(!text.contains(QStringLiteral("empty.mp3")));
    QVERIFY(!text.contains(QStringLiteral("text.flac")));
    QVERIFY(!text.contains(QStringLiteral("playlist.mp3")));
}

void TestMainWindowRun::absentThresholdListsEveryPair()
{
    QSettings(QStringLiteral("tandrik"), QStringLiteral("quorvel"))
        .remove(QStringLiteral("similarity"));
    fixture->listFolder('A', music(QStringLiteral("a")));
    fixture->listFolder('B', music(QStringLiteral("b")));
    QVERIFY(fixture->findDuplicates());
    // All four of the other group match the first; the filter then leaves nothing for the second.
    QCOMPARE(fixture->countText(), QStringLiteral("4 duplicate audio files found."));
    QCOMPARE(fixture->find<QTreeWidget>("treeWidget")->topLevelItemCount(), 1);
}

void TestMainWindowRun::thresholdAboveOneHundredFindsNothing()
{
    settings::write({101, true});
    fixture->listFolder('A', music(QStringLiteral("a")));
    fixture->listFolder('B', music(QStringLiteral("b")));
    QVERIFY(fixture->findDuplicates());
    QCOMPARE(fixture->countText(), QStringLiteral("No duplicate audio files found."));
}

void TestMainWindowRun::multicoreDecidesTheNumberOfThreads_data()
{
    QTest::addColumn<bool>("multicore");
    QTest::addColumn<int>("threads");
    QTest::newRow("off") << false << 1;
    QTest::newRow("on") << true << QThread::idealThreadCount();
}

void TestMainWindowRun::multicoreDecidesTheNumberOfThreads()
{
    QFETCH(bool, multicore);
    settings::write({70, multicore});
    fixture->pool()->setMaxThreadCount(7);
    fixture->listFolder('A', music(QStringLiteral("a")));
    fixture->listFolder('B', music(QStringLiteral("b")));
    QVERIFY(fixture->click("compareButton"));
    QTEST(fixture->pool()->maxThreadCount(), "threads");
    // Changed during the run, it counts for the next run only.
    settings::write({70, !multicore});
    QVERIFY(fixture->waitForResult());
    QTEST(fixture->pool()->maxThreadCount(), "threads");
}

void TestMainWindowRun::progressRisesToEightyAndThenToOneHundred()
{
    for (const bool multicore : {false, true}) {
        settings::write({70, multicore});
        fixture->listFolder('A', music(QStringLiteral("a")));
        fixture->listFolder('B', music(QStringLiteral("b")));
        const QSignalSpy values(fixture->find<QProgressBar>("progressBar"),
                                &QProgressBar::valueChanged);
        QVERIFY(fixture->findDuplicates());
        QList<int> seen;
        for (const QList<QVariant>& value : values) {
            seen.append(value.first().toInt());
        }
        QVERIFY(seen.contains(80));
        QVERIFY(seen.contains(100));
        QCOMPARE(seen.takeLast(), 0);
        QVERIFY(std::is_sorted(seen.cbegin(), seen.cend()));
        fixture->choose("actionNew_Comparison");
    }
}

void TestMainWindowRun::progressWithAnEmptyGroupBRunNeverExceedsEightyInItsStage()
{
    fixture->setMode(1);
    fixture->listFolder('A', music());
    auto* bar = fixture->find<QProgressBar>("progressBar");
    // Until the records are there, the comparison has not begun.
    QList<int> beforeComparison;
    connect(bar, &QProgressBar::valueChanged, bar, [&beforeComparison](int value) {
        if (MainWindow::fingerprintsFirst.isEmpty()) {
            beforeComparison.append(value);
        }
    });
    QVERIFY(fixture->findDuplicates());
    QVERIFY(!beforeComparison.isEmpty());
    QVERIFY(*std::max_element(beforeComparison.cbegin(), beforeComparison.cend()) <= 80);
}

void TestMainWindowRun::strangeNamesSurvive()
{
    const QString wav = music(QStringLiteral("a/first.wav"));
    const QStringList names{
        QStringLiteral("with  spaces .wav"),
        QStringLiteral("it's \"quoted\".wav"),
        u"emoji \U0001F3B5.wav"_s,
        u"\u05E9\u05DC\u05D5\u05DD.wav"_s,
        u"combining e\u0301.wav"_s,
        u"precomposed \u00E9.wav"_s,
        QStringLiteral("new\nline.wav"),
        QStringLiteral("-dash.wav"),
        QStringLiteral("%41 percent.wav"),
        QStringLiteral("semi;colon, 'file:' http:.wav"),
        QString(251, u'n') + QStringLiteral(".wav"),
        QString(125, u'\u00E9') + QStringLiteral(".WAV"),
    };
    const QTemporaryDir strange;
    for (const QString& name : names) {
        QVERIFY2(QFile::copy(wav, strange.filePath(name)), qPrintable(name));
    }
    fixture->listFolder('A', music(QStringLiteral("a")));
    fixture->listFolder('B', strange.path());
    QVERIFY(fixture->findDuplicates());
    QStringList shown;
    const auto* tree = fixture->find<QTreeWidget>("treeWidget");
    QCOMPARE(tree->topLevelItemCount(), 1);
    for (int i = 0; i < tree->topLevelItem(0)->childCount(); ++i) {
        const QString path = tree->topLevelItem(0)->child(i)->text(0);
        QCOMPARE(tree->topLevelItem(0)->child(i)->text(1), QStringLiteral("100%"));
        shown.append(path.mid(strange.path().size() + 1));
    }
    shown.sort();
    QStringList expected = names;
    expected.sort();
    QCOMPARE(shown, expected);
}

void TestMainWindowRun::namesThatAreNotUtf8YieldNoOtherFilesResult()
{
#ifdef Q_OS_LINUX
    const QTemporaryDir folder;
    const QByteArray bad = QFile::encodeName(folder.path()) + "/bad \xFF name.wav";
    const QByteArray replacement = QFile::encodeName(folder.path()) + "/bad \xEF\xBF\xBD name.wav";
    const QByteArray third = testmedia::contentOf(music(QStringLiteral("b/third.flac")));
    FILE* file = std::fopen(bad.constData(), "wb");
    QVERIFY(file != nullptr);
    std::fwrite(third.constData(), 1, static_cast<std::size_t>(third.size()), file);
    std::fclose(file);
    // What the bad name looks like once it is decoded is the name of a different tune, whose result
    // is shown once and under its own name only.
    QVERIFY(QFile::copy(music(QStringLiteral("a/first.wav")), QFile::decodeName(replacement)));
    const testmedia::MediaFolder reference;
    QVERIFY(QFile::copy(music(QStringLiteral("b/first again.flac")),
                        reference.filePath(QStringLiteral("first.flac"))));
    QVERIFY(QFile::copy(music(QStringLiteral("b/third.flac")),
                        reference.filePath(QStringLiteral("third.flac"))));
    fixture->listFolder('A', reference.path());
    fixture->listFolder('B', folder.path());
    QVERIFY(fixture->findDuplicates());
    QCOMPARE(fixture->treeText(),
             reference.path() + QStringLiteral("/first.flac |  | 00:00:12 | 44100 | 2\n    ") +
                 QFile::decodeName(replacement) +
                 QStringLiteral(" | 100% | 00:00:12 | 44100 | 2\n"));
#else
    QSKIP("file names are Unicode on this platform");
#endif
}

void TestMainWindowRun::tooManyFilesAreReportedInTheStatusBar()
{
    // The first number of files whose pairs the framework cannot count any more.
    constexpr int kFiles = 65537;
    const QTemporaryDir many;
    for (int i = 0; i < kFiles; ++i) {
        QVERIFY(writeFile(many.filePath(QStringLiteral("%1.wav").arg(i)), {}));
    }
    const testmedia::StandardErrorCapture capture; // a line for each of the empty files
    fixture->setMode(1);
    fixture->listFolder('A', many.path());
    QVERIFY(fixture->click("compareButton"));
    const auto* bar = fixture->find<QStatusBar>("statusbar");
    QTRY_VERIFY_WITH_TIMEOUT(!bar->currentMessage().isEmpty(), 600000);
    QVERIFY(bar->currentMessage().contains(QStringLiteral("65537")));
    QCOMPARE(fixture->countText(), QString());
}

void TestMainWindowRun::rowsAreExpandedAndDoNotFoldOnDoubleClick()
{
    fixture->listFolder('A', music(QStringLiteral("a")));
    fixture->listFolder('B', music(QStringLiteral("b")));
    QVERIFY(fixture->findDuplicates());
    auto* tree = fixture->find<QTreeWidget>("treeWidget");
    QVERIFY(tree->topLevelItem(0)->isExpanded());
    QVERIFY(tree->topLevelItem(1)->isExpanded());
    const QPoint centre = tree->visualItemRect(tree->topLevelItem(0)).center();
    QTest::mouseDClick(tree->viewport(), Qt::LeftButton, {}, centre);
    QVERIFY(tree->topLevelItem(0)->isExpanded());
}

QTEST_MAIN(TestMainWindowRun)
#include "tst_mainwindow_run.moc"
