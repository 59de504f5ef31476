#include "compare/comparisonworklist.h"
#include "compare/errorsoutside.h"
#include "compare/kernelchoice.h"
#include "support/addressspacelimit.h"
#include "support/finishedruns.h"
#include "support/media.h"
#include "support/standardstreams.h"
#include "support/timers.h"
#include "support/windowfixture.h"

#include <QProgressBar>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTest>

#include <atomic>
#include <new>

namespace {

void writeBrokenFiles(const testmedia::MediaFolder& folder, int count)
{
    for (int i = 0; i < count; ++i) {
        folder.write(QStringLiteral("%1.wav").arg(i), "not music");
    }
}

std::atomic<int> failures = 0;
/** A kernel that finds no memory. */
constexpr compare::SimilarityKernel kFailingKernel = {
    "failing",
    [] { return true; },
    [](const std::uint32_t* /*first*/, std::size_t /*firstCount*/, const std::uint32_t* /*second*/,
       std::size_t /*secondCount*/, std::uint32_t* /*errors*/) {
        ++failures;
        throw std::bad_alloc();
    },
    &compare::errorsOutsidePortable,
};

} // namespace

/** Comparisons that find too little memory. */
class TestMainWindowMemory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void tooLittleMemoryIsReportedInTheStatusBar_data();
    void tooLittleMemoryIsReportedInTheStatusBar();
    void barStaysEmptyAfterRunsThatEndedAtOnce_data();
    void barStaysEmptyAfterRunsThatEndedAtOnce();
    void memoryThatIsMissingAfterAllIsReportedInTheStatusBar();
    void searchWorksAgainAfterOneThatRanOutOfMemory();
    void windowClosesAfterASearchThatRanOutOfMemory();

private:
    void runOutOfMemory();

    static void addBothModes();
    void refuseSixFiles(int mode, qint64 availableBytes) const;

    std::unique_ptr<WindowFixture> fixture;
    testmedia::MediaFolder m_two;
    testmedia::MediaFolder m_four;
    testmedia::MediaFolder m_tunes;
};

void TestMainWindowMemory::init()
{
    fixture = std::make_unique<WindowFixture>();
    fixture->open();
    writeBrokenFiles(m_two, 2);
    writeBrokenFiles(m_four, 4);
}

void TestMainWindowMemory::cleanup()
{
    fixture.reset();
    compare::setAvailableMemoryForTests(std::nullopt);
    compare::setSimilarityKernelForTests(nullptr);
}

void TestMainWindowMemory::addBothModes()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("pairs");
    QTest::newRow("between groups") << 0 << 8;
    QTest::newRow("within group") << 1 << 15;
}

/** Searches two files and four, and waits for the message that they are too many. */
void TestMainWindowMemory::refuseSixFiles(int mode, qint64 availableBytes) const
{
    fixture->setMode(mode);
    fixture->listFolder('A', m_two.path());
    fixture->listFolder(mode == 0 ? 'B' : 'A', m_four.path());
    compare::setAvailableMemoryForTests(availableBytes);
    QVERIFY(fixture->click("compareButton"));
    const auto* bar = fixture->find<QStatusBar>("statusbar");
    QTRY_VERIFY_WITH_TIMEOUT(!bar->currentMessage().isEmpty(), WindowFixture::kHangGuardMs);
    QVERIFY2(bar->currentMessage().startsWith(QStringLiteral("6 files ")),
             qPrintable(bar->currentMessage()));
}

void TestMainWindowMemory::tooLittleMemoryIsReportedInTheStatusBar_data()
{
    addBothModes();
}

void TestMainWindowMemory::tooLittleMemoryIsReportedInTheStatusBar()
{
    QFETCH(int, mode);
    QFETCH(int, pairs);
    const testmedia::StandardErrorCapture capture;
    const qint64 needed = pairs * qint64(sizeof(compare::IndexPair));
    refuseSixFiles(mode, needed - 1);
    if (QTest::currentTestFailed()) {
        return;
    }
    QCOMPARE(fixture->find<QProgressBar>("progressBar")->value(), 0);
    QVERIFY(!fixture->find<QProgressBar>("progressBar")->isTextVisible());
    QVERIFY(MainWindow::fingerprintsFirst.isEmpty());
    QVERIFY(MainWindow::fingerprintsSecond.isEmpty());
    QCOMPARE(support::fireSingleShots(1000), 0); // nothing is due later
    QCOMPARE(fixture->countText(), QString());
    QCOMPARE(fixture->find<QProgressBar>("progressBar")->value(), 0);
    // With room again, the same press works and the message is gone.
    compare::setAvailableMemoryForTests(needed);
    QVERIFY(fixture->findDuplicates());
    QCOMPARE(fixture->find<QStatusBar>("statusbar")->currentMessage(), QString());
}

void TestMainWindowMemory::barStaysEmptyAfterRunsThatEndedAtOnce_data()
{
    addBothModes();
}

void TestMainWindowMemory::barStaysEmptyAfterRunsThatEndedAtOnce()
{
    QFETCH(int, mode);
    const testmedia::StandardErrorCapture capture;
    const FinishedRuns finished;
    const auto* bar = fixture->find<QProgressBar>("progressBar");
    const QSignalSpy shown(bar, &QProgressBar::valueChanged);
    refuseSixFiles(mode, 0);
    if (QTest::currentTestFailed()) {
        return;
    }
    // All files were read, and that was shown, but before the refusal emptied the bar.
    QVERIFY(shown.contains(QVariantList{80}));
    QCoreApplication::sendPostedEvents();
    QCOMPARE(bar->value(), 0);
    QVERIFY(!bar->isTextVisible());
}

void TestMainWindowMemory::memoryThatIsMissingAfterAllIsReportedInTheStatusBar()
{
#ifdef __SANITIZE_ADDRESS__
    QSKIP("the address space cannot be limited here");
#else
    // 72 million pairs take 576 MB, and everything else but a few.
    constexpr int kFiles = 12000;
    constexpr rlim_t kLimitBytes = rlim_t{256} << 20;
    const testmedia::StandardErrorCapture capture;
    const testmedia::MediaFolder many;
    writeBrokenFiles(many, kFiles);
    fixture->setMode(1);
    fixture->listFolder('A', many.path());
    const support::AddressSpaceLimit limit(kLimitBytes);
    QVERIFY(limit.holds());
    QVERIFY(fixture->click("compareButton"));
    fixture->pool()->setMaxThreadCount(2); // the stacks of many would be too much by themselves
    const auto* bar = fixture->find<QStatusBar>("statusbar");
    QTRY_VERIFY_WITH_TIMEOUT(!bar->currentMessage().isEmpty(), 240000);
    QVERIFY2(bar->currentMessage().startsWith(QStringLiteral("12000 files ")),
             qPrintable(bar->currentMessage()));
    QCOMPARE(fixture->find<QProgressBar>("progressBar")->value(), 0);
    QCOMPARE(fixture->countText(), QString());
#endif
}

/** Searches two tunes that are the same, in a comparison that fails. */
void TestMainWindowMemory::runOutOfMemory()
{
    testmedia::Tune tune;
    tune.seconds = 5;
    for (const char* name : {"1.wav", "2.wav"}) {
        m_tunes.makeTune(QString::fromLatin1(name), tune);
    }
    failures = 0;
    compare::setSimilarityKernelForTests(&kFailingKernel);
    fixture->setMode(1);
    fixture->listFolder('A', m_tunes.path());
    QVERIFY(fixture->click("compareButton"));
    QTRY_VERIFY_WITH_TIMEOUT(failures > 0, WindowFixture::kHangGuardMs);
    fixture->pool()->waitForDone();
    QCoreApplication::processEvents();
    QCOMPARE(fixture->countText(), QString());
    compare::setSimilarityKernelForTests(nullptr);
}

void TestMainWindowMemory::searchWorksAgainAfterOneThatRanOutOfMemory()
{
    runOutOfMemory();
    for (int search = 0; search < 2 && !QTest::currentTestFailed(); ++search) {
        QVERIFY(fixture->findDuplicates());
        QCOMPARE(fixture->countText(), QStringLiteral("1 duplicate audio file found."));
    }
}

void TestMainWindowMemory::windowClosesAfterASearchThatRanOutOfMemory()
{
    runOutOfMemory();
    fixture->destroy();
}

QTEST_MAIN(TestMainWindowMemory)
#include "tst_mainwindow_memory.moc"
