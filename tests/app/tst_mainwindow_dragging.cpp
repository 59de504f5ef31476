#include "support/windowfixture.h"

#include <QDir>
#include <QDragEnterEvent>
#include <QDragLeaveEvent>
#include <QDragMoveEvent>
#include <QDropEvent>
#include <QFile>
#include <QListWidget>
#include <QMimeData>
#include <QTest>

using namespace Qt::StringLiterals;

/** Folders that are dropped on the lists of the groups, and the key that takes them out. */
class TestMainWindowDragging : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void droppedFoldersAreListed_data();
    void droppedFoldersAreListed();
    void anythingElseIsRefused_data();
    void anythingElseIsRefused();
    void foldersAreNeverMoved();
    void nothingIsLeftOfADragThatLeaves();
    void deleteKeyTakesTheCurrentFolderOut_data();
    void deleteKeyTakesTheCurrentFolderOut();
    void deleteKeyWithoutACurrentFolderChangesNothing();
    void aHeldDeleteKeyTakesOneFolder();

private:
    QListWidget* list(char group) const
    {
        return fixture->find<QListWidget>(group == 'A' ? "folderListGroupA" : "folderListGroupB");
    }
    QUrl url(const QString& name) const
    {
        return QUrl::fromLocalFile(m_files->filePath(name));
    }
    bool drop(char group, const QMimeData& data, Qt::DropActions actions = Qt::CopyAction);

    std::unique_ptr<QTemporaryDir> m_files;
    std::unique_ptr<WindowFixture> fixture;
    Qt::DropAction m_action = Qt::IgnoreAction;
};

void TestMainWindowDragging::init()
{
    m_files = std::make_unique<QTemporaryDir>();
    for (const QString& name : {u"one"_s, u"two #2 100%"_s, u"target"_s}) {
        QVERIFY(QDir(m_files->path()).mkdir(name));
    }
    QVERIFY(QFile::link(m_files->filePath(u"target"_s), m_files->filePath(u"link"_s)));
    QVERIFY(QFile(m_files->filePath(u"a.mp3"_s)).open(QFile::WriteOnly));
    fixture = std::make_unique<WindowFixture>();
    fixture->open();
}

void TestMainWindowDragging::cleanup()
{
    fixture.reset();
    m_files.reset();
}

/** Drags \a data over a list and lets it go there. Returns whether it was taken at each step. */
bool TestMainWindowDragging::drop(char group, const QMimeData& data, Qt::DropActions actions)
{
    QWidget* viewport = list(group)->viewport();
    const QPoint place = viewport->rect().center();
    QDragEnterEvent enter(place, actions, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(viewport, &enter);
    QDragMoveEvent move(place, actions, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(viewport, &move);
    if (!enter.isAccepted() || !move.isAccepted()) {
        QDragLeaveEvent leave;
        QApplication::sendEvent(viewport, &leave);
        return false;
    }
    QDropEvent drop(place, actions, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(viewport, &drop);
    m_action = drop.dropAction();
    return drop.isAccepted();
}

void TestMainWindowDragging::droppedFoldersAreListed_data()
{
    QTest::addColumn<char>("group");
    QTest::newRow("Group A") << 'A';
    QTest::newRow("Group B") << 'B';
}

void TestMainWindowDragging::droppedFoldersAreListed()
{
    QFETCH(const char, group);
    QVERIFY(list(group)->viewport()->acceptDrops());
    QMimeData data;
    // One with the slash that some file managers add, and a link, which stays one.
    data.setUrls({url(u"one/"_s), url(u"two #2 100%"_s), url(u"link"_s)});
    const QStringList expected{m_files->filePath(u"one"_s), m_files->filePath(u"two #2 100%"_s),
                               m_files->filePath(u"link"_s)};
    QVERIFY(drop(group, data));
    QCOMPARE(fixture->folders(group), expected);
    QCOMPARE(fixture->folders(group == 'A' ? 'B' : 'A'), QStringList());
    // As with the button, a folder may be listed twice.
    QVERIFY(drop(group, data));
    QCOMPARE(fixture->folders(group), expected + expected);
}

void TestMainWindowDragging::anythingElseIsRefused_data()
{
    QTest::addColumn<QStringList>("names"); // of files; "https" for a page
    QTest::addColumn<QString>("text");
    QTest::newRow("a file") << QStringList{u"a.mp3"_s} << QString();
    QTest::newRow("a file among folders") << QStringList{u"one"_s, u"a.mp3"_s} << QString();
    QTest::newRow("what does not exist") << QStringList{u"gone"_s} << QString();
    QTest::newRow("a page") << QStringList{u"https"_s} << QString();
    QTest::newRow("text") << QStringList() << u"/tmp"_s;
    QTest::newRow("nothing") << QStringList() << QString();
}

void TestMainWindowDragging::anythingElseIsRefused()
{
    QFETCH(const QStringList, names);
    QFETCH(const QString, text);
    QMimeData data;
    QList<QUrl> urls;
    for (const QString& name : names) {
        urls.append(name == u"https"_s ? QUrl(u"https://quorvel.example/"_s) : url(name));
    }
    if (!urls.isEmpty()) {
        data.setUrls(urls);
    }
    if (!text.isEmpty()) {
        data.setText(text);
    }
    QVERIFY(!drop('A', data));
    QCOMPARE(fixture->folders('A'), QStringList());
}

void TestMainWindowDragging::foldersAreNeverMoved()
{
    QMimeData data;
    data.setUrls({url(u"one"_s)});
    QVERIFY(drop('A', data, Qt::MoveAction | Qt::CopyAction | Qt::LinkAction));
    QCOMPARE(m_action, Qt::CopyAction);
    QVERIFY(drop('A', data, Qt::MoveAction | Qt::LinkAction));
    QCOMPARE(m_action, Qt::LinkAction);
    QVERIFY(!drop('A', data, Qt::MoveAction));
    QCOMPARE(fixture->folders('A').size(), 2);
}

void TestMainWindowDragging::nothingIsLeftOfADragThatLeaves()
{
    QMimeData folder;
    folder.setUrls({url(u"one"_s)});
    QWidget* viewport = list('A')->viewport();
    QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &folder, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(viewport, &enter);
    QVERIFY(enter.isAccepted());
    QDragLeaveEvent leave;
    QApplication::sendEvent(viewport, &leave);
    QMimeData file;
    file.setUrls({url(u"a.mp3"_s)});
    QVERIFY(!drop('A', file));
    QCOMPARE(fixture->folders('A'), QStringList());
}

void TestMainWindowDragging::deleteKeyTakesTheCurrentFolderOut_data()
{
    droppedFoldersAreListed_data();
}

void TestMainWindowDragging::deleteKeyTakesTheCurrentFolderOut()
{
    QFETCH(const char, group);
    fixture->window().activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&fixture->window()));
    for (const char* folder : {"/1", "/2", "/3"}) {
        fixture->listFolder('A', QString::fromLatin1(folder));
        fixture->listFolder('B', QString::fromLatin1(folder));
    }
    list(group)->setFocus();
    list(group)->setCurrentRow(1);
    QTest::keyClick(list(group), Qt::Key_Delete);
    QCOMPARE(fixture->folders(group), QStringList({u"/1"_s, u"/3"_s}));
    QCOMPARE(fixture->folders(group == 'A' ? 'B' : 'A').size(), 3);
}

void TestMainWindowDragging::deleteKeyWithoutACurrentFolderChangesNothing()
{
    fixture->window().activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&fixture->window()));
    fixture->listFolder('A', u"/1"_s);
    list('A')->setFocus();
    list('A')->setCurrentRow(-1);
    QTest::keyClick(list('A'), Qt::Key_Delete);
    QCOMPARE(fixture->folders('A'), QStringList(u"/1"_s));
}

void TestMainWindowDragging::aHeldDeleteKeyTakesOneFolder()
{
    fixture->window().activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&fixture->window()));
    for (const char* folder : {"/1", "/2", "/3"}) {
        fixture->listFolder('A', QString::fromLatin1(folder));
    }
    list('A')->setFocus();
    list('A')->setCurrentRow(0);
    for (const bool repeated : {false, true, true}) {
        qt_sendShortcutOverrideEvent(list('A'), 0, Qt::Key_Delete, Qt::NoModifier, QString(),
                                     repeated);
    }
    QCOMPARE(fixture->folders('A'), QStringList({u"/2"_s, u"/3"_s}));
}

QTEST_MAIN(TestMainWindowDragging)
#include "tst_mainwindow_dragging.moc"
