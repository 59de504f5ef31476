#include "widgets/returnkey.h"

#include <QApplication>
#include <QKeyEvent>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

namespace {

void send(QPushButton& button, QEvent::Type type, Qt::Key key, bool isRepeated)
{
    QKeyEvent event(type, key, Qt::NoModifier, QString(), isRepeated);
    QApplication::sendEvent(&button, &event);
}

} // namespace

class TestReturnKey : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keyClicksWhenItIsReleased_data();
    void keyClicksWhenItIsReleased();
    void repetitionsNeitherPressNorClick_data();
    void repetitionsNeitherPressNorClick();
    void otherKeysDoWhatTheyDid();
    void noButtonBecomesADefaultOne();
};

void TestReturnKey::keyClicksWhenItIsReleased_data()
{
    QTest::addColumn<Qt::Key>("key");
    QTest::newRow("Return") << Qt::Key_Return;
    QTest::newRow("Enter") << Qt::Key_Enter;
}

void TestReturnKey::keyClicksWhenItIsReleased()
{
    QFETCH(const Qt::Key, key);
    QPushButton button;
    returnKey::pressesFocused({&button});
    const QSignalSpy clicks(&button, &QPushButton::clicked);
    send(button, QEvent::KeyPress, key, false);
    QVERIFY(button.isDown());
    QCOMPARE(clicks.count(), 0);
    send(button, QEvent::KeyRelease, key, false);
    QVERIFY(!button.isDown());
    QCOMPARE(clicks.count(), 1);
}

void TestReturnKey::repetitionsNeitherPressNorClick_data()
{
    keyClicksWhenItIsReleased_data();
}

void TestReturnKey::repetitionsNeitherPressNorClick()
{
    QFETCH(const Qt::Key, key);
    QPushButton button;
    returnKey::pressesFocused({&button});
    const QSignalSpy presses(&button, &QPushButton::pressed);
    const QSignalSpy clicks(&button, &QPushButton::clicked);
    send(button, QEvent::KeyPress, key, false);
    // Some platforms repeat both, some the press alone.
    send(button, QEvent::KeyRelease, key, true);
    QVERIFY(button.isDown());
    send(button, QEvent::KeyPress, key, true);
    send(button, QEvent::KeyPress, key, true);
    QCOMPARE(presses.count(), 1);
    QCOMPARE(clicks.count(), 0);
    send(button, QEvent::KeyRelease, key, false);
    QCOMPARE(clicks.count(), 1);
}

void TestReturnKey::otherKeysDoWhatTheyDid()
{
    QPushButton button;
    returnKey::pressesFocused({&button});
    const QSignalSpy presses(&button, &QPushButton::pressed);
    send(button, QEvent::KeyPress, Qt::Key_A, false);
    send(button, QEvent::KeyRelease, Qt::Key_A, false);
    QCOMPARE(presses.count(), 0);
    send(button, QEvent::KeyPress, Qt::Key_Space, false);
    QCOMPARE(presses.count(), 1);
}

void TestReturnKey::noButtonBecomesADefaultOne()
{
    QPushButton button;
    returnKey::pressesFocused({&button});
    QVERIFY(!button.isDefault());
    QVERIFY(!button.autoDefault());
}

QTEST_MAIN(TestReturnKey)
#include "tst_returnkey.moc"
