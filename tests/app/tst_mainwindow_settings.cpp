#include "settings/aboutdialog.h"
#include "settings/settingsdialog.h"
#include "settings/settingsstore.h"
#include "support/windowfixture.h"

#include <QApplication>
#include <QCheckBox>
#include <QDesktopServices>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QTest>

namespace {

/** Every dialog of type T that is shown. */
template <typename T> QList<T*> shownDialogs()
{
    QList<T*> dialogs;
    const QWidgetList widgets = QApplication::topLevelWidgets();
    for (QWidget* widget : widgets) {
        auto* dialog = qobject_cast<T*>(widget);
        if (dialog != nullptr && dialog->isVisible()) {
            dialogs.append(dialog);
        }
    }
    return dialogs;
}

template <typename T> T* child(const QDialog* dialog, const char* name)
{
    return dialog->findChild<T*>(QString::fromLatin1(name));
}

void press(const QDialog* dialog, const char* button)
{
    QTest::mouseClick(child<QPushButton>(dialog, button), Qt::LeftButton);
}

} // namespace

class TestMainWindowSettings : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void catchUrl(const QUrl& url)
    {
        m_opened.append(url);
    }

private Q_SLOTS:
    void init();
    void cleanup();

    void settingsOpenInAWindowOfTheirOwn();
    void secondSettingsBringsTheOpenDialogToTheFront();
    void savedSettingsAreReadAtOnce();
    void closingTheSettingsReleasesThem_data();
    void closingTheSettingsReleasesThem();
    void aboutShowsTheVersionAndOkOnly();
    void aboutCannotBeResized();
    void secondAboutBringsTheOpenDialogToTheFront();
    void closingAboutReleasesIt_data();
    void closingAboutReleasesIt();
    void helpAndContactOpenTheirPages();

private:
    std::unique_ptr<WindowFixture> fixture;
    QList<QUrl> m_opened;
};

void TestMainWindowSettings::init()
{
    fixture = std::make_unique<WindowFixture>();
    fixture->open();
}

void TestMainWindowSettings::cleanup()
{
    qDeleteAll(shownDialogs<QDialog>());
    fixture.reset();
}

void TestMainWindowSettings::settingsOpenInAWindowOfTheirOwn()
{
    fixture->choose("actionSettings");
    QCOMPARE(shownDialogs<SettingsDialog>().size(), 1);
    const SettingsDialog* dialog = shownDialogs<SettingsDialog>().constFirst();
    QCOMPARE(dialog->windowTitle(), QStringLiteral("Settings"));
    QCOMPARE(dialog->parent(), nullptr);
    QVERIFY(!dialog->isModal());
    QCOMPARE(child<QLineEdit>(dialog, "similarityThresh")->text(), QStringLiteral("70"));
    QVERIFY(child<QCheckBox>(dialog, "multicore")->isChecked());
}

void TestMainWindowSettings::secondSettingsBringsTheOpenDialogToTheFront()
{
    fixture->choose("actionSettings");
    const QPointer<SettingsDialog> dialog = shownDialogs<SettingsDialog>().constFirst();
    child<QLineEdit>(dialog, "similarityThresh")->setText(QStringLiteral("12"));
    fixture->window().activateWindow();
    QTRY_COMPARE(QApplication::activeWindow(), &fixture->window());
    fixture->choose("actionSettings");
    QCOMPARE(shownDialogs<SettingsDialog>(), QList<SettingsDialog*>{dialog});
    QTRY_COMPARE(QApplication::activeWindow(), dialog);
    QCOMPARE(child<QLineEdit>(dialog, "similarityThresh")->text(), QStringLiteral("12"));
}

void TestMainWindowSettings::savedSettingsAreReadAtOnce()
{
    fixture->choose("actionSettings");
    const SettingsDialog* dialog = shownDialogs<SettingsDialog>().constFirst();
    child<QLineEdit>(dialog, "similarityThresh")->setText(QStringLiteral("85"));
    child<QCheckBox>(dialog, "multicore")->setChecked(false);
    press(dialog, "saveButton");
    QCOMPARE(settings::similarityThreshold(), 85);
    QCOMPARE(settings::multicoreEnabled(), false);
    fixture->choose("actionSettings");
    QTRY_COMPARE(shownDialogs<SettingsDialog>().size(), 1);
    QCOMPARE(
        child<QLineEdit>(shownDialogs<SettingsDialog>().constFirst(), "similarityThresh")->text(),
        QStringLiteral("85"));
}

void TestMainWindowSettings::closingTheSettingsReleasesThem_data()
{
    QTest::addColumn<QString>("button");
    QTest::newRow("Save") << QStringLiteral("saveButton");
    QTest::newRow("Cancel") << QStringLiteral("cancelButton");
    QTest::newRow("title bar") << QString();
}

void TestMainWindowSettings::closingTheSettingsReleasesThem()
{
    QFETCH(QString, button);
    fixture->choose("actionSettings");
    const QPointer<SettingsDialog> dialog = shownDialogs<SettingsDialog>().constFirst();
    child<QLineEdit>(dialog, "similarityThresh")->setText(QStringLiteral("3"));
    if (button.isEmpty()) {
        dialog->close();
    } else {
        press(dialog, qPrintable(button));
    }
    QTRY_VERIFY(dialog.isNull());
    QCOMPARE(settings::similarityThreshold(), button == QStringLiteral("saveButton") ? 3 : 70);
    fixture->choose("actionSettings");
    QCOMPARE(shownDialogs<SettingsDialog>().size(), 1);
}

void TestMainWindowSettings::aboutShowsTheVersionAndOkOnly()
{
    fixture->choose("actionAbout");
    QCOMPARE(shownDialogs<AboutDialog>().size(), 1);
    const AboutDialog* dialog = shownDialogs<AboutDialog>().constFirst();
    QCOMPARE(dialog->windowTitle(), QStringLiteral("Quorvel"));
    QCOMPARE(child<QLabel>(dialog, "versionLabel")->text(), QStringLiteral("Version: 1.1.0"));
    QVERIFY(!child<QPushButton>(dialog, "cancelButton")->isVisible());
    QVERIFY(child<QPushButton>(dialog, "okButton")->isVisible());
    QVERIFY(!dialog->isModal());
    QCOMPARE(dialog->parent(), nullptr);
}

void TestMainWindowSettings::aboutCannotBeResized()
{
    fixture->choose("actionAbout");
    AboutDialog* dialog = shownDialogs<AboutDialog>().constFirst();
    dialog->resize(800, 600);
    QCOMPARE(dialog->size(), QSize(300, 120));
    QCOMPARE(dialog->minimumSize(), QSize(300, 120));
    QCOMPARE(dialog->maximumSize(), QSize(300, 120));
}

void TestMainWindowSettings::secondAboutBringsTheOpenDialogToTheFront()
{
    fixture->choose("actionAbout");
    AboutDialog* dialog = shownDialogs<AboutDialog>().constFirst();
    fixture->window().activateWindow();
    QTRY_COMPARE(QApplication::activeWindow(), &fixture->window());
    fixture->choose("actionAbout");
    QCOMPARE(shownDialogs<AboutDialog>(), QList<AboutDialog*>{dialog});
    QTRY_COMPARE(QApplication::activeWindow(), dialog);
}

void TestMainWindowSettings::closingAboutReleasesIt_data()
{
    QTest::addColumn<bool>("byButton");
    QTest::newRow("Ok") << true;
    QTest::newRow("title bar") << false;
}

void TestMainWindowSettings::closingAboutReleasesIt()
{
    QFETCH(bool, byButton);
    fixture->choose("actionAbout");
    const QPointer<AboutDialog> dialog = shownDialogs<AboutDialog>().constFirst();
    if (byButton) {
        press(dialog, "okButton");
    } else {
        dialog->close();
    }
    QTRY_VERIFY(dialog.isNull());
    fixture->choose("actionAbout");
    QCOMPARE(shownDialogs<AboutDialog>().size(), 1);
}

void TestMainWindowSettings::helpAndContactOpenTheirPages()
{
    QDesktopServices::setUrlHandler(QStringLiteral("https"), this, "catchUrl");
    fixture->choose("actionHelp_Online");
    fixture->choose("actionContact");
    QDesktopServices::unsetUrlHandler(QStringLiteral("https"));
    QCOMPARE(m_opened.size(), 2);
    QCOMPARE(m_opened.at(0).path(), QStringLiteral("/help"));
    QCOMPARE(m_opened.at(1).path(), QStringLiteral("/contact"));
    for (const QUrl& url : m_opened) {
        QCOMPARE(url.scheme(), QStringLiteral("https"));
        QVERIFY(url.isValid() && !url.host().isEmpty());
    }
}

QTEST_MAIN(TestMainWindowSettings)
#include "tst_mainwindow_settings.moc"
