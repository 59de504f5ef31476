#include "actions/actionerror.h"
#include "actions/userlock.h"
#include "fileops/filefixture.h"

#include "resultfixture.h"
#include "stage.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>

#include <dlfcn.h>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

using filefixture::read;
using filefixture::write;
using resultfixture::groupObject;

namespace {

/** What happens to other files, in the same moment, when a file has been renamed. */
std::function<void(const QByteArray& from)> afterRename;

bool link(const QString& target, const QString& name)
{
    return ::symlink(QFile::encodeName(target).constData(), QFile::encodeName(name).constData()) ==
           0;
}

bool hardLink(const QString& target, const QString& name)
{
    return ::link(QFile::encodeName(target).constData(), QFile::encodeName(name).constData()) == 0;
}

const QString one = QStringLiteral("a/one.mp3");
const QString oneSmall = QStringLiteral("a/b/one.ogg");
const QString two = QStringLiteral("a/two.mp3");
const QString firstReference = QStringLiteral("one.flac");
const QString secondReference = QStringLiteral("two.flac");

} // namespace

extern "C" int renameat2(int fromFolder, const char* from, int toFolder, const char* to,
                         unsigned flags) noexcept
{
    using Function = int(int, const char*, int, const char*, unsigned);
    auto* const original = reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, "renameat2"));
    const int result = original(fromFolder, from, toFolder, to, flags);
    if (result == 0 && afterRename) {
        afterRename(from);
    }
    return result;
}

/** Moving the duplicates of a result. */
class ApplyTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void eachFileGoesBelowTheFolderUnderItsOwnPath();
    void planChangesNothing();
    void newFoldersAreTheOwnersAlone();
    void fileIsLeftAlone_data();
    void fileIsLeftAlone();
    void ordinaryUserLeavesAloneWhatMayNotBeMoved_data();
    void ordinaryUserLeavesAloneWhatMayNotBeMoved();
    void nameInTheFolderIsNeverTaken_data();
    void nameInTheFolderIsNeverTaken();
    void secondReferenceCountsWhereTheFirstDoesNot();
    void hardLinksStayOneFileWhereTheyAreMoved();
    void hardLinkIsNotSeparatedByAnotherFileSystem();
    void folderThatHoldsOrIsHeldIsRefused_data();
    void folderThatHoldsOrIsHeldIsRefused();
    void searchedFolderThatIsMountedInTheFolderIsRecognised();
    void fileGoesBackWhenAReferenceVanishesWithIt_data();
    void fileGoesBackWhenAReferenceVanishesWithIt();
    void fileThatCannotGoBackEndsTheRun();
    void onlyOneRunAtATime();
    void stopEndsBetweenFilesAndTheSameCallContinues();

private:
    std::unique_ptr<Stage> m_stage;
};

void ApplyTest::init()
{
    m_stage = std::make_unique<Stage>();
}

void ApplyTest::cleanup()
{
    afterRename = nullptr;
    m_stage.reset();
}

void ApplyTest::eachFileGoesBelowTheFolderUnderItsOwnPath()
{
    const Performance performance = m_stage->apply();
    QCOMPARE(performance.text(), u"3 moved, 0 before, 0 left alone"_s);
    QCOMPARE(performance.counts.bytes, 12 + 10 + 12);
    QCOMPARE(read(m_stage->moved(one)), "one, smaller");
    QCOMPARE(read(m_stage->moved(oneSmall)), "one, small");
    QCOMPARE(read(m_stage->moved(two)), "two, smaller");
    for (const QString& name : {one, oneSmall, two}) {
        QVERIFY(!QFile::exists(m_stage->music(name)));
    }
    QVERIFY(QFile::exists(m_stage->music(firstReference)));
    QVERIFY(QFile::exists(m_stage->music(secondReference)));
}

void ApplyTest::planChangesNothing()
{
    const QStringList before = m_stage->wholePicture();
    const Performance performance = m_stage->plan();
    QCOMPARE(performance.text(), u"3 moved, 0 before, 0 left alone"_s);
    QCOMPARE(performance.files.at(0).destination, m_stage->moved(one));
    QCOMPARE(performance.files.at(0).reference, m_stage->music(firstReference));
    QCOMPARE(m_stage->wholePicture(), before);
}

void ApplyTest::newFoldersAreTheOwnersAlone()
{
    m_stage->apply();
    for (const QString& folder : {m_stage->target(), QFileInfo(m_stage->moved(one)).path()}) {
        struct stat status = {};
        QCOMPARE(::stat(QFile::encodeName(folder).constData(), &status), 0);
        QCOMPARE(status.st_mode & 0777U, 0700U);
    }
}

void ApplyTest::fileIsLeftAlone_data()
{
    QTest::addColumn<std::function<bool(Stage&)>>("prepare");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char* name, const QString& reason,
                        const std::function<bool(Stage&)>& prepare) {
        QTest::newRow(name) << prepare << reason;
    };
    row("gone", u"no longer there"_s,
        [](const Stage& stage) { return QFile::remove(stage.music(one)); });
    row("longer", u"changed since the search"_s, [](const Stage& stage) {
        QFile file(stage.music(one));
        return file.open(QFile::Append) && file.write("!") == 1;
    });
    row("of another time", u"changed since the search"_s, [](const Stage& stage) {
        return resultfixture::setTime(stage.music(one), 1'600'000'000, 0);
    });
    row("a link to a copy", u"a link"_s, [](const Stage& stage) {
        return QFile::rename(stage.music(one), stage.besides(u"copy"_s)) &&
               link(stage.besides(u"copy"_s), stage.music(one));
    });
    row("a folder", u"not a file"_s, [](const Stage& stage) {
        return QFile::remove(stage.music(one)) && QDir().mkdir(stage.music(one));
    });
    row("a pipe", u"not a file"_s, [](const Stage& stage) {
        return QFile::remove(stage.music(one)) &&
               ::mkfifo(QFile::encodeName(stage.music(one)).constData(), 0600) == 0;
    });
    row("reference gone", u"its reference is missing"_s,
        [](const Stage& stage) { return QFile::remove(stage.music(firstReference)); });
    row("reference changed", u"its reference is missing, changed"_s, [](const Stage& stage) {
        return resultfixture::setTime(stage.music(firstReference), 1'600'000'000, 0);
    });
    row("reference is a pipe", u"its reference is missing"_s, [](const Stage& stage) {
        return QFile::remove(stage.music(firstReference)) &&
               ::mkfifo(QFile::encodeName(stage.music(firstReference)).constData(), 0600) == 0;
    });
    row("hard link of its reference", u"another name of a reference"_s, [](Stage& stage) {
        const bool made = QFile::remove(stage.music(one)) &&
                          hardLink(stage.music(firstReference), stage.music(one));
        stage.setGroups({groupObject(stage.reference(firstReference), {stage.duplicate(one)})});
        return made;
    });
    row("reference is a link to it", u"another name of a reference"_s, [](Stage& stage) {
        const bool made = QFile::remove(stage.music(firstReference)) &&
                          link(stage.music(one), stage.music(firstReference));
        stage.setGroups({groupObject(stage.reference(firstReference), {stage.duplicate(one)})});
        return made;
    });
    row("hard link of another group's reference", u"another name of a reference"_s,
        [](Stage& stage) {
            const bool made = QFile::remove(stage.music(one)) &&
                              hardLink(stage.music(secondReference), stage.music(one));
            stage.setGroups({groupObject(stage.reference(firstReference), {stage.duplicate(one)}),
                             groupObject(stage.reference(secondReference), {})});
            return made;
        });
    row("reference of another group", u"the reference of other files"_s, [](Stage& stage) {
        stage.setGroups({groupObject(stage.reference(firstReference), {stage.duplicate(one)}),
                         groupObject(stage.reference(one), {stage.duplicate(oneSmall)})});
        return true;
    });
    row("reference leads into the folder", u"its reference is in the folder"_s, [](Stage& stage) {
        const bool made = QDir().mkdir(stage.target()) &&
                          QFile::rename(stage.music(firstReference), stage.target(u"kept"_s)) &&
                          link(stage.target(u"kept"_s), stage.music(firstReference));
        stage.setGroups({groupObject(stage.reference(firstReference), {stage.duplicate(one)})});
        return made;
    });
    row("name taken", u"its name is taken"_s,
        [](const Stage& stage) { return resultfixture::writeFile(stage.moved(one), "another"); });
    row("name taken by a dead link", u"its name is taken"_s, [](const Stage& stage) {
        return QDir().mkpath(QFileInfo(stage.moved(one)).path()) &&
               link(u"nowhere"_s, stage.moved(one));
    });
    row("a file in the way", u"in the way"_s, [](const Stage& stage) {
        return resultfixture::writeFile(QFileInfo(stage.moved(one)).path(), "a file");
    });
    row("a link in the way", u"in the way"_s, [](const Stage& stage) {
        const QString folder = QFileInfo(stage.moved(firstReference)).path();
        return QDir().mkpath(QFileInfo(folder).path()) && link(stage.music({}), folder);
    });
}

void ApplyTest::fileIsLeftAlone()
{
    QFETCH(const std::function<bool(Stage&)>, prepare);
    QFETCH(const QString, reason);
    QVERIFY(prepare(*m_stage));
    const auto stateOfAll = [this] {
        QStringList lines = m_stage->picture().filter(one);
        return lines + m_stage->picture().filter(u".flac"_s) +
               (QFile::exists(m_stage->target())
                    ? resultfixture::picture(m_stage->target()).filter(one)
                    : QStringList());
    };
    const QStringList before = stateOfAll();
    const QString planned = m_stage->plan().reasonOf(m_stage->music(one));
    const QString found = m_stage->apply().reasonOf(m_stage->music(one));
    QVERIFY2(found.contains(reason), qPrintable(found));
    QCOMPARE(planned, found);
    QCOMPARE(stateOfAll(), before);
}

void ApplyTest::ordinaryUserLeavesAloneWhatMayNotBeMoved_data()
{
    QTest::addColumn<QString>("forbidden");
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("reason");
    QTest::newRow("folder read-only") << u"a"_s << 0555 << u"could not be moved"_s;
    QTest::newRow("folder closed") << u"a"_s << 0 << u"cannot be looked at"_s;
    QTest::newRow("reference closed") << firstReference << 0 << u"its reference is missing"_s;
}

void ApplyTest::ordinaryUserLeavesAloneWhatMayNotBeMoved()
{
    QFETCH(const QString, forbidden);
    QFETCH(const int, mode);
    QFETCH(const QString, reason);
    ::chmod(QFile::encodeName(m_stage->besides({})).constData(), 0777);
    const QByteArray name = QFile::encodeName(m_stage->music(forbidden));
    QCOMPARE(::chmod(name.constData(), static_cast<mode_t>(mode)), 0);
    Performance performance;
    {
        // The lock is in the home of the tests' user.
        const QByteArray home = qgetenv("HOME");
        qputenv("HOME", QFile::encodeName(m_stage->besides({})));
        const filefixture::OrdinaryUser user;
        performance = m_stage->apply();
        qputenv("HOME", home);
    }
    QCOMPARE(::chmod(name.constData(), 0755), 0);
    const QString found = performance.reasonOf(m_stage->music(one));
    QVERIFY2(found.contains(reason), qPrintable(performance.failure + found));
    QCOMPARE(read(m_stage->music(one)), "one, smaller");
}

void ApplyTest::nameInTheFolderIsNeverTaken_data()
{
    QTest::addColumn<bool>("sameContent");
    QTest::newRow("another file") << false;
    QTest::newRow("a copy of it") << true;
}

void ApplyTest::nameInTheFolderIsNeverTaken()
{
    QFETCH(const bool, sameContent);
    QVERIFY(
        resultfixture::writeFile(m_stage->moved(one), sameContent ? "one, smaller" : "precious"));
    const QStringList before = m_stage->wholePicture().filter(m_stage->moved(one));
    QCOMPARE(m_stage->apply().text(), u"2 moved, 0 before, 1 left alone"_s);
    QCOMPARE(m_stage->wholePicture().filter(m_stage->moved(one)), before);
}

void ApplyTest::secondReferenceCountsWhereTheFirstDoesNot()
{
    QJsonObject lessAlike = m_stage->duplicate(one);
    lessAlike[u"similarity"_s] = 70;
    m_stage->setGroups(
        {groupObject(m_stage->reference(firstReference), {lessAlike}),
         groupObject(m_stage->reference(secondReference), {m_stage->duplicate(one)})});
    const Performance performance = m_stage->apply();
    QCOMPARE(performance.text(), u"1 moved, 0 before, 0 left alone"_s);
    QCOMPARE(performance.files.constFirst().reference, m_stage->music(secondReference));
}

void ApplyTest::hardLinksStayOneFileWhereTheyAreMoved()
{
    QVERIFY(QFile::remove(m_stage->music(two)));
    QVERIFY(hardLink(m_stage->music(one), m_stage->music(two)));
    m_stage->setGroups({groupObject(m_stage->reference(firstReference),
                                    {m_stage->duplicate(one), m_stage->duplicate(two)})});
    QCOMPARE(m_stage->apply().text(), u"2 moved, 0 before, 0 left alone"_s);
    struct stat first = {};
    struct stat second = {};
    QCOMPARE(::stat(QFile::encodeName(m_stage->moved(one)).constData(), &first), 0);
    QCOMPARE(::stat(QFile::encodeName(m_stage->moved(two)).constData(), &second), 0);
    QCOMPARE(first.st_ino, second.st_ino);
}

void ApplyTest::hardLinkIsNotSeparatedByAnotherFileSystem()
{
    const filefixture::SecondFileSystem other;
    if (!other.isAvailable()) {
        QSKIP(filefixture::kNoSecondFileSystem);
    }
    QVERIFY(hardLink(m_stage->music(one), m_stage->besides(u"another name"_s)));
    m_stage->setTarget(other.filePath(u"target"_s));
    const Performance performance = m_stage->apply();
    QCOMPARE(performance.text(), u"2 moved, 0 before, 1 left alone"_s);
    const QString reason = performance.reasonOf(m_stage->music(one));
    QVERIFY2(reason.contains(u"hard links"_s), qPrintable(reason));
    QCOMPARE(read(m_stage->moved(two)), "two, smaller");
    QCOMPARE(m_stage->undo().text(), u"2 moved, 0 before, 0 left alone"_s);
    QVERIFY(!QFile::exists(m_stage->target()));
}

void ApplyTest::folderThatHoldsOrIsHeldIsRefused_data()
{
    QTest::addColumn<QString>("folder");
    QTest::newRow("the folder that was searched") << u"music"_s;
    QTest::newRow("below it") << u"music/a"_s;
    QTest::newRow("below it, to be made") << u"music/new/folder"_s;
    QTest::newRow("around it") << u"."_s;
    QTest::newRow("root") << u"/"_s;
    QTest::newRow("link to it") << u"link"_s;
    QTest::newRow("below a link to it") << u"link/new"_s;
    QTest::newRow("up from beside it") << u"elsewhere/../music"_s;
    QTest::newRow("up from a link's target") << u"inner/../new"_s;
    QTest::newRow("a file") << u"file"_s;
    QTest::newRow("mounted") << u"mounted/new"_s;
}

void ApplyTest::folderThatHoldsOrIsHeldIsRefused()
{
    QFETCH(const QString, folder);
    QVERIFY(link(m_stage->besides(u"music"_s), m_stage->besides(u"link"_s)));
    QVERIFY(link(m_stage->besides(u"music/a"_s), m_stage->besides(u"inner"_s)));
    QVERIFY(QDir().mkdir(m_stage->besides(u"elsewhere"_s)));
    QVERIFY(write(m_stage->besides(u"file"_s), "file"));
    const QString mountPoint = m_stage->besides(u"mounted"_s);
    const filefixture::SecondFileSystem mountsOfItsOwn;
    if (folder.startsWith(u"mounted"_s)) {
        QVERIFY(QDir().mkdir(mountPoint));
        if (::geteuid() != 0 ||
            ::mount(QFile::encodeName(m_stage->besides(u"music"_s)).constData(),
                    QFile::encodeName(mountPoint).constData(), nullptr, MS_BIND, nullptr) != 0) {
            QSKIP("mounting is not allowed here");
        }
    }
    m_stage->setTarget(folder.startsWith(u'/') ? folder : m_stage->besides(folder));
    const QStringList before = m_stage->wholePicture();
    const Performance performance = m_stage->apply();
    const Performance planned = m_stage->plan();
    const QStringList after = m_stage->wholePicture();
    ::umount2(QFile::encodeName(mountPoint).constData(), MNT_DETACH);
    QVERIFY2(!performance.failure.isEmpty(), qPrintable(performance.text()));
    QCOMPARE(planned.failure, performance.failure);
    QCOMPARE(after, before);
}

void ApplyTest::searchedFolderThatIsMountedInTheFolderIsRecognised()
{
    const filefixture::SecondFileSystem mountsOfItsOwn;
    const QString mountPoint = m_stage->target(u"again"_s);
    QVERIFY(QDir().mkpath(mountPoint));
    if (::geteuid() != 0 ||
        ::mount(QFile::encodeName(m_stage->besides(u"music"_s)).constData(),
                QFile::encodeName(mountPoint).constData(), nullptr, MS_BIND, nullptr) != 0) {
        QSKIP("mounting is not allowed here");
    }
    // The search was over the mount, whose path is in the folder.
    const QByteArray json = resultfixture::resultJson({mountPoint}, {});
    QString failure;
    try {
        actions::planApply(actions::readSearchResult(json),
                           {m_stage->target(), m_stage->journal(), {}},
                           [](const actions::HandledFile&) {}, {});
    } catch (const actions::ActionError& error) {
        failure = error.message;
    }
    ::umount2(QFile::encodeName(mountPoint).constData(), MNT_DETACH);
    QVERIFY2(failure.contains(u"contains a folder"_s), qPrintable(failure));
}

void ApplyTest::fileGoesBackWhenAReferenceVanishesWithIt_data()
{
    QTest::addColumn<QString>("vanishing");
    QTest::newRow("its own") << firstReference;
    QTest::newRow("another one of its size") << u"same.flac"_s;
}

/** As with a mount that shows the file under a name that no comparison recognises. */
void ApplyTest::fileGoesBackWhenAReferenceVanishesWithIt()
{
    QFETCH(const QString, vanishing);
    const QString reference = m_stage->music(vanishing);
    if (!QFile::exists(reference)) {
        QVERIFY(write(reference, "one, smaller"));
    }
    resultfixture::ageFolders(m_stage->music({}));
    QList<QJsonObject> groups{groupObject(m_stage->reference(firstReference),
                                          {m_stage->duplicate(one), m_stage->duplicate(oneSmall)})};
    if (vanishing != firstReference) {
        groups.append(groupObject(m_stage->reference(vanishing), {m_stage->duplicate(two)}));
    }
    m_stage->setGroups(groups);
    const QStringList before = m_stage->picture();
    const QString hidden = m_stage->besides(u"hidden"_s);
    // cppcheck-suppress danglingLifetime ; cleanup() empties it
    afterRename = [&](const QByteArray& from) {
        if (from == QFile::encodeName(m_stage->music(one))) {
            // Not by a function that renames.
            QVERIFY(hardLink(reference, hidden) && QFile::remove(reference));
        } else if (from == QFile::encodeName(m_stage->moved(one))) {
            QVERIFY(hardLink(hidden, reference));
        }
    };
    const Performance performance = m_stage->apply();
    const QString reason = performance.reasonOf(m_stage->music(one));
    QVERIFY2(reason.contains(u"vanished with it"_s), qPrintable(performance.text() + reason));
    QCOMPARE(performance.counts.leftAlone, 1);
    QCOMPARE(read(m_stage->music(one)), "one, smaller");
    QVERIFY(!QFile::exists(m_stage->moved(one)));
    QCOMPARE(m_stage->undo().failure, QString());
    resultfixture::setTime(m_stage->music({}), 0, 0);
    QStringList after = m_stage->picture();
    QStringList expected = before;
    after.removeFirst(); // the folder of the reference, which this test changed
    expected.removeFirst();
    QCOMPARE(after, expected);
}

void ApplyTest::fileThatCannotGoBackEndsTheRun()
{
    // cppcheck-suppress danglingLifetime ; cleanup() empties it
    afterRename = [&](const QByteArray& from) {
        if (from == QFile::encodeName(m_stage->music(one))) {
            QVERIFY(QFile::remove(m_stage->music(firstReference)));
            QVERIFY(write(m_stage->music(one), "newcomer"));
        }
    };
    const Performance performance = m_stage->apply();
    QVERIFY2(performance.failure.contains(u"could not be moved back"_s),
             qPrintable(performance.text()));
    QVERIFY(performance.files.isEmpty());
    QCOMPARE(read(m_stage->moved(one)), "one, smaller");
    QCOMPARE(read(m_stage->music(two)), "two, smaller");
    QVERIFY(QFile::remove(m_stage->music(one)));
    QCOMPARE(m_stage->undo().text(), u"1 moved, 0 before, 0 left alone"_s);
    QCOMPARE(read(m_stage->music(one)), "one, smaller");
}

void ApplyTest::onlyOneRunAtATime()
{
    const QStringList before = m_stage->wholePicture();
    {
        const actions::UserLock lock;
        QVERIFY(m_stage->apply().failure.contains(u"is running"_s));
        QVERIFY(m_stage->undo().failure.contains(u"is running"_s));
        QCOMPARE(m_stage->wholePicture(), before);
        QCOMPARE(m_stage->plan().failure, QString());
    }
    QCOMPARE(m_stage->apply().text(), u"3 moved, 0 before, 0 left alone"_s);
}

void ApplyTest::stopEndsBetweenFilesAndTheSameCallContinues()
{
    const QStringList before = m_stage->picture();
    const Performance first = m_stage->applyAndStopAfter(1);
    QCOMPARE(first.text(), u"1 moved, 0 before, 0 left alone"_s);
    QVERIFY(first.counts.isInterrupted);
    QCOMPARE(m_stage->plan().text(), u"2 moved, 1 before, 0 left alone"_s);
    const Performance second = m_stage->apply();
    QCOMPARE(second.text(), u"2 moved, 1 before, 0 left alone"_s);
    QVERIFY(!second.counts.isInterrupted);

    const Performance back = m_stage->undoAndStopAfter(1);
    QCOMPARE(back.text(), u"1 moved, 0 before, 0 left alone"_s);
    QVERIFY(back.counts.isInterrupted);
    QCOMPARE(m_stage->undo().text(), u"2 moved, 0 before, 0 left alone"_s);
    QCOMPARE(m_stage->picture(), before);
    QVERIFY(!QFile::exists(m_stage->target()));
}

QTEST_GUILESS_MAIN(ApplyTest)
#include "tst_apply.moc"
