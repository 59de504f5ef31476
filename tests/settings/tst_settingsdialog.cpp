#include "settings/settingsdialog.h"
#include "settings/settingsstore.h"

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

namespace {

template <typename T> T* widget(const QDialog& dialog, const char* name)
{
    return dialog.findChild<T*>(QString::fromLatin1(name));
}

} // namespace

class TestSettingsDialog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        settings::write({70, true});
    }

    void slotsAreInTheirOrder();
    void formHasItsTextsAndSizes();
    void fieldsAreAligned();
    void showsTheStoredValues();
    void savingStoresTheNumberOrZero_data();
    void savingStoresTheNumberOrZero();
    void savingStoresMulticore();
    void cancelStoresNothing();
    void closingByTheFrameStoresNothing();
};

void TestSettingsDialog::slotsAreInTheirOrder()
{
    const QMetaObject& meta = SettingsDialog::staticMetaObject;
    QCOMPARE(meta.method(meta.methodOffset()).name(), QByteArray("on_saveButton_clicked"));
    QCOMPARE(meta.method(meta.methodOffset() + 1).name(), QByteArray("on_cancelButton_clicked"));
    QCOMPARE(meta.methodCount(), meta.methodOffset() + 2);
}

void TestSettingsDialog::formHasItsTextsAndSizes()
{
    const SettingsDialog dialog;
    QCOMPARE(dialog.objectName(), QStringLiteral("SettingsDialog"));
    QCOMPARE(dialog.size(), QSize(340, 144));
    QCOMPARE(dialog.windowTitle(), QStringLiteral("Dialog"));
    const auto* similarityLabel = widget<QLabel>(dialog, "SimilarityLabel");
    QCOMPARE(similarityLabel->text(), QStringLiteral("Similarity threshold (0-100):"));
    QCOMPARE(similarityLabel->toolTip(), QStringLiteral("Default: 70"));
    QCOMPARE(similarityLabel->minimumHeight(), 32);
    QCOMPARE(widget<QLineEdit>(dialog, "similarityThresh")->maximumWidth(), 100);
    QCOMPARE(widget<QLabel>(dialog, "label")->text(), QStringLiteral("Multicore processing:"));
    QCOMPARE(widget<QLabel>(dialog, "label")->minimumHeight(), 32);
    QCOMPARE(widget<QCheckBox>(dialog, "multicore")->text(), QString());
    QCOMPARE(widget<QPushButton>(dialog, "saveButton")->text(), QStringLiteral("Save"));
    QCOMPARE(widget<QPushButton>(dialog, "cancelButton")->text(), QStringLiteral("Cancel"));
}

void TestSettingsDialog::fieldsAreAligned()
{
    SettingsDialog dialog;
    dialog.show();
    const auto left = [&dialog](const char* name) {
        return widget<QWidget>(dialog, name)->mapTo(&dialog, QPoint(0, 0)).x();
    };
    QCOMPARE(left("similarityThresh"), left("multicore"));
    QCOMPARE(dialog.size(), QSize(340, 144));
}

void TestSettingsDialog::showsTheStoredValues()
{
    settings::write({-12, false});
    const SettingsDialog dialog;
    QCOMPARE(widget<QLineEdit>(dialog, "similarityThresh")->text(), QStringLiteral("-12"));
    QVERIFY(!widget<QCheckBox>(dialog, "multicore")->isChecked());
}

void TestSettingsDialog::savingStoresTheNumberOrZero_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("stored");
    QTest::newRow("in range") << QStringLiteral("85") << 85;
    QTest::newRow("not a number") << QStringLiteral("abc") << 0;
    QTest::newRow("does not fit 32 bits") << QStringLiteral("99999999999") << 0;
    QTest::newRow("above the range") << QStringLiteral("150") << 150;
    QTest::newRow("below the range") << QStringLiteral("-5") << -5;
    QTest::newRow("empty") << QString() << 0;
    QTest::newRow("a fraction") << QStringLiteral("70.5") << 0;
    QTest::newRow("hexadecimal") << QStringLiteral("0x46") << 0;
    QTest::newRow("leading zero is not octal") << QStringLiteral("010") << 10;
}

void TestSettingsDialog::savingStoresTheNumberOrZero()
{
    QFETCH(QString, text);
    SettingsDialog dialog;
    dialog.show();
    const QSignalSpy finished(&dialog, &QDialog::finished);
    widget<QLineEdit>(dialog, "similarityThresh")->setText(text);
    QTest::mouseClick(widget<QPushButton>(dialog, "saveButton"), Qt::LeftButton);
    QTEST(settings::similarityThreshold(), "stored");
    QCOMPARE(finished.count(), 1);
    QCOMPARE(finished.at(0).at(0).toInt(), int(QDialog::Accepted));
}

void TestSettingsDialog::savingStoresMulticore()
{
    SettingsDialog dialog;
    dialog.show();
    widget<QCheckBox>(dialog, "multicore")->setChecked(false);
    QTest::mouseClick(widget<QPushButton>(dialog, "saveButton"), Qt::LeftButton);
    QCOMPARE(settings::multicoreEnabled(), false);
    QCOMPARE(settings::similarityThreshold(), 70);
}

void TestSettingsDialog::cancelStoresNothing()
{
    SettingsDialog dialog;
    dialog.show();
    const QSignalSpy finished(&dialog, &QDialog::finished);
    widget<QLineEdit>(dialog, "similarityThresh")->setText(QStringLiteral("1"));
    widget<QCheckBox>(dialog, "multicore")->setChecked(false);
    QTest::mouseClick(widget<QPushButton>(dialog, "cancelButton"), Qt::LeftButton);
    QCOMPARE(settings::similarityThreshold(), 70);
    QCOMPARE(settings::multicoreEnabled(), true);
    QCOMPARE(finished.value(0).value(0).toInt(), int(QDialog::Rejected));
}

void TestSettingsDialog::closingByTheFrameStoresNothing()
{
    SettingsDialog dialog;
    dialog.show();
    widget<QLineEdit>(dialog, "similarityThresh")->setText(QStringLiteral("1"));
    dialog.close();
    QCOMPARE(settings::similarityThreshold(), 70);
}

QTEST_MAIN(TestSettingsDialog)
#include "tst_settingsdialog.moc"
