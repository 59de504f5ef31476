#include "programwindows.h"

#include <QCheckBox>
#include <QComboBox>
#include <QHeaderView>
#include <QHelpEvent>
#include <QLabel>
#include <QListWidget>
#include <QMenuBar>
#include <QPushButton>
#include <QScrollBar>
#include <QTest>
#include <QToolButton>
#include <QToolTip>
#include <QTranslator>
#include <QTreeWidget>

// Run once for each scale factor, which a program takes from its environment.

namespace {

/** Half as long again: what a translation into a wordy language asks for. */
class LongTexts : public QTranslator
{
public:
    QString translate(const char* /*context*/, const char* text, const char* /*disambiguation*/,
                      int /*count*/) const override
    {
        const QString source = QString::fromUtf8(text);
        return source + QString((source.size() + 1) / 2, u'n');
    }
    bool isEmpty() const override
    {
        return false;
    }
};

bool hasText(const QWidget* widget)
{
    if (const auto* label = qobject_cast<const QLabel*>(widget)) {
        return !label->text().isEmpty();
    }
    return qobject_cast<const QPushButton*>(widget) != nullptr ||
           qobject_cast<const QCheckBox*>(widget) != nullptr ||
           qobject_cast<const QComboBox*>(widget) != nullptr;
}

QList<QWidget*> shownTexts(const QWidget* window)
{
    QList<QWidget*> result;
    const QList<QWidget*> widgets = window->findChildren<QWidget*>();
    for (QWidget* widget : widgets) {
        if (widget->isVisibleTo(window) && hasText(widget)) {
            result.append(widget);
        }
    }
    return result;
}

QRect placeIn(const QWidget* window, const QWidget* widget)
{
    return {widget->mapTo(window, QPoint(0, 0)), widget->size()};
}

/** What is wrong with the texts of a window at its present size, a line each. */
QStringList cutTexts(const QWidget* window, const QStringList& fixedSize)
{
    QStringList faults;
    const QList<QWidget*> widgets = shownTexts(window);
    for (qsizetype i = 0; i < widgets.size(); ++i) {
        const QWidget* widget = widgets.at(i);
        const QRect place = placeIn(window, widget);
        const QSize needed = widget->sizeHint();
        const bool fixed = fixedSize.contains(widget->objectName());
        if (!fixed && (widget->width() < needed.width() || widget->height() < needed.height())) {
            faults.append(widget->objectName() + QStringLiteral(" is smaller than its text"));
        }
        if (!window->rect().contains(place)) {
            faults.append(widget->objectName() + QStringLiteral(" reaches beyond the window"));
        }
        for (qsizetype j = i + 1; j < widgets.size(); ++j) {
            if (place.intersects(placeIn(window, widgets.at(j)))) {
                faults.append(widget->objectName() + QStringLiteral(" covers ") +
                              widgets.at(j)->objectName());
            }
        }
    }
    return faults;
}

QStringList cutHeaderTexts(const QWidget* window)
{
    QStringList faults;
    const QList<QTreeWidget*> trees = window->findChildren<QTreeWidget*>();
    for (const QTreeWidget* tree : trees) {
        const QHeaderView* header = tree->header();
        for (int section = 0; section < header->count(); ++section) {
            if (header->sectionSize(section) < header->sectionSizeHint(section)) {
                faults.append(QStringLiteral("column %1 is narrower than its title").arg(section));
            }
        }
    }
    return faults;
}

QStringList cutMenuTexts(const QWidget* window)
{
    QStringList faults;
    const auto* bar = window->findChild<QMenuBar*>();
    if (bar == nullptr) {
        return faults;
    }
    const QList<QAction*> menus = bar->actions();
    for (QAction* menu : menus) {
        const QRect place = bar->actionGeometry(menu);
        if (!bar->rect().contains(place) ||
            place.width() < bar->fontMetrics().horizontalAdvance(menu->text())) {
            faults.append(menu->text() + QStringLiteral(" has no room in the menu bar"));
        }
    }
    return faults;
}

/** The one button whose size is fixed shows its own words whole, but not those of any language. */
QStringList ofFixedSize(bool longTexts)
{
    return longTexts ? QStringList{QStringLiteral("compareButton")} : QStringList{};
}

void setFontSize(int points)
{
    QFont font = QApplication::font();
    font.setPointSize(points);
    QApplication::setFont(font);
}

/** The names of the lists of a window that show a scroll bar. */
QStringList listsWithScrollBars(const QWidget* window)
{
    QStringList names;
    const QList<QAbstractItemView*> lists = window->findChildren<QAbstractItemView*>();
    for (const QAbstractItemView* list : lists) {
        if (list->isVisible() &&
            (list->horizontalScrollBar()->isVisible() || list->verticalScrollBar()->isVisible())) {
            names.append(list->objectName());
        }
    }
    return names;
}

QString faultsOf(const QWidget* window, const QStringList& fixedSize)
{
    return (cutTexts(window, fixedSize) + cutHeaderTexts(window) + cutMenuTexts(window))
        .join(u'\n');
}

} // namespace

class TestWindowTexts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        m_font = QApplication::font();
    }
    void cleanup()
    {
        m_windows.reset();
        QApplication::setFont(m_font);
    }

    void scaleFactorIsThatOfTheEnvironment();
    void everyTextIsWhole_data();
    void everyTextIsWhole();
    void everyTextIsWholeWithBothGroups_data();
    void everyTextIsWholeWithBothGroups();
    void everyTextIsWholeWhileAFileIsLoaded();
    void everyTextIsWholeInAnyUsualFont_data();
    void everyTextIsWholeInAnyUsualFont();
    void emptyListsShowNoScrollBar_data();
    void emptyListsShowNoScrollBar();
    void anElidedPathShowsBothEndsAndItsToolTipTheWhole();
    void everyWindowCarriesTheIcon_data()
    {
        ProgramWindows::addRows();
    }
    void everyWindowCarriesTheIcon();
    void theResultsTakeTheRoomOfALargerWindow();
    void moreFoldersGetMoreRoomWithinLimits();

private:
    std::unique_ptr<ProgramWindows> m_windows;
    QFont m_font;
};

void TestWindowTexts::scaleFactorIsThatOfTheEnvironment()
{
    QCOMPARE(qApp->devicePixelRatio(), qEnvironmentVariable("QT_SCALE_FACTOR").toDouble());
}

void TestWindowTexts::everyTextIsWhole_data()
{
    QTest::addColumn<QString>("window");
    QTest::addColumn<bool>("longTexts");
    const QStringList names = ProgramWindows::names();
    for (const QString& name : names) {
        QTest::addRow("%s", qPrintable(name)) << name << false;
        QTest::addRow("%s, half as long again", qPrintable(name)) << name << true;
    }
}

void TestWindowTexts::everyTextIsWhole()
{
    QFETCH(QString, window);
    QFETCH(bool, longTexts);
    LongTexts translator;
    if (longTexts) {
        QVERIFY(QCoreApplication::installTranslator(&translator));
    }
    m_windows = std::make_unique<ProgramWindows>();
    QWidget* shown = m_windows->open(window);
    QVERIFY(shown != nullptr);
    QVERIFY(shownTexts(shown).size() >= 2);
    const QStringList fixed = ofFixedSize(longTexts);
    QCOMPARE(faultsOf(shown, fixed), QString());
    shown->resize(1, 1);
    QCOMPARE(faultsOf(shown, fixed), QString());
    shown->resize(1600, 1000);
    QCOMPARE(faultsOf(shown, fixed), QString());
}

void TestWindowTexts::everyTextIsWholeWithBothGroups_data()
{
    QTest::addColumn<bool>("longTexts");
    QTest::newRow("as they are") << false;
    QTest::newRow("half as long again") << true;
}

void TestWindowTexts::everyTextIsWholeWithBothGroups()
{
    QFETCH(bool, longTexts);
    LongTexts translator;
    if (longTexts) {
        QVERIFY(QCoreApplication::installTranslator(&translator));
    }
    WindowFixture fixture;
    fixture.open();
    QVERIFY(fixture.find<QLabel>("label_B")->isVisible());
    const QStringList fixed = ofFixedSize(longTexts);
    QCOMPARE(faultsOf(&fixture.window(), fixed), QString());
    fixture.window().resize(1, 1);
    QCOMPARE(faultsOf(&fixture.window(), fixed), QString());
}

void TestWindowTexts::everyTextIsWholeWhileAFileIsLoaded()
{
    m_windows = std::make_unique<ProgramWindows>();
    QWidget* window = m_windows->open(QStringLiteral("main"));
    QVERIFY(window != nullptr);
    auto* label = m_windows->fixture().find<QLabel>("audioDurationLabel");
    label->setText(QStringLiteral("00:01:02 / 01:00:01"));
    label->show();
    window->resize(1, 1);
    QVERIFY(shownTexts(window).contains(label));
    QCOMPARE(faultsOf(window, {}), QString());
}

void TestWindowTexts::everyTextIsWholeInAnyUsualFont_data()
{
    QTest::addColumn<QString>("window");
    QTest::addColumn<int>("points");
    const QStringList names = ProgramWindows::names();
    for (const QString& name : names) {
        for (const int points : {9, 12, 16}) {
            QTest::addRow("%s, %d points", qPrintable(name), points) << name << points;
        }
    }
}

void TestWindowTexts::everyTextIsWholeInAnyUsualFont()
{
    QFETCH(const QString, window);
    QFETCH(const int, points);
    setFontSize(points);
    m_windows = std::make_unique<ProgramWindows>();
    QWidget* shown = m_windows->open(window);
    QVERIFY(shown != nullptr);
    const QStringList fixed = ofFixedSize(points > 9);
    QCOMPARE(faultsOf(shown, fixed), QString());
    shown->resize(1, 1);
    QCOMPARE(faultsOf(shown, fixed), QString());
}

void TestWindowTexts::emptyListsShowNoScrollBar_data()
{
    QTest::addColumn<int>("points");
    for (const int points : {9, 12, 16}) {
        QTest::addRow("%d points", points) << points;
    }
}

void TestWindowTexts::emptyListsShowNoScrollBar()
{
    QFETCH(const int, points);
    setFontSize(points);
    m_windows = std::make_unique<ProgramWindows>();
    // The list of a dialog after all of it was deleted.
    QWidget* dialog = m_windows->open(QStringLiteral("delete"));
    QVERIFY(dialog != nullptr);
    auto* list = dialog->findChild<QListWidget*>();
    list->addItem(QStringLiteral("/music/long folder").repeated(100));
    QTRY_COMPARE(listsWithScrollBars(dialog), QStringList(list->objectName()));
    list->clear();
    QTRY_COMPARE(listsWithScrollBars(dialog), QStringList());

    QWidget* window = &m_windows->fixture().window();
    for (const QSize& size : {window->size(), QSize(1, 1)}) {
        m_windows->fixture().choose("actionNew_Comparison");
        window->resize(size);
        QTRY_COMPARE(listsWithScrollBars(window), QStringList());
        // Where columns have no room, they are reached once there is something in them.
        auto* tree = m_windows->fixture().find<QTreeWidget>("treeWidget");
        new QTreeWidgetItem(tree, {QStringLiteral("/a.mp3")});
        const bool cut = tree->header()->length() > tree->viewport()->width();
        QTRY_COMPARE(tree->horizontalScrollBar()->isVisible(), cut);
    }
}

void TestWindowTexts::anElidedPathShowsBothEndsAndItsToolTipTheWhole()
{
    m_windows = std::make_unique<ProgramWindows>();
    QVERIFY(m_windows->open(QStringLiteral("main")) != nullptr);
    auto* tree = m_windows->fixture().find<QTreeWidget>("treeWidget");
    QCOMPARE(tree->textElideMode(), Qt::ElideMiddle);
    const QString path = QStringLiteral("/music/long folder").repeated(10);
    auto* item = new QTreeWidgetItem(tree, {path});
    tree->scrollToItem(item);
    const QPoint place = tree->visualItemRect(item).topLeft() + QPoint(5, 5);
    QHelpEvent event(QEvent::ToolTip, place, tree->viewport()->mapToGlobal(place));
    QApplication::sendEvent(tree->viewport(), &event);
    QVERIFY(QToolTip::text().contains(path));
    QToolTip::hideText();
}

void TestWindowTexts::everyWindowCarriesTheIcon()
{
    QFETCH(QString, window);
    m_windows = std::make_unique<ProgramWindows>();
    const QWidget* shown = m_windows->open(window);
    QVERIFY(shown != nullptr);
    // That of the main window is not handed down: the dialogs are not its children.
    QCOMPARE(shown->windowIcon().pixmap(256).toImage(),
             QPixmap(QStringLiteral(":/icons/app-icon.png")).toImage());
}

void TestWindowTexts::theResultsTakeTheRoomOfALargerWindow()
{
    m_windows = std::make_unique<ProgramWindows>();
    QWidget* window = m_windows->open(QStringLiteral("main"));
    QVERIFY(window != nullptr);
    const auto* tree = m_windows->fixture().find<QTreeWidget>("treeWidget");
    const QSize before = tree->size();
    window->resize(window->size() + QSize(300, 200));
    QCOMPARE(tree->size(), before + QSize(300, 200));
    // At its first size, the tree has more of the window than anything else.
    QVERIFY(before.height() * 2 > 666 / 2);
}

void TestWindowTexts::moreFoldersGetMoreRoomWithinLimits()
{
    m_windows = std::make_unique<ProgramWindows>();
    QWidget* window = m_windows->open(QStringLiteral("main"));
    QVERIFY(window != nullptr);
    const WindowFixture& fixture = m_windows->fixture();
    const auto* list = fixture.find<QWidget>("folderListGroupA");
    const auto* tree = fixture.find<QTreeWidget>("treeWidget");
    const int before = list->height();
    for (int folder = 0; folder < 100; ++folder) {
        fixture.listFolder('A', QStringLiteral("/music/%1").arg(folder));
    }
    QTRY_VERIFY(list->height() > before);
    QVERIFY(list->height() < tree->height());
    QCOMPARE(window->height(), 666);
}

QTEST_MAIN(TestWindowTexts)
#include "tst_windowtexts.moc"
