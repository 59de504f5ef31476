#include "actions/resultfixture.h"
#include "actions/stage.h"
#include "cliprocess.h"
#include "fileops/filefixture.h"
#include "schemavalidation.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <memory>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

const QString one = QStringLiteral("a/one.mp3");

/** The kinds of lines in \a journal, in the order in which they first come. */
QStringList kindsOfLines(const QByteArray& journal)
{
    QStringList kinds;
    for (const QByteArray& line : journal.trimmed().split('\n')) {
        kinds.append(QJsonDocument::fromJson(line)[u"event"_s].toString(u"head"_s));
    }
    kinds.removeDuplicates();
    return kinds;
}

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
    void everyLineOfTheJournalFollowsTheSchema();
    void lineOfAFileThatStaysFollowsTheSchema();
    void resultComesFromStandardInput();
    void optionsLetMoreBeMoved();
    void exitStatusIsThatOfTheWorstOutcome_data();
    void exitStatusIsThatOfTheWorstOutcome();
    void namesCannotSteerTheTerminal();

private:
    QString result() const
    {
        return m_stage->besides(u"found.json"_s);
    }
    CliRun apply(const QStringList& further) const
    {
        return runCli(QStringList{u"apply"_s, result(), u"--move-to"_s, m_stage->target()} +
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
    lessAlike[u"similarity"_s] = 82;
    m_stage->setGroups({resultfixture::groupObject(m_stage->reference(u"one.flac"_s), {lessAlike}),
                        resultfixture::groupObject(m_stage->reference(u"two.flac"_s),
                                                   {m_stage->duplicate(u"a/two.mp3"_s)})});
    QVERIFY(writeResult());
    const QStringList before = m_stage->wholePicture();
    const CliRun run = apply({});
    QCOMPARE(run.errors, "");
    QCOMPARE(run.output, "left alone: " + music(one) + "\n    only 82 % like " +
                             music(u"one.flac"_s) + "\nwould be moved: " + music(u"a/two.mp3"_s) +
                             "\n    to " + m_stage->moved(u"a/two.mp3"_s).toUtf8() +
                             "\n    100 % like " + music(u"two.flac"_s) +
                             ", which stays\n"
                             "1 would be moved, 12 bytes; 1 left alone\n"
                             "Nothing was done. With --yes the files are moved.\n");
    QCOMPARE(run.exitStatus, 1);
    QCOMPARE(m_stage->wholePicture(), before);
}

void ApplyCommandTest::moveAndUndoReportTheirSums()
{
    const QStringList before = m_stage->picture();
    const CliRun moved = apply({u"--yes"_s});
    QCOMPARE(moved.errors, "");
    QCOMPARE(moved.output, "3 moved, 34 bytes; 0 left alone\n");
    QCOMPARE(moved.exitStatus, 0);
    QCOMPARE(filefixture::read(m_stage->moved(one)), "one, smaller");
    const CliRun again = apply({u"--yes"_s});
    QCOMPARE(again.output, "0 moved, 0 bytes; 0 left alone; 3 moved before\n");
    QCOMPARE(again.exitStatus, 0);
    const CliRun undone = runCli({u"undo"_s, m_stage->journal(), u"--verbose"_s});
    QCOMPARE(undone.errors, "");
    QVERIFY(undone.output.contains("moved back: " + music(one) + '\n'));
    QVERIFY(undone.output.endsWith("\n3 moved back, 34 bytes; 0 left alone\n"));
    QCOMPARE(undone.exitStatus, 0);
    QCOMPARE(m_stage->picture(), before);
}

void ApplyCommandTest::journalIsBesideTheResult()
{
    QCOMPARE(apply({u"--yes"_s}).exitStatus, 0);
    QVERIFY(QFile::exists(result() + u".journal"_s));
    const QString other = m_stage->besides(u"other.journal"_s);
    QCOMPARE(runCli({u"undo"_s, m_stage->journal()}).exitStatus, 0);
    QCOMPARE(apply({u"--yes"_s, u"--journal"_s, other}).exitStatus, 0);
    QCOMPARE(runCli({u"undo"_s, other}).output, "3 moved back, 34 bytes; 0 left alone\n");
}

void ApplyCommandTest::everyLineOfTheJournalFollowsTheSchema()
{
    QStringList kinds{u"head"_s, u"folder"_s, u"move"_s, u"folderMade"_s, u"moved"_s};
    QCOMPARE(apply({u"--yes"_s}).exitStatus, 0);
    const QByteArray applied = filefixture::read(m_stage->journal());
    QCOMPARE(kindsOfLines(applied), kinds);
    QCOMPARE(journalObjection(applied), "");

    kinds += {u"return"_s, u"returned"_s, u"folderRemoved"_s};
    QCOMPARE(runCli({u"undo"_s, m_stage->journal()}).exitStatus, 0);
    const QByteArray undone = filefixture::read(m_stage->journal());
    QCOMPARE(kindsOfLines(undone), kinds);
    QCOMPARE(journalObjection(undone), "");
    QVERIFY(!journalObjection(QByteArray(undone).replace("\"returned\"", "\"lost\"")).isEmpty());
}

void ApplyCommandTest::lineOfAFileThatStaysFollowsTheSchema()
{
    const filefixture::SecondFileSystem other;
    if (!other.isAvailable()) {
        QSKIP(filefixture::kNoSecondFileSystem);
    }
    // It cannot be moved to another file system without being separated from its other name.
    QCOMPARE(::link(QFile::encodeName(m_stage->music(one)).constData(),
                    QFile::encodeName(m_stage->besides(u"other"_s)).constData()),
             0);
    m_stage->setTarget(other.filePath(u"target"_s));
    QCOMPARE(apply({u"--yes"_s}).exitStatus, 1);
    const QByteArray journal = filefixture::read(m_stage->journal());
    QVERIFY(kindsOfLines(journal).contains(u"stayed"_s));
    QCOMPARE(journalObjection(journal), "");
}

void ApplyCommandTest::resultComesFromStandardInput()
{
    QProcess process;
    process.setStandardInputFile(result());
    startCli(process, {u"apply"_s, u"-"_s, u"--move-to"_s, m_stage->target(), u"--yes"_s,
                       u"--journal"_s, m_stage->journal()});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.readAllStandardOutput(), "3 moved, 34 bytes; 0 left alone\n");
    QCOMPARE(process.exitCode(), 0);
}

void ApplyCommandTest::optionsLetMoreBeMoved()
{
    QJsonObject reference = m_stage->reference(u"one.flac"_s);
    reference[u"partial"_s] = true;
    QJsonObject duplicate = m_stage->duplicate(one);
    duplicate[u"similarity"_s] = 80;
    duplicate[u"durationMs"_s] = 5000;
    duplicate[u"featureless"_s] = true;
    m_stage->setGroups({resultfixture::groupObject(reference, {duplicate})});
    QVERIFY(writeResult());
    const QStringList options{u"--min-similarity=80"_s, u"--even-short"_s, u"--even-featureless"_s,
                              u"--even-partial"_s};
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
    const QString moveTo = u"--move-to"_s;
    row("all moved", {u"apply"_s, u"RESULT"_s, moveTo, u"TARGET"_s, u"--yes"_s}, 0, "");
    row("no folder", {u"apply"_s, u"RESULT"_s}, 2, "--move-to FOLDER is needed.");
    row("empty folder", {u"apply"_s, u"RESULT"_s, u"--move-to="_s}, 2,
        "--move-to FOLDER is needed.");
    row("no result", {u"apply"_s, moveTo, u"TARGET"_s}, 2, "One RESULT is needed.");
    row("two results", {u"apply"_s, u"RESULT"_s, u"RESULT"_s, moveTo, u"TARGET"_s}, 2,
        "One RESULT is needed.");
    row("standard input without a journal", {u"apply"_s, u"-"_s, moveTo, u"TARGET"_s}, 2,
        "needs --journal FILE");
    row("no number", {u"apply"_s, u"RESULT"_s, moveTo, u"TARGET"_s, u"--min-similarity=x"_s}, 2,
        "takes a whole number");
    row("result missing", {u"apply"_s, u"/nothing.json"_s, moveTo, u"TARGET"_s}, 3,
        "The result cannot be read");
    row("result is a folder", {u"apply"_s, u"MUSIC"_s, moveTo, u"TARGET"_s}, 3,
        "The result cannot be read");
    row("result is no result", {u"apply"_s, u"MUSIC/one.flac"_s, moveTo, u"TARGET"_s}, 3,
        "not a JSON object");
    row("folder was searched", {u"apply"_s, u"RESULT"_s, moveTo, u"MUSIC/new"_s}, 3,
        "Choose a folder outside.");
    row("no journal", {u"undo"_s}, 2, "One JOURNAL is needed.");
    row("journal missing", {u"undo"_s, u"/nothing.journal"_s}, 3, "The journal /nothing");
    row("journal is music", {u"undo"_s, u"MUSIC/one.flac"_s}, 3, "not a journal");
    row("unknown option", {u"undo"_s, u"--yes"_s, u"j"_s}, 2, "Unknown option 'yes'.");
}

void ApplyCommandTest::exitStatusIsThatOfTheWorstOutcome()
{
    QFETCH(const QStringList, arguments);
    QFETCH(const int, status);
    QFETCH(const QByteArray, message);
    const QStringList before = m_stage->wholePicture();
    QStringList replaced = arguments;
    replaced.replaceInStrings(u"RESULT"_s, result())
        .replaceInStrings(u"TARGET"_s, m_stage->target())
        .replaceInStrings(u"MUSIC"_s, m_stage->besides(u"music"_s));
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
    const QString name = u"a/\x1b[2Jone.mp3"_s;
    QVERIFY(QFile::rename(m_stage->music(one), m_stage->music(name)));
    m_stage->setGroups({resultfixture::groupObject(m_stage->reference(u"one.flac"_s),
                                                   {m_stage->duplicate(name)})});
    QVERIFY(writeResult());
    const CliRun run = apply({});
    QVERIFY(run.output.contains("?[2Jone.mp3"));
    QVERIFY(!run.output.contains('\x1b'));
}

QTEST_GUILESS_MAIN(ApplyCommandTest)
#include "tst_applycommand.moc"
