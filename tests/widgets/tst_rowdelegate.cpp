#include "widgets/rowdelegate.h"

#include <QListWidget>
#include <QProxyStyle>
#include <QTest>

#include <memory>

namespace {

/** A style with room around each row; counts the rows that it measures. */
class RoomyStyle : public QProxyStyle
{
public:
    explicit RoomyStyle(int room)
        : m_room(room)
    {
    }

    QSize sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& size,
                           const QWidget* widget) const override
    {
        ++measured;
        return QProxyStyle::sizeFromContents(type, option, size, widget) + QSize(0, m_room);
    }

    mutable int measured = 0;

private:
    int m_room;
};

} // namespace

class TestRowDelegate : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void eachTextIsMeasuredOnce();
    void rowIsMeasuredAnewAfterAChange_data();
    void rowIsMeasuredAnewAfterAChange();

private:
    /** The size of the row \a row as the delegate gives it, and as any delegate does. */
    QSize size(int row) const;
    QSize expectedSize(int row) const;
    QStyleOptionViewItem option() const;

    RoomyStyle m_style{0};
    RoomyStyle m_otherStyle{7};
    std::unique_ptr<QListWidget> m_list;
    std::unique_ptr<RowDelegate> m_delegate;
};

void TestRowDelegate::init()
{
    m_list = std::make_unique<QListWidget>();
    m_list->addItems(
        {QStringLiteral("short"), QStringLiteral("a longer row"), QStringLiteral("short")});
    m_list->setStyle(&m_style);
    m_delegate = std::make_unique<RowDelegate>();
}

QStyleOptionViewItem TestRowDelegate::option() const
{
    QStyleOptionViewItem option;
    option.initFrom(m_list.get());
    option.font = m_list->font();
    option.widget = m_list.get();
    return option;
}

QSize TestRowDelegate::size(int row) const
{
    return m_delegate->sizeHint(option(), m_list->model()->index(row, 0));
}

QSize TestRowDelegate::expectedSize(int row) const
{
    return QStyledItemDelegate().sizeHint(option(), m_list->model()->index(row, 0));
}

void TestRowDelegate::eachTextIsMeasuredOnce()
{
    m_style.measured = 0;
    for (int round = 0; round < 3; ++round) {
        for (int row = 0; row < m_list->count(); ++row) {
            size(row);
        }
    }
    QCOMPARE(m_style.measured, 2);
    QCOMPARE(size(0), expectedSize(0));
    QCOMPARE(size(1), expectedSize(1));
    QVERIFY(size(1) != size(0));
}

void TestRowDelegate::rowIsMeasuredAnewAfterAChange_data()
{
    QTest::addColumn<QString>("change");
    for (const char* change : {"text", "font", "style"}) {
        QTest::newRow(change) << QString::fromLatin1(change);
    }
}

void TestRowDelegate::rowIsMeasuredAnewAfterAChange()
{
    QFETCH(const QString, change);
    const QSize before = size(0);
    if (change == u"text") {
        m_list->item(0)->setText(QStringLiteral("short no longer"));
    } else if (change == u"font") {
        QFont font = m_list->font();
        font.setPointSize(3 * font.pointSize());
        m_list->setFont(font);
    } else {
        m_list->setStyle(&m_otherStyle);
    }
    QCOMPARE(size(0), expectedSize(0));
    QVERIFY(size(0) != before);
}

QTEST_MAIN(TestRowDelegate)
#include "tst_rowdelegate.moc"
