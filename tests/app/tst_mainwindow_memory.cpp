#include "compare/comparisonworklist.h"
#include "support/media.h"
#include "support/standardstreams.h"
#include "support/windowfixture.h"

#include <QFile>
#include <QProgressBar>
#include <QStatusBar>
#include <QTest>

#ifdef Q_OS_LINUX
#include <sys/resource.h>
#include <unistd.h>
#endif

namespace {

void writeBrokenFiles(const testmedia::MediaFolder& folder, int count)
{
    for (int i = 0; i < count; ++i) {
        folder.write(QStringLiteral("%1.wav").arg(i), "not music");
    }
}

#ifdef Q_OS_LINUX
/** Lets the process take \a bytes more of address space than it has, for its lifetime. */
class AddressSpaceLimit
{
public:
    explicit AddressSpaceLimit(rlim_t bytes)
    {
        QFile statistics(QStringLiteral("/proc/self/statm"));
        const bool opened = statistics.open(QIODevice::ReadOnly);
        const rlim_t pages = statistics.readAll().split(' ').value(0).toULongLong();
        m_holds = opened && getrlimit(RLIMIT_AS, &m_before) == 0;
        rlimit limit = m_before;
        limit.rlim_cur = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + bytes;
        m_holds = m_holds && setrlimit(RLIMIT_AS, &limit) == 0;
    }
    ~AddressSpaceLimit()
    {
        setrlimit(RLIMIT_AS, &m_before);
    }
    AddressSpaceLimit(const AddressSpaceLimit&) = delete;
    AddressSpaceLimit& operator=(const AddressSpaceLimit&) = delete;

    bool holds() const
    {
        return m_holds;
    }

private:
    rlimit m_before{};
    bool m_holds = false;
};
#endif

} // namespace

/** Comparisons whose list of pairs finds no room. */
class TestMainWindowMemory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void tooLittleMemoryIsSaidInTheStatusBar_data();
    void tooLittleMemoryIsSaidInTheStatusBar();
    void memoryThatCannotBeHadAfterAllIsSaidInTheStatusBar();

private:
    std::unique_ptr<WindowFixture> fixture;
    testmedia::MediaFolder m_two;
    testmedia::MediaFolder m_four;
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
}

void TestMainWindowMemory::tooLittleMemoryIsSaidInTheStatusBar_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("pairs");
    QTest::newRow("between groups") << 0 << 8;
    QTest::newRow("within group") << 1 << 15;
}

void TestMainWindowMemory::tooLittleMemoryIsSaidInTheStatusBar()
{
    QFETCH(int, mode);
    QFETCH(int, pairs);
    const testmedia::StandardErrorCapture capture;
    fixture->setMode(mode);
    fixture->listFolder('A', m_two.path());
    fixture->listFolder(mode == 0 ? 'B' : 'A', m_four.path());
    const qint64 needed = pairs * qint64(sizeof(compare::IndexPair));
    compare::setAvailableMemoryForTests(needed - 1);
    QVERIFY(fixture->click("compareButton"));
    const auto* bar = fixture->find<QStatusBar>("statusbar");
    QTRY_VERIFY(!bar->currentMessage().isEmpty());
    QVERIFY2(bar->currentMessage().startsWith(QStringLiteral("6 files ")),
             qPrintable(bar->currentMessage()));
    QCOMPARE(fixture->find<QProgressBar>("progressBar")->value(), 0);
    QVERIFY(!fixture->find<QProgressBar>("progressBar")->isTextVisible());
    QVERIFY(MainWindow::fingerprintsFirst.isEmpty());
    QVERIFY(MainWindow::fingerprintsSecond.isEmpty());
    QTest::qWait(1200); // unavoidable: nothing may be reported in the second that follows
    QCOMPARE(fixture->countText(), QString());
    // With room again, the same press works and the message is gone.
    compare::setAvailableMemoryForTests(needed);
    QVERIFY(fixture->findDuplicates());
    QCOMPARE(bar->currentMessage(), QString());
}

void TestMainWindowMemory::memoryThatCannotBeHadAfterAllIsSaidInTheStatusBar()
{
#if !defined(Q_OS_LINUX) || defined(__SANITIZE_ADDRESS__)
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
    const AddressSpaceLimit limit(kLimitBytes);
    QVERIFY(limit.holds());
    QVERIFY(fixture->click("compareButton"));
    const auto* bar = fixture->find<QStatusBar>("statusbar");
    QTRY_VERIFY_WITH_TIMEOUT(!bar->currentMessage().isEmpty(), 60000);
    QVERIFY2(bar->currentMessage().startsWith(QStringLiteral("12000 files ")),
             qPrintable(bar->currentMessage()));
    QCOMPARE(fixture->find<QProgressBar>("progressBar")->value(), 0);
    QCOMPARE(fixture->countText(), QString());
#endif
}

QTEST_MAIN(TestMainWindowMemory)
#include "tst_mainwindow_memory.moc"
