#include "fileops/deletedialog.h"
#include "settings/aboutdialog.h"
#include "settings/settingsdialog.h"
#include "settings/settingsstore.h"
#include "support/media.h"
#include "support/previewcontrols.h"
#include "support/standardstreams.h"
#include "support/windowfixture.h"

#include <QApplication>
#include <QCheckBox>
#include <QDesktopServices>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QListWidget>
#include <QLoggingCategory>
#include <QMap>
#include <QProgressBar>
#include <QSet>
#include <QTest>

#include <cstdio>
#include <functional>
#include <memory>
#include <random>
#include <utility>

namespace {

constexpr int kTunes = 3;
constexpr int kSeeds = 4;
/** From here on the tunes differ. */
constexpr int kThreshold = 70;
constexpr int kLookEvery = 20;
constexpr qint64 kHangGuardMs = 120'000;

template <typename T> T* shownDialog()
{
    const QWidgetList widgets = QApplication::topLevelWidgets();
    for (QWidget* widget : widgets) {
        auto* dialog = qobject_cast<T*>(widget);
        if (dialog != nullptr && dialog->isVisible()) {
            return dialog;
        }
    }
    return nullptr;
}

/** False where a person could not press it. */
bool press(const QWidget* dialog, const char* name)
{
    auto* button = dialog->findChild<QAbstractButton*>(QString::fromLatin1(name));
    if (button == nullptr || !button->isVisible() || !button->isEnabled()) {
        return false;
    }
    QTest::mouseClick(button, Qt::LeftButton);
    return true;
}

/** Delivers events for a while; the workers and the player go on meanwhile. */
void turn(unsigned ms)
{
    QTest::qWait(static_cast<int>(ms)); // unavoidable: a person pauses, too; nothing depends on it
}

} // namespace

/**
 * The window under many actions in a random order, the same for each seed. By
 * default few; the environment variable QUORVEL_RANDOM_ACTIONS gives another number, over all
 * seeds, and has each action printed.
 */
class TestMainWindowRandom : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void catchUrl(const QUrl& /*url*/) {}

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();

    void anyOrderOfActionsLeavesTheWindowInOrder_data();
    void anyOrderOfActionsLeavesTheWindowInOrder();

private:
    struct Action
    {
        const char* name;
        int weight; // cppcheck-suppress unusedStructMember ; lots are made of it
        /** False if it could not be done now. */
        std::function<bool()> perform;
    };

    QList<Action> actions();
    QList<Action> playerActions();
    QList<Action> dialogActions();
    unsigned random(unsigned limit)
    {
        return static_cast<unsigned>(m_random() % limit);
    }
    QString path(const QString& relative) const
    {
        return m_music->path() + u'/' + relative;
    }
    void fillFolders();
    bool find();
    bool waitForTheEnd();
    bool haveRows();
    bool reopen();
    bool playARow();
    bool seek();
    bool changeSettings();
    bool operateOnFiles();
    void closeDialogs();
    void look();

    std::unique_ptr<testmedia::MediaFolder> m_music;
    std::unique_ptr<testmedia::StandardErrorCapture> m_errors;
    std::unique_ptr<WindowFixture> fixture;
    /** The content of a file -> the number of its tune. */
    QMap<QByteArray, int> m_tunes;
    QMap<QString, int> m_done;
    std::mt19937 m_random;
};

void TestMainWindowRandom::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false\nqt.multimedia*=false"));
    QDesktopServices::setUrlHandler(QStringLiteral("https"), this, "catchUrl");
    m_music = std::make_unique<testmedia::MediaFolder>();
    for (int tune = 0; tune < kTunes; ++tune) {
        for (const char* suffix : {"wav", "mp3"}) {
            constexpr double kSeconds = 3;
            constexpr int kSampleRateHz = 11025;
            const QString made = m_music->makeTune(
                QStringLiteral("originals/%1.%2").arg(tune).arg(QLatin1String(suffix)),
                {static_cast<unsigned>(tune + 1), kSeconds, kSampleRateHz, 1});
            m_tunes.insert(testmedia::contentOf(made), tune);
        }
    }
    QDir(m_music->path()).mkpath(QStringLiteral("target"));
    fillFolders();
}

void TestMainWindowRandom::init()
{
    m_errors = std::make_unique<testmedia::StandardErrorCapture>();
    fixture = std::make_unique<WindowFixture>();
    fixture->open();
}

void TestMainWindowRandom::cleanup()
{
    fixture.reset();
    closeDialogs();
    m_errors.reset();
}

void TestMainWindowRandom::cleanupTestCase()
{
    QDesktopServices::unsetUrlHandler(QStringLiteral("https"));
    for (auto action = m_done.cbegin(); action != m_done.cend(); ++action) {
        std::printf("%5d x %s\n", action.value(), qPrintable(action.key()));
    }
}

/** Puts every tune and some broken files into both folders where they are missing. */
void TestMainWindowRandom::fillFolders()
{
    for (const QString& folder : {QStringLiteral("a/deep"), QStringLiteral("b")}) {
        for (auto sound = m_tunes.cbegin(); sound != m_tunes.cend(); ++sound) {
            const QString suffix =
                sound.key().startsWith("RIFF") ? QStringLiteral("wav") : QStringLiteral("mp3");
            m_music->write(QStringLiteral("%1/%2.%3").arg(folder).arg(sound.value()).arg(suffix),
                           sound.key());
        }
        m_music->write(folder + QStringLiteral("/broken.mp3"), "not music");
        m_music->write(folder + QStringLiteral("/empty.flac"), {});
        m_music->write(folder + QStringLiteral("/cut.wav"), m_tunes.firstKey().left(9000));
    }
}

QList<TestMainWindowRandom::Action> TestMainWindowRandom::actions()
{
    const auto group = [this] { return random(2) == 0 ? 'A' : 'B'; };
    QList<Action> all = {
        {"add a folder", 4,
         [=, this] { return fixture->addFolder(group(), path(QString(QChar(u'a' + random(2))))); }},
        {"cancel adding a folder", 1, [=, this] { return fixture->addFolder(group(), {}); }},
        {"remove a folder", 2,
         [=, this] {
             const bool first = group() == 'A';
             auto* list =
                 fixture->find<QListWidget>(first ? "folderListGroupA" : "folderListGroupB");
             list->setCurrentRow(static_cast<int>(random(3)) - 1);
             return fixture->click(first ? "removeFolderButtonGroupA" : "removeFolderButtonGroupB");
         }},
        {"find", 6, [this] { return find(); }},
        {"find with what is listed", 4, [this] { return fixture->click("compareButton"); }},
        {"find, and wait", 6, [this] { return find() && waitForTheEnd(); }},
        {"change the mode", 2,
         [this] {
             fixture->setMode(static_cast<int>(random(2)));
             return true;
         }},
        {"new comparison", 2,
         [this] {
             fixture->choose("actionNew_Comparison");
             return true;
         }},
        {"help", 2,
         [this] {
             fixture->choose(random(2) == 0 ? "actionHelp_Online" : "actionContact");
             return true;
         }},
        {"wait", 8,
         [this] {
             turn(random(300));
             return true;
         }},
        {"put the files back", 4,
         [this] {
             fillFolders();
             return true;
         }},
        {"close and open again", 1, [this] { return reopen(); }},
    };
    return all + playerActions() + dialogActions();
}

QList<TestMainWindowRandom::Action> TestMainWindowRandom::playerActions()
{
    return {
        {"play a row", 6, [this] { return playARow(); }},
        {"play a row by the keyboard", 2,
         [this] {
             QTest::keyClick(fixture->find<QTreeWidget>("treeWidget"),
                             random(2) == 0 ? Qt::Key_Return : Qt::Key_Down);
             return true;
         }},
        {"play or pause", 4, [this] { return fixture->click("playButton"); }},
        {"stop", 2, [this] { return fixture->click("stopButton"); }},
        {"seek", 4, [this] { return seek(); }},
    };
}

QList<TestMainWindowRandom::Action> TestMainWindowRandom::dialogActions()
{
    const auto open = [this](const char* action) {
        fixture->choose(action);
        return true;
    };
    return {
        {"open the settings", 3, [=] { return open("actionSettings"); }},
        {"change the settings", 4, [this] { return changeSettings(); }},
        {"open About", 1, [=] { return open("actionAbout"); }},
        {"read About", 3,
         [this] {
             fixture->choose("actionAbout");
             auto* dialog = shownDialog<AboutDialog>();
             return dialog != nullptr && press(dialog, "okButton");
         }},
        {"open delete", 3, [this] { return fixture->click("deleteFilesButtonMainwindow"); }},
        {"open move", 3, [this] { return fixture->click("moveFilesButtonMainwindow"); }},
        {"open copy", 3, [this] { return fixture->click("copyFilesButtonMainwindow"); }},
        {"delete, move or copy", 6, [this] { return operateOnFiles(); }},
        {"close the file dialog", 2,
         [this] {
             auto* dialog = shownDialog<deleteDialog>();
             if (dialog != nullptr && random(3) == 0) {
                 return dialog->close();
             }
             return dialog != nullptr &&
                    press(dialog, random(2) == 0 ? "okButton" : "cancelButton");
         }},
    };
}

/** Lists both folders and starts. */
bool TestMainWindowRandom::find()
{
    fixture->listFolder('A', path(QStringLiteral("a")));
    fixture->listFolder(random(2) == 0 ? 'A' : 'B', path(QStringLiteral("b")));
    return fixture->click("compareButton");
}

/** A run ends with the count, unless a group is empty. */
bool TestMainWindowRandom::waitForTheEnd()
{
    QElapsedTimer guard;
    guard.start();
    const auto* bar = fixture->find<QProgressBar>("progressBar");
    while (bar->isTextVisible()) {
        turn(10);
        if (guard.elapsed() > kHangGuardMs) {
            qFatal("the run hangs");
        }
    }
    return true;
}

/** Most actions need results: finds some if there are none. */
bool TestMainWindowRandom::haveRows()
{
    const auto* tree = fixture->find<QTreeWidget>("treeWidget");
    return tree->topLevelItemCount() > 0 ||
           (find() && waitForTheEnd() && tree->topLevelItemCount() > 0);
}

bool TestMainWindowRandom::reopen()
{
    fixture->window().close();
    turn(random(50));
    fixture->destroy();
    closeDialogs();
    fixture->open();
    return true;
}

bool TestMainWindowRandom::playARow()
{
    if (!haveRows()) {
        return false;
    }
    const PreviewControls preview(*fixture);
    QTreeWidgetItemIterator row(preview.tree);
    row += static_cast<int>(random(4));
    if (*row == nullptr) {
        return false;
    }
    preview.doubleClick(*row, static_cast<int>(random(2)));
    return true;
}

bool TestMainWindowRandom::seek()
{
    PreviewControls preview(*fixture);
    if (preview.loadedPath().isEmpty()) {
        playARow();
        turn(random(400));
    }
    if (!preview.takeHandle()) {
        return false;
    }
    for (unsigned i = random(4); i > 0; --i) {
        preview.drawHandleTo(random(100) / 100.0);
        turn(random(20));
    }
    preview.releaseHandle();
    return true;
}

bool TestMainWindowRandom::changeSettings()
{
    fixture->choose("actionSettings");
    auto* dialog = shownDialog<SettingsDialog>();
    if (dialog == nullptr) {
        return false;
    }
    dialog->findChild<QLineEdit*>(QStringLiteral("similarityThresh"))
        ->setText(QString::number(kThreshold + static_cast<int>(random(4)) * 10));
    press(dialog, "multicore");
    return press(dialog, random(3) == 0 ? "cancelButton" : "saveButton");
}

bool TestMainWindowRandom::operateOnFiles()
{
    if (shownDialog<deleteDialog>() == nullptr && haveRows()) {
        fixture->click(random(2) == 0 ? "moveFilesButtonMainwindow"
                                      : "deleteFilesButtonMainwindow");
    }
    auto* dialog = shownDialog<deleteDialog>();
    if (dialog == nullptr) {
        return false;
    }
    auto* list = dialog->findChild<QListWidget*>(QStringLiteral("filesList"));
    for (unsigned i = random(4); i > 0 && list->count() > 0; --i) {
        QListWidgetItem* item =
            list->item(static_cast<int>(random(static_cast<unsigned>(list->count()))));
        item->setCheckState(random(2) == 0 ? Qt::Checked : Qt::Unchecked);
    }
    const QString targets[] = {path(QStringLiteral("target")), path(QStringLiteral("missing")), {}};
    dialog->findChild<QLineEdit*>(QStringLiteral("dirLabel"))->setText(targets[random(4) % 3]);
    return press(dialog, "deleteButton") || press(dialog, "moveButton") ||
           press(dialog, "copyButton");
}

/** Dialogs are windows of their own and stay when the main window is destroyed. */
void TestMainWindowRandom::closeDialogs()
{
    const QWidgetList widgets = QApplication::topLevelWidgets();
    for (QWidget* widget : widgets) {
        if (qobject_cast<QDialog*>(widget) != nullptr && widget->parent() == nullptr) {
            widget->deleteLater();
        }
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

/** What must hold at any time. */
void TestMainWindowRandom::look()
{
    const auto* bar = fixture->find<QProgressBar>("progressBar");
    QVERIFY(bar->value() >= 0 && bar->value() <= 100);
    QVERIFY(shownDialog<QDialog>() == nullptr || fixture->window().isVisible());

    // However many files are deleted and moved as duplicates, of each tune one stays.
    QSet<int> left;
    for (const char* folder : {"a", "b", "target"}) {
        QDirIterator files(path(QLatin1String(folder)), QDir::Files, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            // One that was just moved is found in its new place.
            QFile file(files.next());
            if (file.open(QFile::ReadOnly)) {
                left.insert(m_tunes.value(file.readAll(), -1));
            }
        }
    }
    left.remove(-1);
    QCOMPARE(left.size(), kTunes);
}

void TestMainWindowRandom::anyOrderOfActionsLeavesTheWindowInOrder_data()
{
    QTest::addColumn<unsigned>("seed");
    for (unsigned seed = 1; seed <= kSeeds; ++seed) {
        QTest::addRow("seed %u", seed) << seed;
    }
}

void TestMainWindowRandom::anyOrderOfActionsLeavesTheWindowInOrder()
{
    QFETCH(const unsigned, seed);
    constexpr int kActions = 160;
    bool isSet = false;
    int count = qEnvironmentVariableIntValue("QUORVEL_RANDOM_ACTIONS", &isSet);
    count = (isSet ? count : kActions) / kSeeds;
    m_random.seed(seed);

    const QList<Action> all = actions();
    QList<qsizetype> lots;
    for (qsizetype i = 0; i < all.size(); ++i) {
        lots.append(QList<qsizetype>(all.at(i).weight, i));
    }
    for (int done = 0; done < count;) {
        const Action& action = all.at(lots.at(random(static_cast<unsigned>(lots.size()))));
        if (isSet) {
            std::printf("%u/%d: %s\n", seed, done, action.name);
            std::fflush(stdout);
        }
        if (!action.perform()) {
            turn(1);
            continue;
        }
        ++m_done[QString::fromLatin1(action.name)];
        turn(random(20));
        if (++done % kLookEvery == 0) {
            look();
            if (QTest::currentTestFailed()) {
                return;
            }
        }
    }
    // After all that, it works as on the first day.
    reopen(); // and no operation is under way any more
    fillFolders();
    settings::write({kThreshold, true});
    fixture->listFolder('A', path(QStringLiteral("originals")));
    fixture->listFolder('B', path(QStringLiteral("b")));
    QVERIFY(fixture->findDuplicates());
    QVERIFY(fixture->unorderedPairs(m_music->path())
                .contains(QStringLiteral("/b/0.wav = /originals/0.mp3")));
}

QTEST_MAIN(TestMainWindowRandom)
#include "tst_mainwindow_random.moc"
