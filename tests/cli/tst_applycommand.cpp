#include "actions/resultfixture.h"
#include "actions/stage.h"
#include "cliprocess.h"
#include "fileops/filefixture.h"

#include <QFile>
#include <QTest>

#include <memory>

namespace {

const QString one = QStringLiteral("a/one.mp3");

} // namespace

/** The commands apply and undo of the real program. */
class ApplyCommandTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void withoutYesEverythingIsShownAndNothingDone();
    void moveAndUndoReportTheirSums();
    void journalIsBesideTheResult();
    void resultComesFromStandardInput();
    void optionsLetMoreBeMoved();
    void exitStatusIsThatOfTheWorstOutcome_data();
    void exitStatusIsThatOfTheWorstOutcome();
    void namesCannotSteerTheTerminal();

private:
    QString result() const
    {
        return m_stage->besides(u"found.json"_qs);
    }
    CliRun apply(const QStringList& further) const
    {
        return runCli(QStringList{u"apply"_qs, result(), u"--move-to"_qs, m_stage->target()} +
                      further);
    }
    bool writeResult() const
    {
        return (!QFile::exists(result()) || QFile::remove(result())) &&
               filefixture::write(result(), m_stage->result());
    }
    QByteArray music(const QString& name) const
    {
        return m_stage->music(name).toUtf8();
    }

    std::unique_ptr<Stage> m_stage;
};

void ApplyCommandTest::init()
{
    m_stage = std::make_unique<Stage>();
    QVERIFY(writeResult());
}

void ApplyCommandTest::withoutYesEverythingIsShownAndNothingDone()
{
    QJsonObject lessAlike = m_stage->duplicate(one);
    lessAlike[u"similarity"_qs] = 82;
    m_stage->setGroups({resultfixture::groupObject(m_stage->reference(u"one.flac"_qs), {lessAlike}),
                        resultfixture::groupObject(m_stage->reference(u"two.flac"_qs),
                                                   {m_stage->duplicate(u"a/two.mp3"_qs)})});
    QVERIFY(writeResult());
    const QStringList before = m_stage->wholePicture();
    const CliRun run = apply({});
    QCOMPARE(run.errors, "");
    QCOMPARE(run.output, "left alone: " + music(one) + "\n    only 82 % like " +
                             music(u"one.flac"_qs) + "\nwould be moved: " + music(u"a/two.mp3"_qs) +
                             "\n    to " + m_stage->moved(u"a/two.mp3"_qs).toUtf8() +
                             "\n    100 % like " + music(u"two.flac"_qs) +
                             ", which stays\n"
                             "1 would be moved, 12 bytes; 1 left alone\n"
                             "Nothing was done. With --yes the files are moved.\n");
    QCOMPARE(run.exitStatus, 1);
    QCOMPARE(m_stage->wholePicture(), before);
}

void ApplyCommandTest::moveAndUndoReportTheirSums()
{
    const QStringList before = m_stage->picture();
    const CliRun moved = apply({u"--yes"_qs});
    QCOMPARE(moved.errors, "");
    QCOMPARE(moved.output, "3 moved, 34 bytes; 0 left alone\n");
    QCOMPARE(moved.exitStatus, 0);
    QCOMPARE(filefixture::read(m_stage->moved(one)), "one, smaller");
    const CliRun again = apply({u"--yes"_qs});
    QCOMPARE(again.output, "0 moved, 0 bytes; 0 left alone; 3 moved before\n");
    QCOMPARE(again.exitStatus, 0);
    const CliRun undone = runCli({u"undo"_qs, m_stage->journal(), u"--verbose"_qs});
    QCOMPARE(undone.errors, "");
    QVERIFY(undone.output.contains("moved back: " + music(one) + '\n'));
    QVERIFY(undone.output.endsWith("\n3 moved back, 34 bytes; 0 left alone\n"));
    QCOMPARE(undone.exitStatus, 0);
    QCOMPARE(m_stage->picture(), before);
}

void ApplyCommandTest::journalIsBesideTheResult()
{
    QCOMPARE(apply({u"--yes"_qs}).exitStatus, 0);
    QVERIFY(QFile::exists(result() + u".journal"_qs));
    const QString other = m_stage->besides(u"other.journal"_qs);
    QCOMPARE(runCli({u"undo"_qs, m_stage->journal()}).exitStatus, 0);
    QCOMPARE(apply({u"--yes"_qs, u"--journal"_qs, other}).exitStatus, 0);
    QCOMPARE(runCli({u"undo"_qs, other}).output, "3 moved back, 34 bytes; 0 left alone\n");
}

void ApplyCommandTest::resultComesFromStandardInput()
{
    QProcess process;
    process.setStandardInputFile(result());
    startCli(process, {u"apply"_qs, u"-"_qs, u"--move-to"_qs, m_stage->target(), u"--yes"_qs,
                       u"--journal"_qs, m_stage->journal()});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.readAllStandardOutput(), "3 moved, 34 bytes; 0 left alone\n");
    QCOMPARE(process.exitCode(), 0);
}

void ApplyCommandTest::optionsLetMoreBeMoved()
{
    QJsonObject reference = m_stage->reference(u"one.flac"_qs);
    reference[u"partial"_qs] = true;
    QJsonObject duplicate = m_stage->duplicate(one);
    duplicate[u"similarity"_qs] = 80;
    duplicate[u"durationMs"_qs] = 5000;
    duplicate[u"featureless"_qs] = true;
    m_stage->setGroups({resultfixture::groupObject(reference, {duplicate})});
    QVERIFY(writeResult());
    const QStringList options{u"--min-similarity=80"_qs, u"--even-short"_qs,
                              u"--even-featureless"_qs, u"--even-partial"_qs};
    for (const QString& each : options) {
        QStringList fewer = options;
        fewer.removeOne(each);
        const CliRun run = apply(fewer);
        QVERIFY2(run.output.contains("1 left alone") && run.exitStatus == 1,
                 run.output.constData());
    }
    QVERIFY(apply(options).output.contains("1 would be moved, 12 bytes; 0 left alone"));
}

void ApplyCommandTest::exitStatusIsThatOfTheWorstOutcome_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("message");
    const auto row = [](const char* name, const QStringList& arguments, int status,
                        const QByteArray& message) {
        QTest::newRow(name) << arguments << status << message;
    };
    // RESULT, TARGET and MUSIC are replaced by the names.
    const QString moveTo = u"--move-to"_qs;
    row("all moved", {u"apply"_qs, u"RESULT"_qs, moveTo, u"TARGET"_qs, u"--yes"_qs}, 0, "");
    row("no folder", {u"apply"_qs, u"RESULT"_qs}, 2, "--move-to FOLDER is needed.");
    row("empty folder", {u"apply"_qs, u"RESULT"_qs, u"--move-to="_qs}, 2,
        "--move-to FOLDER is needed.");
    row("no result", {u"apply"_qs, moveTo, u"TARGET"_qs}, 2, "One RESULT is needed.");
    row("two results", {u"apply"_qs, u"RESULT"_qs, u"RESULT"_qs, moveTo, u"TARGET"_qs}, 2,
        "One RESULT is needed.");
    row("standard input without a journal", {u"apply"_qs, u"-"_qs, moveTo, u"TARGET"_qs}, 2,
        "needs --journal FILE");
    row("no number", {u"apply"_qs, u"RESULT"_qs, moveTo, u"TARGET"_qs, u"--min-similarity=x"_qs}, 2,
        "takes a whole number");
    row("result missing", {u"apply"_qs, u"/nothing.json"_qs, moveTo, u"TARGET"_qs}, 3,
        "The result cannot be read");
    row("result is a folder", {u"apply"_qs, u"MUSIC"_qs, moveTo, u"TARGET"_qs}, 3,
        "The result cannot be read");
    row("result is no result", {u"apply"_qs, u"MUSIC/one.flac"_qs, moveTo, u"TARGET"_qs}, 3,
        "not a JSON object");
    row("folder was searched", {u"apply"_qs, u"RESULT"_qs, moveTo, u"MUSIC/new"_qs}, 3,
        "Choose a folder outside.");
    row("no journal", {u"undo"_qs}, 2, "One JOURNAL is needed.");
    row("journal missing", {u"undo"_qs, u"/nothing.journal"_qs}, 3, "The journal /nothing");
    row("journal is music", {u"undo"_qs, u"MUSIC/one.flac"_qs}, 3, "not a journal");
    row("unknown option", {u"undo"_qs, u"--yes"_qs, u"j"_qs}, 2, "Unknown option 'yes'.");
}

void ApplyCommandTest::exitStatusIsThatOfTheWorstOutcome()
{
    QFETCH(const QStringList, arguments);
    QFETCH(const int, status);
    QFETCH(const QByteArray, message);
    const QStringList before = m_stage->wholePicture();
    QStringList replaced = arguments;
    replaced.replaceInStrings(u"RESULT"_qs, result())
        .replaceInStrings(u"TARGET"_qs, m_stage->target())
        .replaceInStrings(u"MUSIC"_qs, m_stage->besides(u"music"_qs));
    const CliRun run = runCli(replaced);
    QVERIFY2(run.errors.contains(message), run.errors.constData());
    QCOMPARE(run.exitStatus, status);
    if (status > 1) {
        QCOMPARE(m_stage->wholePicture(), before);
        QCOMPARE(run.output, "");
    }
}

void ApplyCommandTest::namesCannotSteerTheTerminal()
{
    const QString name = u"a/\x1b[2Jone.mp3"_qs;
    QVERIFY(QFile::rename(m_stage->music(one), m_stage->music(name)));
    m_stage->setGroups({resultfixture::groupObject(m_stage->reference(u"one.flac"_qs),
                                                   {m_stage->duplicate(name)})});
    QVERIFY(writeResult());
    const CliRun run = apply({});
    QVERIFY(run.output.contains("?[2Jone.mp3"));
    QVERIFY(!run.output.contains('\x1b'));
}

QTEST_GUILESS_MAIN(ApplyCommandTest)
#include "tst_applycommand.moc"
