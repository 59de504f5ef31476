#include "actions/actionerror.h"
#include "actions/apply.h"
#include "fileops/filefixture.h"

#include "resultfixture.h"
#include "stage.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTest>

#include <functional>
#include <memory>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

using filefixture::read;
using filefixture::write;

namespace {

const QString one = QStringLiteral("a/one.mp3");
const QString two = QStringLiteral("a/two.mp3");

/** A folder as a FUSE program shows it by another path, for as long as this lives. */
class ShownFolder
{
public:
    ShownFolder(const QString& program, const QString& folder, const QString& path)
        : m_path(path)
        , m_isMounted(::geteuid() == 0 && m_mountsOfItsOwn.isAvailable() && QDir().mkdir(path) &&
                      QProcess::execute(program, {folder, path}) == 0)
    {
    }
    ~ShownFolder()
    {
        if (m_isMounted) {
            ::umount2(QFile::encodeName(m_path).constData(), MNT_DETACH);
        }
    }
    Q_DISABLE_COPY_MOVE(ShownFolder)

    bool isAvailable() const
    {
        return m_isMounted;
    }

private:
    const filefixture::SecondFileSystem m_mountsOfItsOwn;
    const QString m_path;
    const bool m_isMounted;
};

} // namespace

/** Moving back what was moved, and the journal that makes it possible. */
class UndoTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void everythingIsAsItWas_data();
    void everythingIsAsItWas();
    void everythingIsAsItWasWhereAProgramShowsIt_data();
    void everythingIsAsItWasWhereAProgramShowsIt();
    void secondUndoDoesNothing();
    void fileIsLeftAlone_data();
    void fileIsLeftAlone();
    void changedFileComesBackAsItIs();
    void folderThatOthersChangedKeepsItsTime();
    void onlyEmptyFoldersThatWereMadeAreRemoved();
    void applyAfterUndoMovesAgain();
    void journalThatCannotBeWrittenStopsEverything_data();
    void journalThatCannotBeWrittenStopsEverything();
    void otherFileIsNoJournal_data();
    void otherFileIsNoJournal();
    void journalOfAnotherResultOrFolderIsRefused();
    void damagedJournalIsRefusedWithItsLine_data();
    void damagedJournalIsRefusedWithItsLine();
    void runThatWasCutOffContinues_data();
    void runThatWasCutOffContinues();

private:
    void requireThatUndoRestoresEverything() const;
    /** The bytes of the journal of a whole run. */
    QByteArray appliedJournal() const
    {
        m_stage->apply();
        return read(m_stage->journal());
    }
    bool writeJournal(const QByteArray& bytes) const
    {
        return (!QFile::exists(m_stage->journal()) || QFile::remove(m_stage->journal())) &&
               write(m_stage->journal(), bytes);
    }

    std::unique_ptr<Stage> m_stage;
};

void UndoTest::init()
{
    m_stage = std::make_unique<Stage>();
}

void UndoTest::everythingIsAsItWas_data()
{
    QTest::addColumn<bool>("toOtherFileSystem");
    QTest::newRow("on one file system") << false;
    QTest::newRow("between file systems") << true;
}

void UndoTest::everythingIsAsItWas()
{
    QFETCH(const bool, toOtherFileSystem);
    const filefixture::SecondFileSystem other;
    if (toOtherFileSystem) {
        if (!other.isAvailable()) {
            QSKIP(filefixture::kNoSecondFileSystem);
        }
        m_stage->setTarget(other.filePath(u"target"_s));
    }
    requireThatUndoRestoresEverything();
}

void UndoTest::everythingIsAsItWasWhereAProgramShowsIt_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<bool>("isTarget");
    for (const char* program : {"bindfs", "mergerfs"}) {
        QTest::addRow("%s, the music", program) << QString::fromLatin1(program) << false;
        QTest::addRow("%s, a folder in it to move to", program)
            << QString::fromLatin1(program) << true;
    }
}

void UndoTest::everythingIsAsItWasWhereAProgramShowsIt()
{
    QFETCH(const QString, program);
    QFETCH(const bool, isTarget);
    const QString music = m_stage->besides(u"music"_s);
    const QString other = m_stage->besides(u"other"_s);
    if (isTarget) {
        m_stage->setTarget(other + u"/a/target"_s);
    } else {
        QVERIFY(QDir().rename(music, other));
    }
    const ShownFolder shown(program, isTarget ? music : other, isTarget ? other : music);
    if (!shown.isAvailable()) {
        QSKIP(qPrintable(program + u" is not installed, or mounting is not allowed here"_s));
    }
    requireThatUndoRestoresEverything();
}

void UndoTest::requireThatUndoRestoresEverything() const
{
    const QStringList before = m_stage->picture();
    QCOMPARE(m_stage->apply().text(), u"3 moved, 0 before, 0 left alone"_s);
    QVERIFY(m_stage->picture() != before);
    QCOMPARE(m_stage->undo().text(), u"3 moved, 0 before, 0 left alone"_s);
    QCOMPARE(m_stage->picture(), before);
    QVERIFY(!QFile::exists(m_stage->target()));
}

void UndoTest::secondUndoDoesNothing()
{
    m_stage->apply();
    m_stage->undo();
    QVERIFY(QDir().mkdir(m_stage->target()));
    const QStringList before = m_stage->wholePicture();
    QCOMPARE(m_stage->undo().text(), u"0 moved, 0 before, 0 left alone"_s);
    QCOMPARE(m_stage->wholePicture(), before);
}

void UndoTest::fileIsLeftAlone_data()
{
    QTest::addColumn<std::function<bool(Stage&)>>("prepare");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char* name, const QString& reason,
                        const std::function<bool(Stage&)>& prepare) {
        QTest::newRow(name) << prepare << reason;
    };
    row("place taken", u"its place is taken"_s,
        [](const Stage& stage) { return write(stage.music(one), "newcomer"); });
    row("place taken by an equal file", u"its place is taken"_s,
        [](const Stage& stage) { return write(stage.music(one), "one, smaller"); });
    row("place taken by a dead link", u"its place is taken"_s,
        [](const Stage& stage) { return QFile::link(u"nowhere"_s, stage.music(one)); });
    row("gone from the folder", u"neither there nor in"_s,
        [](const Stage& stage) { return QFile::remove(stage.moved(one)); });
    row("a link in its stead", u"no longer a file"_s, [](const Stage& stage) {
        return QFile::rename(stage.moved(one), stage.besides(u"copy"_s)) &&
               QFile::link(stage.besides(u"copy"_s), stage.moved(one));
    });
    row("its folder gone", u"its folder is gone"_s, [](const Stage& stage) {
        return QFile::rename(stage.music(u"a"_s), stage.music(u"elsewhere"_s));
    });
}

void UndoTest::fileIsLeftAlone()
{
    QFETCH(const std::function<bool(Stage&)>, prepare);
    QFETCH(const QString, reason);
    m_stage->setGroups(
        {resultfixture::groupObject(m_stage->reference(u"one.flac"_s), {m_stage->duplicate(one)})});
    QCOMPARE(m_stage->apply().counts.moved, 1);
    QVERIFY(prepare(*m_stage));
    const QStringList before = m_stage->picture() + resultfixture::picture(m_stage->target());
    const Performance performance = m_stage->undo();
    QCOMPARE(performance.text(), u"0 moved, 0 before, 1 left alone"_s);
    const QString found = performance.reasonOf(m_stage->music(one));
    QVERIFY2(found.contains(reason), qPrintable(found));
    if (found.contains(u"neither"_s)) {
        return; // the folders are empty then, and go
    }
    QCOMPARE(m_stage->picture() + resultfixture::picture(m_stage->target()), before);
}

void UndoTest::changedFileComesBackAsItIs()
{
    m_stage->apply();
    {
        QFile file(m_stage->moved(one));
        QVERIFY(file.open(QFile::Append) && file.write(", tagged") == 8);
    }
    QVERIFY(resultfixture::setTime(m_stage->moved(one), 1'700'000'000, 5));
    QCOMPARE(m_stage->undo().text(), u"3 moved, 0 before, 0 left alone"_s);
    QCOMPARE(read(m_stage->music(one)), "one, smaller, tagged");
    QCOMPARE(QFileInfo(m_stage->music(one)).lastModified().toSecsSinceEpoch(), 1'700'000'000);
}

void UndoTest::folderThatOthersChangedKeepsItsTime()
{
    m_stage->apply();
    QVERIFY(write(m_stage->music(u"a/cover.jpg"_s), "cover"));
    QVERIFY(resultfixture::setTime(m_stage->music(u"a"_s), 1'700'000'000, 5));
    const QDateTime begin = QFileInfo(m_stage->music(u"a"_s)).lastModified();
    QCOMPARE(m_stage->undo().text(), u"3 moved, 0 before, 0 left alone"_s);
    QVERIFY(QFileInfo(m_stage->music(u"a"_s)).lastModified() > begin);
}

void UndoTest::onlyEmptyFoldersThatWereMadeAreRemoved()
{
    QVERIFY(QDir().mkdir(m_stage->target()));
    m_stage->apply();
    const QString inner = QFileInfo(m_stage->moved(u"a/b/one.ogg"_s)).path();
    QVERIFY(write(inner + u"/note.txt"_s, "mine"));
    QCOMPARE(m_stage->undo().text(), u"3 moved, 0 before, 0 left alone"_s);
    QCOMPARE(read(inner + u"/note.txt"_s), "mine");
    QVERIFY(QFile::remove(inner + u"/note.txt"_s));
    QCOMPARE(m_stage->undo().text(), u"0 moved, 0 before, 0 left alone"_s);
    QVERIFY(QFile::exists(m_stage->target()));
    QCOMPARE(filefixture::entries(m_stage->target()), QStringList());
}

void UndoTest::applyAfterUndoMovesAgain()
{
    const QStringList before = m_stage->picture();
    m_stage->apply();
    m_stage->undo();
    QCOMPARE(m_stage->apply().text(), u"3 moved, 0 before, 0 left alone"_s);
    QCOMPARE(m_stage->undo().text(), u"3 moved, 0 before, 0 left alone"_s);
    QCOMPARE(m_stage->picture(), before);
}

void UndoTest::journalThatCannotBeWrittenStopsEverything_data()
{
    QTest::addColumn<QString>("kind");
    for (const QString& kind : {u"folder in its place"_s, u"pipe in its place"_s,
                                u"no folder for it"_s, u"device that is full"_s}) {
        QTest::newRow(qPrintable(kind)) << kind;
    }
}

void UndoTest::journalThatCannotBeWrittenStopsEverything()
{
    QFETCH(const QString, kind);
    actions::ApplyRequest request{m_stage->target(), m_stage->journal(), {}};
    const filefixture::SecondFileSystem small("4k");
    if (kind.startsWith(u"folder"_s)) {
        QVERIFY(QDir().mkdir(m_stage->journal()));
    } else if (kind.startsWith(u"pipe"_s)) {
        QVERIFY(::mkfifo(QFile::encodeName(m_stage->journal()).constData(), 0600) == 0);
    } else if (kind.startsWith(u"no"_s)) {
        request.journalFile = m_stage->besides(u"missing/journal"_s);
    } else {
        if (!small.isAvailable()) {
            QSKIP("a small file system cannot be mounted here");
        }
        QFile filler(small.filePath(u"filler"_s));
        QVERIFY(filler.open(QFile::WriteOnly));
        QVERIFY(filler.write(QByteArray(4096, 'x')) == 4096 && filler.flush());
        request.journalFile = small.filePath(u"journal"_s);
    }
    const QStringList before = m_stage->wholePicture();
    QString failure;
    try {
        actions::apply(actions::readSearchResult(m_stage->result()), request,
                       [](const actions::HandledFile&) {}, {});
    } catch (const actions::ActionError& error) {
        failure = error.message;
    }
    QVERIFY2(failure.contains(u"The journal"_s), qPrintable(failure));
    QCOMPARE(m_stage->wholePicture(), before);
}

void UndoTest::otherFileIsNoJournal_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("text") << QByteArray("a song\n");
    QTest::newRow("text without an end") << QByteArray("a song");
    QTest::newRow("noise") << filefixture::noise(1000);
    QTest::newRow("the result") << Stage().result();
    QTest::newRow("another program's lines")
        << QByteArray("{\"folder\":\"/m\",\"journal\":\"x\"}\n");
    QTest::newRow("later version") << QByteArray(
        "{\"folder\":\"/m\",\"journal\":\"quorvel-cli\",\"result\":\"\",\"version\":2}\n");
}

void UndoTest::otherFileIsNoJournal()
{
    QFETCH(const QByteArray, content);
    QVERIFY(writeJournal(content));
    const QStringList before = m_stage->wholePicture();
    for (const QString& failure :
         {m_stage->apply().failure, m_stage->undo().failure, m_stage->plan().failure}) {
        QVERIFY2(failure.contains(u"The journal"_s), qPrintable(failure));
    }
    QCOMPARE(m_stage->wholePicture(), before);
}

void UndoTest::journalOfAnotherResultOrFolderIsRefused()
{
    m_stage->apply();
    const QStringList before = m_stage->wholePicture();
    const QString target = m_stage->target();
    m_stage->setTarget(target + u"2"_s);
    QVERIFY(m_stage->apply().failure.contains(u"another result or folder"_s));
    m_stage->setTarget(target);
    m_stage->setGroups({});
    QVERIFY(m_stage->apply().failure.contains(u"another result or folder"_s));
    QCOMPARE(m_stage->wholePicture(), before);
}

void UndoTest::damagedJournalIsRefusedWithItsLine_data()
{
    QTest::addColumn<QByteArray>("from");
    QTest::addColumn<QByteArray>("to");
    QTest::newRow("no JSON") << QByteArray("{\"event\":\"moved\"")
                             << QByteArray("{\"event\":moved");
    QTest::newRow("unknown event")
        << QByteArray("\"event\":\"moved\"") << QByteArray("\"event\":\"eaten\"");
    QTest::newRow("number of no file") << QByteArray("\"event\":\"moved\",\"folder")
                                       << QByteArray("\"event\":\"moved\",\"number\":9,\"folder");
    QTest::newRow("elsewhere") << QByteArray("\"to\":\"") << QByteArray("\"to\":\"/elsewhere");
    QTest::newRow("goes up") << QByteArray("\"from\":\"") << QByteArray("\"from\":\"/..");
    QTest::newRow("time") << QByteArray("\"modified\":\"") << QByteArray("\"modified\":\"x");
}

void UndoTest::damagedJournalIsRefusedWithItsLine()
{
    QFETCH(const QByteArray, from);
    QFETCH(const QByteArray, to);
    QByteArray journal = appliedJournal();
    const qsizetype place = journal.indexOf(from);
    QVERIFY(place > 0);
    const auto line = journal.first(place).count('\n') + 1;
    journal.replace(place, from.size(), to);
    if (to.contains("number")) {
        // The first of two equal keys counts in some readers, the last in others.
        const qsizetype second = journal.indexOf(",\"number\":1}", place);
        journal.replace(second, 12, "}");
    }
    QVERIFY(writeJournal(journal));
    const QStringList before = m_stage->wholePicture();
    const QString failure = m_stage->undo().failure;
    QVERIFY2(failure.contains(u"line %1:"_s.arg(line)), qPrintable(failure));
    QCOMPARE(m_stage->wholePicture(), before);
}

void UndoTest::runThatWasCutOffContinues_data()
{
    QTest::addColumn<bool>("undo");
    QTest::newRow("apply again") << false;
    QTest::newRow("undo") << true;
}

/** The last line is missing or incomplete, as after a kill while it was written. */
void UndoTest::runThatWasCutOffContinues()
{
    QFETCH(const bool, undo);
    for (const double part : {0.0, 0.01, 0.5, 0.99}) {
        m_stage = std::make_unique<Stage>();
        const QStringList before = m_stage->picture();
        const QByteArray journal = appliedJournal();
        const QStringList after = m_stage->picture();
        const qsizetype lastLine = journal.lastIndexOf('\n', journal.size() - 2) + 1;
        const auto left =
            static_cast<qsizetype>(static_cast<double>(journal.size() - lastLine) * part);
        QVERIFY(writeJournal(journal.first(lastLine + left)));
        const Performance performance = undo ? m_stage->undo() : m_stage->apply();
        const QString undone = u"3 moved, 0 before, 0 left alone"_s;
        const QString applied = u"0 moved, 3 before, 0 left alone"_s;
        QCOMPARE(performance.text(), undo ? undone : applied);
        // cppcheck-suppress duplicateExpressionTernary ; the picture is taken twice
        QCOMPARE(m_stage->picture(), undo ? before : after);
        m_stage->undo();
        QCOMPARE(m_stage->picture(), before);
        QVERIFY(!QFile::exists(m_stage->target()));
    }
}

QTEST_GUILESS_MAIN(UndoTest)
#include "tst_undo.moc"
