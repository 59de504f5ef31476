#include "fileops/deletedialog.h"
#include "support/media.h"
#include "support/windowfixture.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMediaPlayer>
#include <QPointer>
#include <QPushButton>
#include <QTest>

namespace {

/** The open file operation dialog, or null. */
deleteDialog* openDialog()
{
    const QWidgetList widgets = QApplication::topLevelWidgets();
    for (QWidget* widget : widgets) {
        auto* dialog = qobject_cast<deleteDialog*>(widget);
        if (dialog != nullptr && dialog->isVisible()) {
            return dialog;
        }
    }
    return nullptr;
}

template <typename T> T* child(const deleteDialog* dialog, const char* name)
{
    return dialog->findChild<T*>(QString::fromLatin1(name));
}

bool press(const deleteDialog* dialog, const char* name)
{
    auto* button = child<QPushButton>(dialog, name);
    if (!button->isVisible() || !button->isEnabled()) {
        return false;
    }
    QTest::mouseClick(button, Qt::LeftButton);
    return true;
}

/** "x" or "-" for the tick of each row, then its text without \a prefix. */
QStringList rows(const deleteDialog* dialog, const QString& prefix)
{
    QStringList result;
    const auto* list = child<QListWidget>(dialog, "filesList");
    for (int row = 0; row < list->count(); ++row) {
        const QListWidgetItem* item = list->item(row);
        result.append(
            (item->checkState() == Qt::Checked ? QStringLiteral("x ") : QStringLiteral("- ")) +
            item->text().remove(prefix));
    }
    return result;
}

QString countLabel(const deleteDialog* dialog)
{
    return child<QLabel>(dialog, "deleteCountLabel")->text();
}

} // namespace

class TestMainWindowFileOps : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void withoutDuplicatesNoButtonOpensAnything();
    void eachModeSetsUpItsDialog_data();
    void eachModeSetsUpItsDialog();
    void oneDuplicateIsCountedInTheSingular();
    void duplicatesAreListedInKeyOrderAllTicked();
    void vanishedDuplicatesAreLeftOut();
    void withEveryDuplicateVanishedTheListIsEmpty();
    void sameButtonKeepsTheDialogAnotherReplacesIt();
    void previewIsStoppedAndItsFileLetGo();
    void closingReleasesTheDialog_data();
    void closingReleasesTheDialog();
    void deletedFilesStayInTheTreeButNotInTheNextDialog();
    void deletingRemovesWhatIsTickedOnly();
    void linkToTheReferenceIsUntickedWithTheReason();
    void folderReachedByTwoPathsOffersNoOnlyCopy();
    void duplicateOfAMissingReferenceIsUntickedWithTheReason();
    void resettingDiscardsTheDialog_data();
    void resettingDiscardsTheDialog();
    void windowMayGoWhileAnOperationRuns_data();
    void windowMayGoWhileAnOperationRuns();

private:
    QString path(const QString& relative) const
    {
        return m_music->path() + relative;
    }
    void addCopy(const QString& relative) const;
    void findDuplicates() const;
    deleteDialog* open(const char* button) const;

    std::unique_ptr<testmedia::MediaFolder> m_music;
    std::unique_ptr<WindowFixture> fixture;
};

void TestMainWindowFileOps::init()
{
    m_music = std::make_unique<testmedia::MediaFolder>();
    testmedia::Tune tune;
    tune.seconds = 4;
    tune.sampleRateHz = 11025;
    tune.channels = 1;
    m_music->makeTune(QStringLiteral("a/one.wav"), tune);
    QDir(m_music->path()).mkpath(QStringLiteral("b"));
    fixture = std::make_unique<WindowFixture>();
    fixture->open();
}

void TestMainWindowFileOps::cleanup()
{
    fixture.reset();
    m_music.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(openDialog(), nullptr);
}

void TestMainWindowFileOps::addCopy(const QString& relative) const
{
    QVERIFY(QFile::copy(path(QStringLiteral("/a/one.wav")), path(relative)));
}

/** Compares folder a with folder b. */
void TestMainWindowFileOps::findDuplicates() const
{
    fixture->listFolder('A', path(QStringLiteral("/a")));
    fixture->listFolder('B', path(QStringLiteral("/b")));
    QVERIFY(fixture->findDuplicates());
}

deleteDialog* TestMainWindowFileOps::open(const char* button) const
{
    const bool clicked = fixture->click(button);
    // One of another mode was replaced just now and waits for its end.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return clicked ? openDialog() : nullptr;
}

void TestMainWindowFileOps::withoutDuplicatesNoButtonOpensAnything()
{
    for (const char* button : {"deleteFilesButtonMainwindow", "moveFilesButtonMainwindow",
                               "copyFilesButtonMainwindow"}) {
        QVERIFY(fixture->click(button));
        QCOMPARE(openDialog(), nullptr);
    }
    findDuplicates();
    QCOMPARE(fixture->countText(), QStringLiteral("No duplicate audio files found."));
    QVERIFY(fixture->click("deleteFilesButtonMainwindow"));
    QCOMPARE(openDialog(), nullptr);
}

void TestMainWindowFileOps::eachModeSetsUpItsDialog_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("instruction");
    QTest::addColumn<QString>("count");
    QTest::addColumn<QStringList>("shown");
    const QStringList allModes{QStringLiteral("cancelButton"), QStringLiteral("okButton")};
    QTest::newRow("deleteFilesButtonMainwindow")
        << QStringLiteral("delete") << QStringLiteral("Delete Duplicates")
        << QStringLiteral("Select files to delete:")
        << QStringLiteral("2 files marked for deletion")
        << (QStringList{QStringLiteral("deleteButton")} + allModes);
    QTest::newRow("moveFilesButtonMainwindow")
        << QStringLiteral("move") << QStringLiteral("Move Duplicates")
        << QStringLiteral("Select files to move:") << QStringLiteral("2 files marked for move")
        << (QStringList{QStringLiteral("dirSelector"), QStringLiteral("moveButton")} + allModes);
    QTest::newRow("copyFilesButtonMainwindow")
        << QStringLiteral("copy") << QStringLiteral("Copy Duplicates")
        << QStringLiteral("Select files to copy:") << QStringLiteral("2 files marked for copy")
        << (QStringList{QStringLiteral("dirSelector"), QStringLiteral("copyButton")} + allModes);
}

void TestMainWindowFileOps::eachModeSetsUpItsDialog()
{
    QFETCH(QString, operation);
    QFETCH(QString, title);
    QFETCH(QString, instruction);
    QFETCH(QString, count);
    QFETCH(QStringList, shown);
    addCopy(QStringLiteral("/b/copy 1.wav"));
    addCopy(QStringLiteral("/b/copy 2.wav"));
    findDuplicates();
    const deleteDialog* dialog = open(QTest::currentDataTag());
    QVERIFY(dialog != nullptr);
    QCOMPARE(dialog->operation, operation);
    QCOMPARE(dialog->windowTitle(), title);
    QCOMPARE(child<QLabel>(dialog, "deleteLabel")->text(), instruction);
    QCOMPARE(countLabel(dialog), count);
    QVERIFY(!dialog->isModal());
    QCOMPARE(dialog->parent(), nullptr);
    for (const char* name :
         {"deleteButton", "moveButton", "copyButton", "dirSelector", "okButton", "cancelButton"}) {
        QCOMPARE(child<QWidget>(dialog, name)->isVisible(), shown.contains(QLatin1String(name)));
    }
}

void TestMainWindowFileOps::oneDuplicateIsCountedInTheSingular()
{
    addCopy(QStringLiteral("/b/copy.wav"));
    findDuplicates();
    const deleteDialog* dialog = open("deleteFilesButtonMainwindow");
    QVERIFY(dialog != nullptr);
    QCOMPARE(rows(dialog, m_music->path()),
             (QStringList{QStringLiteral("x All"), QStringLiteral("x /b/copy.wav")}));
    QCOMPARE(countLabel(dialog), QStringLiteral("1 file marked for deletion"));
    // The dialog's own form of the label has no singular.
    auto* item = child<QListWidget>(dialog, "filesList")->item(1);
    item->setCheckState(Qt::Unchecked);
    QCOMPARE(countLabel(dialog), QStringLiteral("0 files marked for deletion"));
    item->setCheckState(Qt::Checked);
    QCOMPARE(countLabel(dialog), QStringLiteral("1 files marked for deletion"));
}

void TestMainWindowFileOps::duplicatesAreListedInKeyOrderAllTicked()
{
    testmedia::Tune other;
    other.seed = 5;
    other.seconds = 4;
    m_music->makeTune(QStringLiteral("a/0 other.wav"), other);
    m_music->makeTune(QStringLiteral("b/zz other.wav"), other);
    addCopy(QStringLiteral("/b/copy.wav"));
    findDuplicates();
    const deleteDialog* dialog = open("copyFilesButtonMainwindow");
    QVERIFY(dialog != nullptr);
    // By the reference files' paths, which are themselves not offered.
    QCOMPARE(rows(dialog, m_music->path()),
             (QStringList{QStringLiteral("x All"), QStringLiteral("x /b/zz other.wav"),
                          QStringLiteral("x /b/copy.wav")}));
}

void TestMainWindowFileOps::vanishedDuplicatesAreLeftOut()
{
    addCopy(QStringLiteral("/b/gone.wav"));
    addCopy(QStringLiteral("/b/there.wav"));
    findDuplicates();
    QVERIFY(QFile::remove(path(QStringLiteral("/b/gone.wav"))));
    const deleteDialog* dialog = open("deleteFilesButtonMainwindow");
    QCOMPARE(rows(dialog, m_music->path()),
             (QStringList{QStringLiteral("x All"), QStringLiteral("x /b/there.wav")}));
}

void TestMainWindowFileOps::withEveryDuplicateVanishedTheListIsEmpty()
{
    addCopy(QStringLiteral("/b/gone.wav"));
    findDuplicates();
    QVERIFY(QFile::remove(path(QStringLiteral("/b/gone.wav"))));
    const deleteDialog* dialog = open("moveFilesButtonMainwindow");
    QVERIFY(dialog != nullptr);
    QCOMPARE(rows(dialog, m_music->path()), QStringList());
    QCOMPARE(countLabel(dialog), QStringLiteral("0 files marked for move"));
}

void TestMainWindowFileOps::sameButtonKeepsTheDialogAnotherReplacesIt()
{
    addCopy(QStringLiteral("/b/copy 1.wav"));
    addCopy(QStringLiteral("/b/copy 2.wav"));
    findDuplicates();
    const QPointer<deleteDialog> copying = open("copyFilesButtonMainwindow");
    QVERIFY(copying != nullptr);
    child<QListWidget>(copying, "filesList")->item(1)->setCheckState(Qt::Unchecked);
    fixture->window().activateWindow();
    QVERIFY(fixture->click("copyFilesButtonMainwindow"));
    QCOMPARE(openDialog(), copying);
    QTRY_COMPARE(QApplication::activeWindow(), copying);
    QVERIFY(rows(copying, m_music->path()).at(1).startsWith(u'-'));

    QVERIFY(fixture->click("moveFilesButtonMainwindow"));
    QTRY_VERIFY(copying.isNull());
    const deleteDialog* moving = openDialog();
    QVERIFY(moving != nullptr);
    QCOMPARE(moving->operation, QStringLiteral("move"));
    QCOMPARE(countLabel(moving), QStringLiteral("2 files marked for move"));
}

void TestMainWindowFileOps::previewIsStoppedAndItsFileLetGo()
{
    addCopy(QStringLiteral("/b/copy.wav"));
    findDuplicates();
    auto* player = fixture->window().findChild<QMediaPlayer*>();
    player->setSource(QUrl::fromLocalFile(path(QStringLiteral("/b/copy.wav"))));
    QVERIFY(!player->source().isEmpty());
    QVERIFY(open("deleteFilesButtonMainwindow") != nullptr);
    QVERIFY(player->source().isEmpty());
    QCOMPARE(player->playbackState(), QMediaPlayer::StoppedState);
    QVERIFY(!fixture->find<QPushButton>("stopButton")->isEnabled());
}

void TestMainWindowFileOps::closingReleasesTheDialog_data()
{
    QTest::addColumn<QString>("button");
    QTest::newRow("Ok") << QStringLiteral("okButton");
    QTest::newRow("Cancel") << QStringLiteral("cancelButton");
    QTest::newRow("frame") << QString();
}

void TestMainWindowFileOps::closingReleasesTheDialog()
{
    QFETCH(QString, button);
    addCopy(QStringLiteral("/b/copy.wav"));
    findDuplicates();
    const QPointer<deleteDialog> dialog = open("deleteFilesButtonMainwindow");
    QVERIFY(dialog != nullptr);
    if (button.isEmpty()) {
        dialog->close();
    } else {
        QVERIFY(press(dialog, qPrintable(button)));
    }
    QTRY_VERIFY(dialog.isNull());
    QVERIFY(QFile::exists(path(QStringLiteral("/b/copy.wav"))));
    const deleteDialog* next = open("deleteFilesButtonMainwindow");
    QVERIFY(next != nullptr);
}

void TestMainWindowFileOps::deletedFilesStayInTheTreeButNotInTheNextDialog()
{
    addCopy(QStringLiteral("/b/copy 1.wav"));
    addCopy(QStringLiteral("/b/copy 2.wav"));
    findDuplicates();
    const QString tree = fixture->treeText();
    deleteDialog* dialog = open("deleteFilesButtonMainwindow");
    auto* list = child<QListWidget>(dialog, "filesList");
    const QString kept = list->item(2)->text();
    list->item(2)->setCheckState(Qt::Unchecked);
    QVERIFY(press(dialog, "deleteButton"));
    QTRY_COMPARE_WITH_TIMEOUT(countLabel(dialog), QStringLiteral("1 files deleted"),
                              WindowFixture::kHangGuardMs);
    QVERIFY(press(dialog, "okButton"));
    QCOMPARE(fixture->treeText(), tree);
    QTRY_COMPARE(openDialog(), nullptr);
    dialog = open("deleteFilesButtonMainwindow");
    QCOMPARE(rows(dialog, QString()),
             (QStringList{QStringLiteral("x All"), QStringLiteral("x ") + kept}));
}

void TestMainWindowFileOps::deletingRemovesWhatIsTickedOnly()
{
    for (int i = 0; i < 4; ++i) {
        addCopy(QStringLiteral("/b/copy %1.wav").arg(i));
    }
    findDuplicates();
    deleteDialog* dialog = open("deleteFilesButtonMainwindow");
    auto* list = child<QListWidget>(dialog, "filesList");
    QStringList kept;
    for (const int row : {2, 4}) {
        list->item(row)->setCheckState(Qt::Unchecked);
        kept.append(QFileInfo(list->item(row)->text()).fileName());
    }
    kept.sort();
    QVERIFY(press(dialog, "deleteButton"));
    QTRY_COMPARE_WITH_TIMEOUT(countLabel(dialog), QStringLiteral("2 files deleted"),
                              WindowFixture::kHangGuardMs);
    QCOMPARE(QDir(path(QStringLiteral("/b"))).entryList(QDir::Files), kept);
    QVERIFY(QFile::exists(path(QStringLiteral("/a/one.wav"))));
}

void TestMainWindowFileOps::linkToTheReferenceIsUntickedWithTheReason()
{
    QVERIFY(QFile::link(path(QStringLiteral("/a/one.wav")), path(QStringLiteral("/b/link.wav"))));
    findDuplicates();
    QCOMPARE(fixture->countText(), QStringLiteral("1 duplicate audio file found."));
    deleteDialog* dialog = open("deleteFilesButtonMainwindow");
    QVERIFY(dialog != nullptr);
    QCOMPARE(rows(dialog, m_music->path()),
             (QStringList{QStringLiteral("x All"), QStringLiteral("- /b/link.wav")}));
    QCOMPARE(countLabel(dialog), QStringLiteral("0 files marked for deletion"));
    auto* list = child<QListWidget>(dialog, "filesList");
    QVERIFY(list->item(1)->toolTip().contains(path(QStringLiteral("/a/one.wav"))));
    // "All" leaves it alone.
    list->item(0)->setCheckState(Qt::Unchecked);
    list->item(0)->setCheckState(Qt::Checked);
    QCOMPARE(countLabel(dialog), QStringLiteral("0 files marked for deletion"));
    list->item(1)->setCheckState(Qt::Checked);
    QCOMPARE(countLabel(dialog), QStringLiteral("1 files marked for deletion"));
}

void TestMainWindowFileOps::folderReachedByTwoPathsOffersNoOnlyCopy()
{
    QVERIFY(QDir(m_music->path()).rmdir(QStringLiteral("b")));
    QVERIFY(QFile::link(path(QStringLiteral("/a")), path(QStringLiteral("/b"))));
    findDuplicates();
    deleteDialog* dialog = open("deleteFilesButtonMainwindow");
    QVERIFY(dialog != nullptr);
    QCOMPARE(countLabel(dialog), QStringLiteral("0 files marked for deletion"));
    QVERIFY(press(dialog, "deleteButton"));
    QCoreApplication::processEvents();
    QVERIFY(QFile::exists(path(QStringLiteral("/a/one.wav"))));
}

void TestMainWindowFileOps::duplicateOfAMissingReferenceIsUntickedWithTheReason()
{
    addCopy(QStringLiteral("/b/copy.wav"));
    findDuplicates();
    QVERIFY(QFile::remove(path(QStringLiteral("/a/one.wav"))));
    const deleteDialog* dialog = open("deleteFilesButtonMainwindow");
    QVERIFY(dialog != nullptr);
    QCOMPARE(rows(dialog, m_music->path()),
             (QStringList{QStringLiteral("x All"), QStringLiteral("- /b/copy.wav")}));
    QCOMPARE(countLabel(dialog), QStringLiteral("0 files marked for deletion"));
    const QString reason = QStringLiteral("Its reference %1 is missing: this may be the only copy")
                               .arg(path(QStringLiteral("/a/one.wav")));
    QVERIFY(child<QListWidget>(dialog, "filesList")->item(1)->toolTip().contains(reason));
}

void TestMainWindowFileOps::resettingDiscardsTheDialog_data()
{
    QTest::addColumn<int>("how");
    QTest::newRow("New comparison") << 0;
    QTest::newRow("Find duplicates") << 1;
    QTest::newRow("change of mode") << 2;
}

void TestMainWindowFileOps::resettingDiscardsTheDialog()
{
    QFETCH(int, how);
    addCopy(QStringLiteral("/b/copy.wav"));
    findDuplicates();
    const QPointer<deleteDialog> dialog = open("deleteFilesButtonMainwindow");
    QVERIFY(dialog != nullptr);
    switch (how) {
    case 0:
        fixture->choose("actionNew_Comparison");
        break;
    case 1:
        QVERIFY(fixture->click("compareButton"));
        break;
    default:
        fixture->setMode(1);
        break;
    }
    QTRY_VERIFY(dialog.isNull());
    if (how != 1) {
        QVERIFY(fixture->click("deleteFilesButtonMainwindow"));
        QCOMPARE(openDialog(), nullptr);
    }
}

void TestMainWindowFileOps::windowMayGoWhileAnOperationRuns_data()
{
    QTest::addColumn<int>("how");
    QTest::newRow("closing the dialog") << 0;
    QTest::newRow("another mode") << 1;
    QTest::newRow("New comparison") << 2;
    QTest::newRow("destroying the window") << 3;
}

void TestMainWindowFileOps::windowMayGoWhileAnOperationRuns()
{
    QFETCH(int, how);
    for (int i = 0; i < 60; ++i) {
        addCopy(QStringLiteral("/b/copy %1.wav").arg(i));
    }
    findDuplicates();
    for (int round = 0; round < 3; ++round) {
        QPointer<deleteDialog> dialog = open("copyFilesButtonMainwindow");
        if (dialog == nullptr) {
            break; // the window and its results went in the round before
        }
        const QTemporaryDir target;
        child<QLineEdit>(dialog, "dirLabel")->setText(target.path());
        QVERIFY(press(dialog, "copyButton"));
        QVERIFY(press(dialog, "copyButton")); // a second operation waits behind the first
        for (int turn = 0; turn < round * 3; ++turn) {
            QCoreApplication::processEvents();
        }
        switch (how) {
        case 0:
            dialog->close();
            break;
        case 1:
            QVERIFY(fixture->click("moveFilesButtonMainwindow"));
            break;
        case 2:
            fixture->choose("actionNew_Comparison");
            break;
        default:
            fixture->destroy();
            break;
        }
        QTRY_VERIFY(dialog.isNull());
        if (how == 3) {
            fixture->open();
        }
    }
    QCOMPARE(QDir(path(QStringLiteral("/b"))).entryList(QDir::Files).size(), 60);
}

QTEST_MAIN(TestMainWindowFileOps)
#include "tst_mainwindow_fileops.moc"
