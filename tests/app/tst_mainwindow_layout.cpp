#include "support/windowfixture.h"

#include <QAction>
#include <QLabel>
#include <QLayout>
#include <QProgressBar>
#include <QRegularExpression>
#include <QTest>

namespace {

QString describe(QLayoutItem* item, int depth);

QString line(const QObject* object, int depth)
{
    return QString(qsizetype{2} * depth, u' ') + QLatin1String(object->metaObject()->className()) +
           u' ' + object->objectName() + u'\n';
}

QString itemsOf(const QLayout* layout, int depth)
{
    QString text;
    for (int i = 0; i < layout->count(); ++i) {
        text += describe(layout->itemAt(i), depth);
    }
    return text;
}

/** A layout item and what is laid out in it, one a line; spacers are left out. */
QString describe(QLayoutItem* item, int depth)
{
    if (const QLayout* layout = item->layout()) {
        return line(layout, depth) + itemsOf(layout, depth + 1);
    }
    if (const QWidget* widget = item->widget()) {
        QString text = line(widget, depth);
        const bool ours = !widget->inherits("QAbstractItemView");
        if (ours && widget->layout() != nullptr) {
            text += line(widget->layout(), depth + 1) + itemsOf(widget->layout(), depth + 2);
        }
        return text;
    }
    return {};
}

} // namespace

/** How the form is put together, by class and object name. */
class TestMainWindowLayout : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void widgetsAndLayoutsAreNestedByTheirNames();
    void everySlotNamedAfterAWidgetFindsItsSignal();
    void placeholdersCarryTheirTexts();
    void exitClosesTheWindow();
    void windowComesToTheFrontOnceTheLoopRuns();

private:
    std::unique_ptr<WindowFixture> fixture;
};

void TestMainWindowLayout::init()
{
    fixture = std::make_unique<WindowFixture>();
}

void TestMainWindowLayout::cleanup()
{
    fixture.reset();
}

void TestMainWindowLayout::widgetsAndLayoutsAreNestedByTheirNames()
{
    fixture->open();
    const QWidget* central = fixture->window().centralWidget();
    const QString actual =
        line(central, 0) + line(central->layout(), 1) + itemsOf(central->layout(), 2);
    QCOMPARE(actual, QStringLiteral("QWidget centralwidget\n"
                                    "  QVBoxLayout verticalLayout_3\n"
                                    "    QHBoxLayout horizontalLayout_3\n"
                                    "      QHBoxLayout horizontalLayout\n"
                                    "        QLabel label\n"
                                    "        QComboBox comparisonModeSelector\n"
                                    "    QHBoxLayout horizontalLayout_2\n"
                                    "    QHBoxLayout horizontalLayout_7\n"
                                    "      QWidget folderListParentA\n"
                                    "        QVBoxLayout verticalLayoutGroupA\n"
                                    "          QHBoxLayout horizontalLayout_4\n"
                                    "            QPushButton addFolderButtonGroupA\n"
                                    "            QPushButton removeFolderButtonGroupA\n"
                                    "            QLabel label_A\n"
                                    "          QListWidget folderListGroupA\n"
                                    "      QWidget folderListParentB\n"
                                    "        QVBoxLayout verticalLayoutGroupB\n"
                                    "          QHBoxLayout horizontalLayout_6\n"
                                    "            QPushButton addFolderButtonGroupB\n"
                                    "            QPushButton removeFolderButtonGroupB\n"
                                    "            QLabel label_B\n"
                                    "          QListWidget folderListGroupB\n"
                                    "    QFrame frame\n"
                                    "      QHBoxLayout horizontalLayout_9\n"
                                    "        QPushButton compareButton\n"
                                    "        QProgressBar progressBar\n"
                                    "    QWidget widget\n"
                                    "      QHBoxLayout horizontalLayout_10\n"
                                    "        QPushButton stopButton\n"
                                    "        QPushButton playButton\n"
                                    "        QSlider audioSlider\n"
                                    "        QLabel audioDurationLabel\n"
                                    "    QFrame frame_2\n"
                                    "      QHBoxLayout horizontalLayout_11\n"
                                    "        QLabel duplicateFoundLabel\n"
                                    "    QTreeWidget treeWidget\n"
                                    "    QHBoxLayout horizontalLayout_5\n"
                                    "      QFrame frame_3\n"
                                    "        QHBoxLayout horizontalLayout_12\n"
                                    "          QHBoxLayout horizontalLayout_8\n"
                                    "            QPushButton deleteFilesButtonMainwindow\n"
                                    "            QPushButton moveFilesButtonMainwindow\n"
                                    "            QPushButton copyFilesButtonMainwindow\n"));
}

void TestMainWindowLayout::everySlotNamedAfterAWidgetFindsItsSignal()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral("connectSlotsByName")));
    fixture->open();
}

void TestMainWindowLayout::placeholdersCarryTheirTexts()
{
    fixture->open();
    QCOMPARE(fixture->find<QLabel>("audioDurationLabel")->text(), QStringLiteral("TextLabel"));
    QCOMPARE(fixture->find<QLabel>("duplicateFoundLabel")->text(), QStringLiteral("TextLabel"));
}

void TestMainWindowLayout::exitClosesTheWindow()
{
    fixture->open();
    fixture->choose("actionExit");
    QVERIFY(!fixture->window().isVisible());
}

void TestMainWindowLayout::windowComesToTheFrontOnceTheLoopRuns()
{
    fixture->open();
    QWidget other;
    other.show();
    other.activateWindow();
    QTRY_VERIFY(other.isActiveWindow());
    // A second window, shown without being activated, asks for the front by itself.
    MainWindow late;
    late.setAttribute(Qt::WA_ShowWithoutActivating);
    late.show();
    QVERIFY(!late.isActiveWindow());
    QTRY_VERIFY(late.isActiveWindow());
}

QTEST_MAIN(TestMainWindowLayout)
#include "tst_mainwindow_layout.moc"
