#include "faultmatrix.h"
#include "filefixture.h"
#include "fileops/fileoperations.h"
#include "support/sampling.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <functional>
#include <memory>
#include <random>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

using faultmatrix::Folders;
using faultmatrix::Scenario;
using faultmatrix::Tally;

Q_DECLARE_METATYPE(Scenario)

namespace {

constexpr unsigned kSeed = 20'260'101;
constexpr int kPageBytes = 4096;
constexpr int kPages = 24;
constexpr qsizetype kComplaintsShown = 10;

using Case = std::function<Tally(const Folders&)>;

} // namespace

/**
 * Delete, move and copy, each of whose system calls is made to fail in many ways, that run out of
 * room, and that are killed. By default a sample; the environment variables QUORVEL_FAULT_CASES
 * (for each scenario) and QUORVEL_FAULT_KILLS (for each operation) give other numbers.
 */
class FileFaultsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void failingSystemCallLosesNothing_data();
    void failingSystemCallLosesNothing();
    void fullFileSystemLosesNothing_data();
    void fullFileSystemLosesNothing();
    void killLosesNothing_data();
    void killLosesNothing();

private:
    Tally runAll(const QList<Case>& cases);
    void conclude(const QString& title, const Tally& tally);

    std::unique_ptr<filefixture::OpenFolder> m_here;
    std::unique_ptr<filefixture::SecondFileSystem> m_other;
    QStringList m_summary;
    Tally m_total;
};

void FileFaultsTest::initTestCase()
{
    QString reason;
    if (!tracedrun::isPossible(&reason)) {
        QSKIP(qPrintable(reason));
    }
    m_here = std::make_unique<filefixture::OpenFolder>();
    m_other = std::make_unique<filefixture::SecondFileSystem>();
    if (!m_other->isAvailable()) {
        QSKIP(filefixture::kNoSecondFileSystem);
    }
}

void FileFaultsTest::cleanupTestCase()
{
    for (const QString& line : std::as_const(m_summary)) {
        std::puts(qPrintable(line));
    }
    std::puts(qPrintable(u"total: "_s + m_total.text()));
    std::fflush(stdout);
}

/** Runs cases on all processor cores, each worker in folders of its own. */
Tally FileFaultsTest::runAll(const QList<Case>& cases)
{
    const unsigned workers = std::max(1U, std::thread::hardware_concurrency());
    std::vector<Tally> tallies(workers);
    std::vector<std::thread> threads;
    std::atomic<qsizetype> next = 0;
    for (unsigned worker = 0; worker < workers; ++worker) {
        const QString name = QString::number(worker);
        const Folders folders = {m_here->filePath(name), m_other->filePath(name)};
        QDir().mkpath(folders.here);
        QDir().mkpath(folders.other);
        threads.emplace_back([&cases, &next, folders, &tally = tallies[worker]] {
            for (qsizetype i = next++; i < cases.size(); i = next++) {
                tally += cases.at(i)(folders);
            }
        });
    }
    Tally sum;
    for (unsigned worker = 0; worker < workers; ++worker) {
        threads[worker].join();
        sum += tallies[worker];
    }
    return sum;
}

void FileFaultsTest::conclude(const QString& title, const Tally& tally)
{
    m_summary.append(tally.text() + u": "_s + title);
    m_total += tally;
    for (const QString& complaint : tally.complaints.mid(0, kComplaintsShown)) {
        qWarning("%s", qPrintable(complaint));
    }
    QVERIFY2(tally.isClean(), qPrintable(tally.text()));
}

void FileFaultsTest::failingSystemCallLosesNothing_data()
{
    QTest::addColumn<Scenario>("scenario");
    for (const Scenario& scenario : faultmatrix::scenarios()) {
        QTest::addRow("%s", qPrintable(scenario.name())) << scenario;
    }
}

void FileFaultsTest::failingSystemCallLosesNothing()
{
    QFETCH(const Scenario, scenario);
    constexpr int kStandard = 40;
    const Folders folders = {m_here->path(), m_other->path()};
    const QStringList lacking = faultmatrix::lackingIn(scenario, folders);
    const auto faults = faultmatrix::faultsOf(scenario, lacking, folders);
    QVERIFY(!faults.isEmpty());
    QList<Case> cases;
    for (const faultmatrix::Fault& fault : support::sampleOf(
             faults, support::numberFromEnvironment("QUORVEL_FAULT_CASES", kStandard), kSeed)) {
        cases.append([&scenario, &lacking, fault](const Folders& ownFolders) {
            return faultmatrix::runCase(scenario, lacking, fault, ownFolders);
        });
    }
    conclude(scenario.name(), runAll(cases));
}

void FileFaultsTest::fullFileSystemLosesNothing_data()
{
    QTest::addColumn<bool>("move");
    QTest::newRow("move") << true;
    QTest::newRow("copy") << false;
}

/** Room runs out after each number of pages: early, late and just before the end. */
void FileFaultsTest::fullFileSystemLosesNothing()
{
    QFETCH(const bool, move);
    const QByteArray content = filefixture::noise(qsizetype{kPages} * kPageBytes);
    const QString source = m_here->filePath(u"a.mp3"_s);
    Tally tally;
    for (int pages = 1; pages <= kPages; ++pages) {
        const filefixture::SecondFileSystem small(QByteArray::number(pages * kPageBytes));
        if (!small.isAvailable()) {
            QSKIP("a small file system cannot be mounted here");
        }
        QVERIFY(QFile::exists(source) || filefixture::write(source, content));
        const fileops::SourceAndDestination paths(source, small.filePath(u"b.mp3"_s));
        const bool ok = move ? fileops::moveFile(paths) : fileops::copyFile(paths);
        const bool arrived = filefixture::read(paths.second) == content;
        const bool stayed = filefixture::read(source) == content;
        ++tally.cases;
        tally.fired += ok == (pages == kPages) ? 1 : 0;
        tally.lost += stayed || arrived ? 0 : 1;
        tally.falseSuccesses += ok && (!arrived || stayed == move) ? 1 : 0;
        tally.notAsBefore +=
            !ok && (!stayed || !filefixture::entries(small.path()).isEmpty()) ? 1 : 0;
    }
    QFile::remove(source);
    conclude(u"%1 to a file system that is full"_s.arg(move ? u"move"_s : u"copy"_s), tally);
}

void FileFaultsTest::killLosesNothing_data()
{
    QTest::addColumn<Scenario>("scenario");
    for (const Scenario& scenario : faultmatrix::scenarios()) {
        if (scenario.operation != u"delete" && !scenario.destinationTaken &&
            scenario.lacking.isEmpty() && !scenario.noUnnamedFiles) {
            QTest::addRow("%s", qPrintable(scenario.name())) << scenario;
        }
    }
}

/**
 * The moments are system calls, which a tracer knows. Of a given number of kills, half are at moments
 * in time, between the calls; these depend on the machine's speed and are no part of the test run.
 */
void FileFaultsTest::killLosesNothing()
{
    QFETCH(const Scenario, scenario);
    constexpr int kStandard = 20;
    const int kills = support::numberFromEnvironment("QUORVEL_FAULT_KILLS", kStandard);
    const bool atTimes = qEnvironmentVariableIsSet("QUORVEL_FAULT_KILLS");
    const faultmatrix::Course course =
        faultmatrix::courseOf(scenario, {m_here->path(), m_other->path()});
    QVERIFY(!course.calls.isEmpty());
    std::mt19937 random(kSeed);
    QList<Case> cases;
    for (int i = 0; i < kills; ++i) {
        if (!atTimes || i % 2 == 0) {
            const auto calls = static_cast<std::size_t>(course.calls.size());
            const tracedrun::Call call = course.calls.at(static_cast<qsizetype>(random() % calls));
            cases.append([&scenario, call](const Folders& folders) {
                return faultmatrix::killAtCall(scenario, call, folders);
            });
        } else {
            const auto moment =
                static_cast<qint64>(random() % static_cast<quint64>(course.microseconds));
            cases.append([&scenario, moment](const Folders& folders) {
                return faultmatrix::killAtTime(scenario, moment, folders);
            });
        }
    }
    const Tally tally = runAll(cases);
    conclude(scenario.name() + u", killed"_s, tally);
    const bool temporaryNames =
        std::any_of(course.calls.cbegin(), course.calls.cend(),
                    [](const tracedrun::Call& call) { return call.line.contains("\".quorvel-"); });
    if (!temporaryNames) {
        QCOMPARE(tally.leftOver, 0);
    }
}

QTEST_GUILESS_MAIN(FileFaultsTest)
#include "tst_filefaults.moc"
