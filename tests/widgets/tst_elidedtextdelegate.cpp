#include "widgets/elidedtextdelegate.h"

#include <QApplication>
#include <QHeaderView>
#include <QHelpEvent>
#include <QScreen>
#include <QTest>
#include <QToolTip>
#include <QTreeWidget>

class TestElidedTextDelegate : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void elidedTextIsShownWhole();
    void textThatFitsIsNotShownAgain();
    void textIsElidedFromThePixelThatItLacks();
    void textIsWrappedOnceTheScreenIsTooNarrow();
    void textThatLooksLikeMarkupIsShownAsItIs();
    void toolTipOfTheCellItselfComesFirst();

private:
    QTreeWidgetItem* add(const QString& text);
    void rest(QTreeWidgetItem* item) const;

    std::unique_ptr<QTreeWidget> m_tree;
};

void TestElidedTextDelegate::init()
{
    m_tree = std::make_unique<QTreeWidget>();
    m_tree->setColumnCount(2);
    m_tree->header()->resizeSection(0, 200);
    m_tree->setItemDelegate(new ElidedTextDelegate(m_tree.get()));
    m_tree->resize(400, 200);
    m_tree->show();
    m_tree->activateWindow(); // only an active window shows tooltips
    QVERIFY(QTest::qWaitForWindowActive(m_tree.get()));
}

void TestElidedTextDelegate::cleanup()
{
    QToolTip::hideText();
    QTRY_VERIFY(!QToolTip::isVisible());
    m_tree.reset();
}

QTreeWidgetItem* TestElidedTextDelegate::add(const QString& text)
{
    auto* item = new QTreeWidgetItem({text});
    m_tree->addTopLevelItem(item);
    return item;
}

/** Rests the pointer on an item's first cell. */
void TestElidedTextDelegate::rest(QTreeWidgetItem* item) const
{
    const QPoint place = m_tree->visualItemRect(item).topLeft() + QPoint(20, 5);
    QHelpEvent event(QEvent::ToolTip, place, m_tree->viewport()->mapToGlobal(place));
    QApplication::sendEvent(m_tree->viewport(), &event);
}

void TestElidedTextDelegate::elidedTextIsShownWhole()
{
    const QString path = QStringLiteral("/music") + QStringLiteral("/long folder").repeated(20);
    rest(add(path));
    QVERIFY(QToolTip::isVisible());
    QVERIFY(QToolTip::text().contains(path));
}

void TestElidedTextDelegate::textThatFitsIsNotShownAgain()
{
    rest(add(QStringLiteral("/music/a")));
    QVERIFY(!QToolTip::isVisible());
}

void TestElidedTextDelegate::textIsElidedFromThePixelThatItLacks()
{
    m_tree->setRootIsDecorated(false);
    QTreeWidgetItem* item = add(QStringLiteral("/music/a song with a name"));
    const QAbstractItemView* view = m_tree.get();
    const int needed = view->sizeHintForColumn(0);
    m_tree->header()->resizeSection(0, needed);
    QCOMPARE(m_tree->visualRect(m_tree->indexFromItem(item)).width(), needed);
    rest(item);
    QVERIFY(!QToolTip::isVisible());
    m_tree->header()->resizeSection(0, needed - 1);
    rest(item);
    QVERIFY(QToolTip::isVisible());
}

void TestElidedTextDelegate::textIsWrappedOnceTheScreenIsTooNarrow()
{
    const QFontMetrics metrics(QToolTip::font());
    const int screenWidth = m_tree->screen()->availableSize().width();
    QString text;
    // A tooltip has a margin beside its text, so a tenth of the screen is left free.
    while (metrics.horizontalAdvance(text + u'i') < screenWidth * 9 / 10) {
        text += u'i';
    }
    rest(add(text));
    QVERIFY2(QToolTip::text().contains(QStringLiteral("white-space:pre'")),
             qPrintable(QToolTip::text()));
    rest(add(text + u'i'));
    QVERIFY2(QToolTip::text().contains(QStringLiteral("white-space:pre-wrap'")),
             qPrintable(QToolTip::text()));
}

void TestElidedTextDelegate::textThatLooksLikeMarkupIsShownAsItIs()
{
    rest(add(QStringLiteral("<b>&amp;</b>").repeated(30)));
    QVERIFY(QToolTip::isVisible());
    QVERIFY(QToolTip::text().contains(QStringLiteral("&lt;b&gt;&amp;amp;&lt;/b&gt;")));
}

void TestElidedTextDelegate::toolTipOfTheCellItselfComesFirst()
{
    QTreeWidgetItem* item = add(QStringLiteral("/music/a"));
    item->setToolTip(0, QStringLiteral("a remark"));
    rest(item);
    QCOMPARE(QToolTip::text(), QStringLiteral("a remark"));
}

QTEST_MAIN(TestElidedTextDelegate)
#include "tst_elidedtextdelegate.moc"
