#include "app/mainwindow.h"

#include "app/runstatus.h"
#include "settings/settingsstore.h"
#include "ui_mainwindow.h"
#include "widgets/elidedtextdelegate.h"
#include "widgets/returnkey.h"

#include <QCloseEvent>
#include <QEvent>
#include <QHeaderView>
#include <QTimer>

#include <algorithm>

namespace {

constexpr int kNameColumn = 0;
constexpr int kNameColumnWidth = 400;

/** Makes the first column wide enough for paths, and every other at least as wide as its title. */
void sizeColumns(QHeaderView* header)
{
    for (int column = 0; column < header->count(); ++column) {
        header->resizeSection(
            column, std::max(header->sectionSize(column), header->sectionSizeHint(column)));
    }
    header->resizeSection(kNameColumn, kNameColumnWidth);
}

/**
 * Passes the wheel on to the parent: over the mode selector it would change the mode, and another
 * mode empties the window.
 */
class WheelIgnorer : public QObject
{
public:
    using QObject::QObject;

    bool eventFilter(QObject* /*watched*/, QEvent* event) override
    {
        if (event->type() != QEvent::Wheel) {
            return false;
        }
        event->ignore();
        return true;
    }
};

/**
 * Gives an action the platform's standard keys, or \a usual where the platform has none: plain
 * window managers have none for settings and quitting.
 */
void setStandardShortcut(QAction* action, QKeySequence::StandardKey key, const QKeySequence& usual)
{
    const QList<QKeySequence> keys = QKeySequence::keyBindings(key);
    action->setShortcuts(keys.isEmpty() ? QList<QKeySequence>{usual} : keys);
    action->setAutoRepeat(false); // a held key would open many pages in the browser
}

} // namespace

/**
 * Registers the icons: the linker drops a resource collection of a static library that nothing
 * refers to. Outside any namespace, as Q_INIT_RESOURCE requires.
 */
static void initialiseIcons()
{
    Q_INIT_RESOURCE(Quorvel);
}

QList<FingerprintRecord> MainWindow::fingerprintsFirst;
QList<FingerprintRecord> MainWindow::fingerprintsSecond;
std::stop_source MainWindow::runStop;

MainWindow::MainWindow(QWidget* parent)
    : QMainWindow(parent)
    , threadPool(this)
    , ui(std::make_unique<Ui_MainWindow>())
    , state(QStringLiteral("idle"))
{
    initialiseIcons();
    ui->setupUi(this);
    setWindowTitle(tr("Quorvel"));
    setShortcuts();
    connectActions();
    connectStages();
    setUpPlayer();
    connectPlayer();

    ui->comparisonModeSelector->installEventFilter(new WheelIgnorer(this));
    ui->stopButton->setEnabled(false);
    ui->audioDurationLabel->hide();
    ui->duplicateFoundLabel->hide();
    ui->progressBar->setTextVisible(false);
    sizeColumns(ui->treeWidget->header());
    ui->treeWidget->setItemDelegate(new ElidedTextDelegate(this));
    setUpGroups();
    setUpResults();
    runStatus = new RunStatus(ui->statusbar, this);

    settings::writeMissingDefaults();
    // Brings the window to the front once the event loop runs.
    QTimer::singleShot(0, this, [this] { activateWindow(); });
}

MainWindow::~MainWindow()
{
    resetAll();
    // The player is a child: the base class destroys it, when its signals can no longer be
    // delivered to a MainWindow.
    player->disconnect(this);
    ui.reset();
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    event->accept();
}

void MainWindow::setShortcuts()
{
    setStandardShortcut(ui->actionNew_Comparison, QKeySequence::New, Qt::CTRL | Qt::Key_N);
    setStandardShortcut(ui->actionSettings, QKeySequence::Preferences, Qt::CTRL | Qt::Key_Comma);
    setStandardShortcut(ui->actionExit, QKeySequence::Quit, Qt::CTRL | Qt::Key_Q);
    setStandardShortcut(ui->actionHelp_Online, QKeySequence::HelpContents, Qt::Key_F1);
    returnKey::pressesFocused(ui->centralwidget->findChildren<QPushButton*>());
}

void MainWindow::connectActions()
{
    connect(ui->actionNew_Comparison, &QAction::triggered, this, &MainWindow::newComparison);
    connect(ui->actionSettings, &QAction::triggered, this, &MainWindow::changeSettings);
    connect(ui->actionExit, &QAction::triggered, this, &MainWindow::close);
    connect(ui->actionHelp_Online, &QAction::triggered, this, &MainWindow::helpOnline);
    connect(ui->actionContact, &QAction::triggered, this, &MainWindow::contact);
    connect(ui->actionAbout, &QAction::triggered, this, &MainWindow::about);
}

void MainWindow::connectStages()
{
    connect(&filesWatcher, &QFutureWatcherBase::finished, this,
            &MainWindow::calculateFingerprintParallel);
    connect(&duplicatesWatcher, &QFutureWatcherBase::finished, this,
            &MainWindow::showComparisonResults);
    connect(&duplicatesWatcher, &QFutureWatcherBase::progressValueChanged, this,
            &MainWindow::compareValueChanged);
    connect(&fingerprintWatcher1, &QFutureWatcherBase::progressValueChanged, this,
            &MainWindow::fpValueChanged);
    connect(&fingerprintWatcher2, &QFutureWatcherBase::progressValueChanged, this,
            &MainWindow::fpValueChanged);
}
