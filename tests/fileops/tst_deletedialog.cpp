#include "dialogfixture.h"

#include <QFile>
#include <QFileDialog>
#include <QFrame>
#include <QHBoxLayout>
#include <QMetaMethod>
#include <QPointer>
#include <QSignalSpy>
#include <QStyle>
#include <QTest>
#include <QTimer>
#include <QVBoxLayout>

#include <ctime>

using namespace Qt::StringLiterals;

namespace {

QStringList nameList(int count)
{
    QStringList names;
    for (int i = 1; i <= count; ++i) {
        names.append(QStringLiteral("/music/%1.mp3").arg(i));
    }
    return names;
}

/** The names of the widgets of a layout from its start to its end; a spacer is "-". */
QStringList contents(const QLayout* layout)
{
    QStringList names;
    for (int i = 0; i < layout->count(); ++i) {
        const QWidget* widget = layout->itemAt(i)->widget();
        names.append(widget != nullptr ? widget->objectName() : QStringLiteral("-"));
    }
    return names;
}

} // namespace

/** The form, the ticks, the directory field and the closing buttons of the dialog. */
class DeleteDialogTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
    }

    void slotsAreInTheirFixedOrder();
    void formHoldsItsWidgetsInOrder();
    void formHasItsMarginsAndFrames();
    void formHasItsTexts();
    void progressIsHiddenAtFirst();
    void filesAreHandledOneAtATime();

    void allTicksAndUnticksEveryFile_data();
    void allTicksAndUnticksEveryFile();
    void partlyTickedAllUnticksEveryFile();
    void untickingOneFileLeavesAllTicked();
    void partlyTickedRowIsNotCounted();
    void labelStaysPluralForOneFile();
    void unknownOperationNeverChangesTheLabel_data();
    void unknownOperationNeverChangesTheLabel();

    void rowsArriveTickedBelowAll();
    void otherNameOfAFileArrivesUntickedWithTheReason();
    void rowWithoutReferenceArrivesUntickedWithTheReason();
    void allLeavesTheOnlyCopyUnticked_data();
    void allLeavesTheOnlyCopyUnticked();
    void tickByHandOnTheOnlyCopyCounts();
    void rowWhoseReferenceHasGoneIsNotTickedByAll();
    void noRowsLeaveTheListEmpty();
    void onlyOtherNamesAreListedAllTheSame();
    void rowsAddedAtOnceLookLikeRowsAddedOneByOne();
    void manyRowsAreTickedInLinearTime();
    void rowsAreMeasuredAnewWhenTheFontChanges();

    void cancelledChooserEmptiesTheDirectory();
    void chosenDirectoryIsTakenUnchanged();

    void okAcceptsAndCancelRejects_data();
    void okAcceptsAndCancelRejects();
    void closingTheFrameFinishes();
    void enterStartsNothing_data();
    void enterStartsNothing();
    void spaceOnAFocusedButtonPressesIt();
    void tabFollowsTheFormFromTopToBottom();
};

void DeleteDialogTest::slotsAreInTheirFixedOrder()
{
    const QMetaObject& meta = deleteDialog::staticMetaObject;
    QStringList names;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        QCOMPARE(meta.method(i).methodType(), QMetaMethod::Slot);
        names.append(QString::fromLatin1(meta.method(i).methodSignature()));
    }
    const QStringList expected = {
        u"on_filesList_itemChanged(QListWidgetItem*)"_s,
        u"on_deleteButton_clicked()"_s,
        u"on_okButton_clicked()"_s,
        u"on_cancelButton_clicked()"_s,
        u"on_chooseDirButton_clicked()"_s,
        u"on_moveButton_clicked()"_s,
        u"on_copyButton_clicked()"_s,
    };
    QCOMPARE(names, expected);
}

void DeleteDialogTest::formHoldsItsWidgetsInOrder()
{
    const deleteDialog dialog;
    QCOMPARE(dialog.objectName(), u"deleteDialog"_s);
    QCOMPARE(dialog.size(), QSize(718, 428));
    QCOMPARE(dialog.windowFlags() & ~Qt::WindowFlags(Qt::WindowType_Mask),
             QDialog().windowFlags() & ~Qt::WindowFlags(Qt::WindowType_Mask));

    const auto* outer = qobject_cast<QVBoxLayout*>(dialog.layout());
    QVERIFY(outer != nullptr);
    QCOMPARE(outer->objectName(), u"verticalLayout"_s);
    QCOMPARE(contents(outer),
             QStringList({u"deleteLabel"_s, u"filesList"_s, u"dirSelector"_s, u"frame"_s}));
    const auto* directory = dialog.findChild<QHBoxLayout*>(u"horizontalLayout_2"_s);
    QCOMPARE(directory->parentWidget()->objectName(), u"dirSelector"_s);
    QCOMPARE(contents(directory), QStringList({u"chooseDirButton"_s, u"dirLabel"_s}));
    const auto* bottom = dialog.findChild<QHBoxLayout*>(u"horizontalLayout"_s);
    QCOMPARE(bottom->parentWidget()->objectName(), u"frame"_s);
    QCOMPARE(contents(bottom),
             QStringList({u"deleteProgress"_s, u"-"_s, u"deleteCountLabel"_s, u"deleteButton"_s,
                          u"moveButton"_s, u"copyButton"_s, u"okButton"_s, u"cancelButton"_s}));
    const QSpacerItem* spacer = bottom->itemAt(1)->spacerItem();
    QCOMPARE(spacer->sizeHint(), QSize(40, 20));
    QCOMPARE(spacer->sizePolicy(), QSizePolicy(QSizePolicy::Expanding, QSizePolicy::Minimum));
}

void DeleteDialogTest::formHasItsMarginsAndFrames()
{
    const deleteDialog dialog;
    const auto* directory = dialog.findChild<QHBoxLayout*>(u"horizontalLayout_2"_s);
    const int styleBottom = dialog.style()->pixelMetric(QStyle::PM_LayoutBottomMargin, nullptr,
                                                        directory->parentWidget());
    QCOMPARE(directory->contentsMargins(), QMargins(0, 9, 0, styleBottom));
    QCOMPARE(dialog.findChild<QHBoxLayout*>(u"horizontalLayout"_s)->contentsMargins(), QMargins());
    for (const QString& name : {u"dirSelector"_s, u"frame"_s}) {
        const auto* frame = dialog.findChild<QFrame*>(name);
        QCOMPARE(frame->frameShape(), QFrame::StyledPanel);
        QCOMPARE(frame->frameShadow(), QFrame::Raised);
    }
    QCOMPARE(dialog.findChild<QPushButton*>(u"deleteButton"_s)->minimumSize(), QSize(0, 0));
}

void DeleteDialogTest::formHasItsTexts()
{
    const deleteDialog dialog;
    const auto text = [&dialog](const QString& name) {
        return dialog.findChild<QWidget*>(name)->property("text").toString();
    };
    QCOMPARE(dialog.windowTitle(), QString());
    QCOMPARE(text(u"deleteLabel"_s), QString());
    QCOMPARE(text(u"deleteCountLabel"_s), QString());
    QCOMPARE(text(u"dirLabel"_s), QString());
    QCOMPARE(text(u"chooseDirButton"_s), u"Choose Directory"_s);
    QCOMPARE(text(u"deleteButton"_s), u"Delete"_s);
    QCOMPARE(text(u"moveButton"_s), u"Move"_s);
    QCOMPARE(text(u"copyButton"_s), u"Copy"_s);
    QCOMPARE(text(u"okButton"_s), u"Ok"_s);
    QCOMPARE(text(u"cancelButton"_s), u"Cancel"_s);
    QVERIFY(!dialog.findChild<QLineEdit*>(u"dirLabel"_s)->isReadOnly());
    QCOMPARE(dialog.operation, QString());
}

void DeleteDialogTest::progressIsHiddenAtFirst()
{
    const DialogFixture fixture(u"delete"_s);
    QVERIFY(fixture.progress()->isHidden());
    QCOMPARE(fixture.progress()->value(), 0);
}

void DeleteDialogTest::filesAreHandledOneAtATime()
{
    const DialogFixture fixture(u"delete"_s);
    QCOMPARE(fixture.pool()->maxThreadCount(), 1);
}

void DeleteDialogTest::allTicksAndUnticksEveryFile_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QString>("ending");
    QTest::newRow("delete") << u"delete"_s << u" files marked for deletion"_s;
    QTest::newRow("move") << u"move"_s << u" files marked for move"_s;
    QTest::newRow("copy") << u"copy"_s << u" files marked for copy"_s;
}

void DeleteDialogTest::allTicksAndUnticksEveryFile()
{
    QFETCH(const QString, operation);
    QFETCH(const QString, ending);
    DialogFixture fixture(operation);
    fixture.addFiles(nameList(3));
    fixture.setTicked(0, false);
    QCOMPARE(fixture.rows(),
             QStringList({u"[ ] /music/1.mp3"_s, u"[ ] /music/2.mp3"_s, u"[ ] /music/3.mp3"_s}));
    QCOMPARE(fixture.countLabel(), u"0"_s + ending);

    fixture.setTicked(2, true);
    QCOMPARE(fixture.countLabel(), u"1"_s + ending);
    fixture.setTicked(0, true);
    QCOMPARE(fixture.rows(),
             QStringList({u"[x] /music/1.mp3"_s, u"[x] /music/2.mp3"_s, u"[x] /music/3.mp3"_s}));
    QCOMPARE(fixture.countLabel(), u"3"_s + ending);
}

void DeleteDialogTest::partlyTickedAllUnticksEveryFile()
{
    DialogFixture fixture(u"delete"_s);
    fixture.addFiles(nameList(2));
    fixture.list()->item(0)->setCheckState(Qt::PartiallyChecked);
    QCOMPARE(fixture.rows(), QStringList({u"[ ] /music/1.mp3"_s, u"[ ] /music/2.mp3"_s}));
    QCOMPARE(fixture.countLabel(), u"0 files marked for deletion"_s);
    QCOMPARE(fixture.list()->item(0)->checkState(), Qt::PartiallyChecked);
}

void DeleteDialogTest::untickingOneFileLeavesAllTicked()
{
    DialogFixture fixture(u"move"_s);
    fixture.addFiles(nameList(3));
    fixture.setTicked(2, false);
    QCOMPARE(fixture.list()->item(0)->checkState(), Qt::Checked);
    QCOMPARE(fixture.countLabel(), u"2 files marked for move"_s);
    fixture.setTicked(1, false);
    fixture.setTicked(3, false);
    QCOMPARE(fixture.list()->item(0)->checkState(), Qt::Checked);

    fixture.setTicked(0, false);
    for (int row = 1; row <= 3; ++row) {
        fixture.setTicked(row, true);
    }
    QCOMPARE(fixture.list()->item(0)->checkState(), Qt::Unchecked);
}

void DeleteDialogTest::partlyTickedRowIsNotCounted()
{
    DialogFixture fixture(u"copy"_s);
    fixture.addFiles(nameList(3));
    fixture.list()->item(2)->setCheckState(Qt::PartiallyChecked);
    QCOMPARE(fixture.countLabel(), u"2 files marked for copy"_s);
}

void DeleteDialogTest::labelStaysPluralForOneFile()
{
    DialogFixture fixture(u"delete"_s);
    fixture.addFiles(nameList(2));
    fixture.setTicked(1, false);
    QCOMPARE(fixture.countLabel(), u"1 files marked for deletion"_s);
}

void DeleteDialogTest::unknownOperationNeverChangesTheLabel_data()
{
    QTest::addColumn<QString>("operation");
    QTest::newRow("empty") << QString();
    QTest::newRow("unknown") << u"shred"_s;
    QTest::newRow("other letter case") << u"Delete"_s;
}

void DeleteDialogTest::unknownOperationNeverChangesTheLabel()
{
    QFETCH(const QString, operation);
    DialogFixture fixture(operation);
    fixture.dialog()->findChild<QLabel*>(u"deleteCountLabel"_s)->setText(u"as it was"_s);
    fixture.addFiles(nameList(2));
    fixture.setTicked(1, false);
    fixture.setTicked(0, false);
    QCOMPARE(fixture.countLabel(), u"as it was"_s);
    QCOMPARE(fixture.rows(), QStringList({u"[ ] /music/1.mp3"_s, u"[ ] /music/2.mp3"_s}));
}

void DeleteDialogTest::rowsArriveTickedBelowAll()
{
    const DialogFixture fixture(u"delete"_s);
    QCOMPARE(fixture.dialog()->addRows({{u"/b.mp3"_s}, {u"/a.mp3"_s}, {u"/b.mp3"_s}}), 3);
    QCOMPARE(fixture.list()->item(0)->text(), u"All"_s);
    QCOMPARE(fixture.list()->item(0)->checkState(), Qt::Checked);
    QCOMPARE(fixture.rows(), QStringList({u"[x] /b.mp3"_s, u"[x] /a.mp3"_s, u"[x] /b.mp3"_s}));
    QCOMPARE(fixture.countLabel(), u"3 files marked for deletion"_s);
    QCOMPARE(fixture.list()->item(1)->toolTip(), QString());
}

void DeleteDialogTest::otherNameOfAFileArrivesUntickedWithTheReason()
{
    const DialogFixture fixture(u"delete"_s);
    QCOMPARE(fixture.dialog()->addRows({{u"/link.mp3"_s, u"/a %1 <b>.mp3"_s}, {u"/b.mp3"_s}}), 1);
    QCOMPARE(fixture.rows(), QStringList({u"[ ] /link.mp3"_s, u"[x] /b.mp3"_s}));
    QCOMPARE(fixture.countLabel(), u"1 files marked for deletion"_s);
    // Tool tips take markup, a file's name is none.
    QVERIFY(fixture.list()->item(1)->toolTip().contains(u"/a %1 &lt;b&gt;.mp3"_s));
    QCOMPARE(fixture.list()->item(2)->toolTip(), QString());
}

void DeleteDialogTest::rowWithoutReferenceArrivesUntickedWithTheReason()
{
    const DialogFixture fixture(u"move"_s);
    QCOMPARE(fixture.dialog()->addRows({{u"/b.mp3"_s, {}, u"/a <b>.mp3"_s, false}}), 0);
    QCOMPARE(fixture.rows(), QStringList(u"[ ] /b.mp3"_s));
    QCOMPARE(fixture.countLabel(), u"0 files marked for move"_s);
    QVERIFY(fixture.list()->item(1)->toolTip().contains(
        u"Its reference /a &lt;b&gt;.mp3 is missing: this may be the only copy"_s));
}

void DeleteDialogTest::allLeavesTheOnlyCopyUnticked_data()
{
    QTest::addColumn<DuplicateRow>("row");
    QTest::newRow("another name") << DuplicateRow{u"/link.mp3"_s, u"/a.mp3"_s};
    QTest::newRow("reference missing") << DuplicateRow{u"/link.mp3"_s, {}, u"/a.mp3"_s, false};
}

void DeleteDialogTest::allLeavesTheOnlyCopyUnticked()
{
    QFETCH(const DuplicateRow, row);
    DialogFixture fixture(u"delete"_s);
    fixture.dialog()->addRows({row, {u"/b.mp3"_s}});
    fixture.setTicked(0, false);
    fixture.setTicked(0, true);
    QCOMPARE(fixture.rows(), QStringList({u"[ ] /link.mp3"_s, u"[x] /b.mp3"_s}));
    QCOMPARE(fixture.countLabel(), u"1 files marked for deletion"_s);
    // By hand it can be ticked, which "All" leaves so, and unticked by both.
    fixture.setTicked(1, true);
    QCOMPARE(fixture.countLabel(), u"2 files marked for deletion"_s);
    fixture.setTicked(0, false);
    QCOMPARE(fixture.rows(), QStringList({u"[ ] /link.mp3"_s, u"[ ] /b.mp3"_s}));
    fixture.setTicked(1, true);
    fixture.setTicked(0, true);
    QCOMPARE(fixture.rows(), QStringList({u"[x] /link.mp3"_s, u"[x] /b.mp3"_s}));
}

void DeleteDialogTest::tickByHandOnTheOnlyCopyCounts()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"b.mp3"_s);
    QVERIFY(QFile(path).open(QFile::WriteOnly));
    DialogFixture fixture(u"delete"_s);
    fixture.dialog()->addRows({{path, {}, folder.filePath(u"absent.mp3"_s), false}});
    fixture.setTicked(1, true);
    fixture.start();
    fixture.waitForIdle();
    QCOMPARE(fixture.countLabel(), u"1 files deleted"_s);
    QVERIFY(!QFile::exists(path));
}

void DeleteDialogTest::rowWhoseReferenceHasGoneIsNotTickedByAll()
{
    const QTemporaryDir folder;
    const QString reference = folder.filePath(u"a.mp3"_s);
    QVERIFY(QFile(reference).open(QFile::WriteOnly));
    DialogFixture fixture(u"copy"_s);
    fixture.dialog()->addRows({{u"/b.mp3"_s, {}, reference}, {u"/c.mp3"_s, {}, reference}});
    fixture.setTicked(0, false);
    fixture.setTicked(0, true);
    QCOMPARE(fixture.countLabel(), u"2 files marked for copy"_s);
    fixture.setTicked(0, false);
    QVERIFY(QFile::remove(reference));
    fixture.setTicked(0, true);
    QCOMPARE(fixture.rows(), QStringList({u"[ ] /b.mp3"_s, u"[ ] /c.mp3"_s}));
    QCOMPARE(fixture.countLabel(), u"0 files marked for copy"_s);
}

void DeleteDialogTest::noRowsLeaveTheListEmpty()
{
    const DialogFixture fixture(u"delete"_s);
    QCOMPARE(fixture.dialog()->addRows({}), 0);
    QCOMPARE(fixture.list()->count(), 0);
}

void DeleteDialogTest::onlyOtherNamesAreListedAllTheSame()
{
    const DialogFixture fixture(u"delete"_s);
    QCOMPARE(fixture.dialog()->addRows({{u"/link.mp3"_s, u"/a.mp3"_s}}), 0);
    QCOMPARE(fixture.rows(), QStringList(u"[ ] /link.mp3"_s));
    QCOMPARE(fixture.countLabel(), u"0 files marked for deletion"_s);
}

void DeleteDialogTest::rowsAddedAtOnceLookLikeRowsAddedOneByOne()
{
    const DialogFixture atOnce(u"copy"_s);
    atOnce.dialog()->addRows({{u"/a.mp3"_s}, {u"/b.mp3"_s}});

    const DialogFixture oneByOne(u"copy"_s);
    for (const QString& text : {u"All"_s, u"/a.mp3"_s, u"/b.mp3"_s}) {
        oneByOne.list()->addItem(text);
        oneByOne.list()->item(oneByOne.list()->count() - 1)->setCheckState(Qt::Checked);
    }
    QCOMPARE(atOnce.rows(), oneByOne.rows());
    QCOMPARE(atOnce.countLabel(), oneByOne.countLabel());
    for (int row = 0; row < 3; ++row) {
        const QListWidgetItem* first = atOnce.list()->item(row);
        const QListWidgetItem* second = oneByOne.list()->item(row);
        QCOMPARE(first->text(), second->text());
        QCOMPARE(first->flags(), second->flags());
        QCOMPARE(first->data(Qt::CheckStateRole), second->data(Qt::CheckStateRole));
        QCOMPARE(atOnce.list()->visualItemRect(first), oneByOne.list()->visualItemRect(second));
    }
}

void DeleteDialogTest::manyRowsAreTickedInLinearTime()
{
    // Ten times as many rows, which take a hundred times as long where the square is taken. The
    // processor's time, because a busy machine has others to serve.
    constexpr int kFewRows = 2'000;
    constexpr int kManyRows = 20'000;
    const auto tickAll = [](int rows, std::clock_t& spent) {
        DialogFixture fixture(u"delete"_s);
        const QString allMarked = QStringLiteral("%1 files marked for deletion").arg(rows);
        const std::clock_t start = std::clock();
        fixture.addFiles(nameList(rows));
        QCoreApplication::processEvents();
        QCOMPARE(fixture.countLabel(), allMarked);
        fixture.setTicked(0, false);
        QCoreApplication::processEvents();
        QCOMPARE(fixture.countLabel(), u"0 files marked for deletion"_s);
        fixture.setTicked(0, true);
        QCOMPARE(fixture.countLabel(), allMarked);
        spent = std::clock() - start;
        QCOMPARE(fixture.rows().filter(u"[x]"_s).size(), rows);
    };
    std::clock_t few = 0;
    std::clock_t many = 0;
    tickAll(kFewRows, few);
    tickAll(kManyRows, many);
    qInfo("%lld clocks, and %lld for ten times the rows", static_cast<long long>(few),
          static_cast<long long>(many));
    QVERIFY(few > 0 && many < 40 * few);
}

void DeleteDialogTest::rowsAreMeasuredAnewWhenTheFontChanges()
{
    DialogFixture fixture(u"delete"_s);
    fixture.addFiles(nameList(2));
    const auto height = [&fixture] {
        return fixture.list()->visualItemRect(fixture.list()->item(1)).height();
    };
    const int before = height();
    QFont font = fixture.list()->font();
    font.setPointSize(3 * font.pointSize());
    fixture.list()->setFont(font);
    QTRY_VERIFY(height() > before);
}

void DeleteDialogTest::cancelledChooserEmptiesTheDirectory()
{
    const DialogFixture fixture(u"copy"_s);
    fixture.directory()->setText(u"/typed"_s);
    QString caption;
    QFileDialog::Options options;
    QTimer::singleShot(0, fixture.dialog(), [&] {
        auto* chooser = fixture.dialog()->findChild<QFileDialog*>();
        caption = chooser->windowTitle();
        options = chooser->options();
        chooser->reject();
    });
    fixture.click(u"chooseDirButton"_s);
    QCOMPARE(caption, u"Choose Directory"_s);
    QVERIFY(options.testFlag(QFileDialog::ShowDirsOnly));
    QVERIFY(options.testFlag(QFileDialog::DontResolveSymlinks));
    QCOMPARE(fixture.directory()->text(), QString());
}

void DeleteDialogTest::chosenDirectoryIsTakenUnchanged()
{
    const QTemporaryDir target;
    const DialogFixture fixture(u"move"_s);
    QTimer::singleShot(0, fixture.dialog(), [&] {
        auto* chooser = fixture.dialog()->findChild<QFileDialog*>();
        chooser->findChild<QLineEdit*>(u"fileNameEdit"_s)->setText(target.path());
        QMetaObject::invokeMethod(chooser, "accept");
    });
    fixture.click(u"chooseDirButton"_s);
    QCOMPARE(fixture.directory()->text(), target.path());
}

void DeleteDialogTest::okAcceptsAndCancelRejects_data()
{
    QTest::addColumn<QString>("button");
    QTest::addColumn<int>("result");
    QTest::newRow("ok") << u"okButton"_s << int(QDialog::Accepted);
    QTest::newRow("cancel") << u"cancelButton"_s << int(QDialog::Rejected);
}

void DeleteDialogTest::okAcceptsAndCancelRejects()
{
    QFETCH(const QString, button);
    QFETCH(const int, result);
    for (const QString& operation : {u"delete"_s, u"move"_s, u"copy"_s}) {
        const DialogFixture fixture(operation);
        const QSignalSpy finished(fixture.dialog(), &QDialog::finished);
        fixture.click(button);
        QCOMPARE(finished.size(), 1);
        QCOMPARE(finished.at(0).at(0).toInt(), result);
        QVERIFY(fixture.dialog()->isHidden());
    }
}

void DeleteDialogTest::closingTheFrameFinishes()
{
    const DialogFixture fixture(u"delete"_s);
    const QSignalSpy finished(fixture.dialog(), &QDialog::finished);
    QVERIFY(fixture.dialog()->close());
    QCOMPARE(finished.size(), 1);
}

void DeleteDialogTest::enterStartsNothing_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QString>("widget");
    QTest::newRow("directory, move") << u"move"_s << u"dirLabel"_s;
    QTest::newRow("directory, copy") << u"copy"_s << u"dirLabel"_s;
    QTest::newRow("list, delete") << u"delete"_s << u"filesList"_s;
    QTest::newRow("list, move") << u"move"_s << u"filesList"_s;
}

void DeleteDialogTest::enterStartsNothing()
{
    QFETCH(const QString, operation);
    QFETCH(const QString, widget);
    const QTemporaryDir folder;
    QFile file(folder.filePath(u"a.mp3"_s));
    QVERIFY(file.open(QFile::WriteOnly));
    QVERIFY(QDir(folder.path()).mkdir(u"target"_s));

    DialogFixture fixture(operation);
    fixture.addFiles({file.fileName()});
    fixture.directory()->setText(folder.filePath(u"target"_s));
    bool chooserOpened = false;
    QTimer chooserWatch; // a chooser would run an event loop of its own and never come back
    connect(&chooserWatch, &QTimer::timeout, fixture.dialog(), [&] {
        if (auto* chooser = fixture.dialog()->findChild<QFileDialog*>()) {
            chooserOpened = true;
            chooser->reject();
        }
    });
    chooserWatch.start(1);
    auto* target = fixture.dialog()->findChild<QWidget*>(widget);
    QVERIFY(target->isVisible());
    target->setFocus();
    QTest::keyClick(target, Qt::Key_Return);
    QTest::keyClick(target, Qt::Key_Enter);
    fixture.waitForIdle();

    QVERIFY(!chooserOpened);
    QVERIFY(fixture.dialog()->isVisible());
    QVERIFY(fixture.progress()->isHidden());
    QVERIFY(file.exists());
    QVERIFY(QDir(folder.filePath(u"target"_s)).isEmpty());
    for (const QPushButton* button : fixture.dialog()->findChildren<QPushButton*>()) {
        QVERIFY2(!button->isDefault() && !button->autoDefault(), qPrintable(button->text()));
    }
}

void DeleteDialogTest::spaceOnAFocusedButtonPressesIt()
{
    const DialogFixture fixture(u"delete"_s);
    const QSignalSpy finished(fixture.dialog(), &QDialog::finished);
    fixture.button(u"okButton"_s)->setFocus();
    QTest::keyClick(fixture.button(u"okButton"_s), Qt::Key_Space);
    QCOMPARE(finished.size(), 1);
}

void DeleteDialogTest::tabFollowsTheFormFromTopToBottom()
{
    const deleteDialog dialog;
    QStringList order;
    const QWidget* start = dialog.findChild<QListWidget*>(u"filesList"_s);
    const QWidget* widget = start;
    do {
        if (widget->focusPolicy() & Qt::TabFocus && !widget->objectName().startsWith(u"qt_")) {
            order.append(widget->objectName());
        }
        widget = widget->nextInFocusChain();
    } while (widget != start);
    order.removeAll(QString());
    QCOMPARE(order,
             QStringList({u"filesList"_s, u"chooseDirButton"_s, u"dirLabel"_s, u"deleteButton"_s,
                          u"moveButton"_s, u"copyButton"_s, u"okButton"_s, u"cancelButton"_s}));
}

QTEST_MAIN(DeleteDialogTest)
#include "tst_deletedialog.moc"
