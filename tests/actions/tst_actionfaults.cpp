#include "fileops/filefixture.h"
#include "fileops/tracedrun.h"

#include "resultfixture.h"
#include "stage.h"
#include "support/sampling.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

#include <cstdio>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

constexpr unsigned kSeed = 20'260'101;
/** For each of the eight scenarios. Each takes several processes, which the sanitizers slow down. */
#if defined(__SANITIZE_ADDRESS__)
constexpr int kStandardFaults = 4;
constexpr int kStandardKills = 4;
#else
constexpr int kStandardFaults = 12;
constexpr int kStandardKills = 25;
#endif

/** What is interrupted, and how it goes on. */
struct Scenario
{
    bool undo = false;
    bool toOtherFileSystem = false;
    bool applyAgain = false;

    QString name() const
    {
        return QStringLiteral("%1 %2, then %3")
            .arg(undo ? u"undo"_s : u"apply"_s,
                 toOtherFileSystem ? u"between file systems"_s : u"on one file system"_s,
                 applyAgain ? u"apply and undo"_s : u"undo"_s);
    }
};

/** The lines of a picture without the times of folders. */
QStringList withoutFolderTimes(QStringList picture)
{
    static const QRegularExpression folderTime(u" (4\\d{4}) \\d+\\.\\d+$"_s);
    return picture.replaceInStrings(folderTime, u" \\1"_s);
}

/** The lines of a picture without any times. */
QStringList withoutTimes(QStringList picture)
{
    static const QRegularExpression time(u" \\d+\\.\\d{9}\\b"_s);
    return picture.replaceInStrings(time, QString());
}

/** A stage on which an operation is interrupted. */
class InterruptedStage
{
public:
    InterruptedStage(const Scenario& scenario, const QString& otherFolder)
        : m_scenario(scenario)
    {
        if (scenario.toOtherFileSystem) {
            m_stage.setTarget(otherFolder);
        }
        const QString result = m_stage.besides(u"found.json"_s);
        filefixture::write(result, m_stage.result());
        before = m_stage.picture();
        if (scenario.undo) {
            m_stage.apply();
            arguments = {u"undo"_s, m_stage.journal()};
        } else {
            arguments = {u"apply"_s, result, m_stage.target(), m_stage.journal()};
        }
    }
    ~InterruptedStage()
    {
        QDir(m_stage.target()).removeRecursively();
    }
    Q_DISABLE_COPY_MOVE(InterruptedStage)

    /** Whatever happened: what is lost, or nothing. */
    QString loss() const
    {
        for (const QString& reference : {u"one.flac"_s, u"two.flac"_s}) {
            if (filefixture::read(m_stage.music(reference)).isEmpty()) {
                return u"no reference "_s + reference;
            }
        }
        const auto isIn = [this](const QString& name, const QByteArray& content) {
            return filefixture::read(m_stage.music(name)) == content ||
                   filefixture::read(m_stage.moved(name)) == content;
        };
        return isIn(u"a/one.mp3"_s, "one, smaller") && isIn(u"a/two.mp3"_s, "two, smaller") &&
                       isIn(u"a/b/one.ogg"_s, "one, small")
                   ? QString()
                   : u"a file is in neither place"_s;
    }

    /**
     * Goes on without faults, back to the beginning. Why that fails, or nothing. If \a mayLeaveCopies,
     * files whose names in the target have a copy that could not be removed stay in their places.
     */
    QString goOn(bool mayLeaveCopies = false)
    {
        if (m_scenario.applyAgain) {
            const Performance again = m_stage.apply();
            for (const actions::HandledFile& file : again.files) {
                const bool isBesideCopy = file.reason.startsWith(u"its name is taken"_s) &&
                                          m_scenario.toOtherFileSystem && mayLeaveCopies;
                copiesLeft += isBesideCopy ? 1 : 0;
                if (!file.reason.isEmpty() && !isBesideCopy) {
                    return u"apply again: %1: %2"_s.arg(file.path, file.reason);
                }
            }
            if (!again.failure.isEmpty()) {
                return u"apply again: "_s + again.failure;
            }
        }
        if (QFileInfo(m_stage.journal()).size() == 0) {
            return {}; // interrupted before its first line
        }
        const Performance undone = m_stage.undo();
        return undone.counts.leftAlone > 0 || !undone.failure.isEmpty()
                   ? u"undo: "_s + undone.text()
                   : QString();
    }

    QStringList picture() const
    {
        return m_stage.picture();
    }

    QStringList before;
    QStringList arguments;
    /** Found by goOn(). */
    qsizetype copiesLeft = 0;

private:
    const Scenario m_scenario;
    Stage m_stage;
};

} // namespace

Q_DECLARE_METATYPE(Scenario)

/**
 * Moving duplicates and moving them back, each of whose system calls is made to fail in many ways,
 * and which are killed. By default a sample; the environment variables QUORVEL_FAULT_CASES and
 * QUORVEL_FAULT_KILLS (for each scenario) give other numbers, 0 all there are.
 */
class ActionFaultsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void failingSystemCallLosesNothing_data();
    void failingSystemCallLosesNothing();
    void runEndsWhereNoFolderExists();
    void killLosesNothing_data();
    void killLosesNothing();

private:
    static void addScenarios();
    QList<tracedrun::Call> callsOf(const Scenario& scenario) const
    {
        const InterruptedStage stage(scenario, otherFolder());
        return tracedrun::run(stage.arguments, {}).operationCalls();
    }
    QString otherFolder() const
    {
        return m_other->filePath(u"target"_s);
    }

    std::unique_ptr<filefixture::SecondFileSystem> m_other;
};

void ActionFaultsTest::initTestCase()
{
    QString reason;
    if (!tracedrun::isPossible(&reason)) {
        QSKIP(qPrintable(reason));
    }
    m_other = std::make_unique<filefixture::SecondFileSystem>();
    if (!m_other->isAvailable()) {
        QSKIP(filefixture::kNoSecondFileSystem);
    }
    // The first run of a user makes the folders of the lock, so that it has more calls than the
    // others.
    QVERIFY(!callsOf({}).isEmpty());
}

void ActionFaultsTest::addScenarios()
{
    QTest::addColumn<Scenario>("scenario");
    for (const bool undo : {false, true}) {
        for (const bool other : {false, true}) {
            for (const bool again : {false, true}) {
                const Scenario scenario{undo, other, again};
                QTest::newRow(qPrintable(scenario.name())) << scenario;
            }
        }
    }
}

void ActionFaultsTest::failingSystemCallLosesNothing_data()
{
    addScenarios();
}

void ActionFaultsTest::failingSystemCallLosesNothing()
{
    QFETCH(const Scenario, scenario);
    QStringList faults;
    for (const tracedrun::Call& call : callsOf(scenario)) {
        for (const char* error : {"EIO", "ENOSPC", "EACCES", "EROFS", "ENOENT"}) {
            for (const char* often : {"", "+"}) {
                faults.append(u"%1:error=%2:when=%3%4"_s.arg(QString::fromLatin1(call.name))
                                  .arg(QString::fromLatin1(error))
                                  .arg(call.number)
                                  .arg(QString::fromLatin1(often)));
            }
        }
    }
    QVERIFY(!faults.isEmpty());
    qsizetype struck = 0;
    qsizetype copiesLeft = 0;
    const QStringList sample = support::sampleOf(
        faults, support::numberFromEnvironment("QUORVEL_FAULT_CASES", kStandardFaults), kSeed);
    for (const QString& fault : sample) {
        InterruptedStage stage(scenario, otherFolder());
        const tracedrun::Result result = tracedrun::run(stage.arguments, {fault});
        struck += result.injected > 0 ? 1 : 0;
        QVERIFY2(result.exitCode >= 0, qPrintable(fault + u": crashed, or did not end"_s));
        QVERIFY2(stage.loss().isEmpty(), qPrintable(fault + u": "_s + stage.loss()));
        // A copy is left where it cannot be looked at, or not be removed, from then on.
        const QString problem = stage.goOn(fault.endsWith(u'+'));
        copiesLeft += stage.copiesLeft;
        QVERIFY2(problem.isEmpty(), qPrintable(fault + u": "_s + problem));
        // A folder's time is not restored where a file of it had to be skipped.
        const bool concernsTimes = fault.startsWith(u"utimensat"_s);
        const QStringList after = stage.picture();
        const QString title = fault + u'\n' + after.join(u'\n');
        QVERIFY2(concernsTimes ? withoutTimes(after) == withoutTimes(stage.before)
                               : withoutFolderTimes(after) == withoutFolderTimes(stage.before),
                 qPrintable(title));
    }
    // How often a program looks around differs a little, so the last such call may not come.
    QVERIFY2(struck >= sample.size() / 2, qPrintable(QString::number(struck)));
    std::printf("%s: %s faults, %s copies left\n", qPrintable(scenario.name()),
                qPrintable(QString::number(sample.size())),
                qPrintable(QString::number(copiesLeft)));
}

void ActionFaultsTest::runEndsWhereNoFolderExists()
{
    const InterruptedStage whole({}, otherFolder());
    const QString newFolder = whole.arguments.at(2) + QDir::tempPath();
    const int number =
        tracedrun::run(whole.arguments, {}).numberOfCall("statx", newFolder.toUtf8());
    QVERIFY(number > 0);
    const InterruptedStage stage({}, otherFolder());
    const tracedrun::Result result =
        tracedrun::run(stage.arguments, {u"statx:error=ENOENT:when=%1+"_s.arg(number)});
    QCOMPARE(result.exitCode, 1);
    QCOMPARE(stage.picture(), stage.before);
}

void ActionFaultsTest::killLosesNothing_data()
{
    addScenarios();
}

void ActionFaultsTest::killLosesNothing()
{
    QFETCH(const Scenario, scenario);
    const QList<tracedrun::Call> sample = support::sampleOf(
        callsOf(scenario), support::numberFromEnvironment("QUORVEL_FAULT_KILLS", kStandardKills),
        kSeed);
    QVERIFY(!sample.isEmpty());
    for (const tracedrun::Call& call : sample) {
        InterruptedStage stage(scenario, otherFolder());
        const QString kill =
            u"%1:signal=KILL:when=%2"_s.arg(QString::fromLatin1(call.name)).arg(call.number);
        const tracedrun::Result result = tracedrun::run(stage.arguments, {kill});
        const QString title = kill + u", "_s + QString::fromUtf8(call.line) + u": "_s;
        QVERIFY2(result.killed, qPrintable(title));
        QVERIFY2(stage.loss().isEmpty(), qPrintable(title + stage.loss()));
        const QString problem = stage.goOn();
        QVERIFY2(problem.isEmpty(), qPrintable(title + problem));
        QVERIFY2(stage.picture() == stage.before,
                 qPrintable(title + u'\n' + stage.picture().join(u'\n') + u"\nbefore:\n"_s +
                            stage.before.join(u'\n')));
    }
    std::printf("%s: %s kills\n", qPrintable(scenario.name()),
                qPrintable(QString::number(sample.size())));
}

QTEST_GUILESS_MAIN(ActionFaultsTest)
#include "tst_actionfaults.moc"
