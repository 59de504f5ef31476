#include "cli/progressline.h"

#include <QTest>

#include <utility>

#include <pty.h>
#include <unistd.h>

using cli::ProgressLine;

namespace {

/** A terminal in the place of standard error, for its lifetime. */
class Terminal
{
public:
    explicit Terminal(int columns)
        : m_original(::dup(STDERR_FILENO))
    {
        int line = -1;
        const winsize size = {24, static_cast<unsigned short>(columns), 0, 0};
        if (::openpty(&m_terminal, &line, nullptr, nullptr, &size) != 0) {
            qFatal("no terminal can be opened");
        }
        ::dup2(line, STDERR_FILENO);
        ::close(line);
    }
    ~Terminal()
    {
        close();
        ::close(m_terminal);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /** Closes the terminal and returns all that was written to it. */
    QByteArray close()
    {
        QByteArray written;
        if (m_original < 0) {
            return written;
        }
        ::dup2(m_original, STDERR_FILENO);
        ::close(std::exchange(m_original, -1));
        char buffer[4096];
        // Ends with an error, since nobody has the other end open any more.
        for (ssize_t count = 0; (count = ::read(m_terminal, buffer, sizeof buffer)) > 0;) {
            written.append(buffer, count);
        }
        return written;
    }

private:
    int m_original;
    int m_terminal = -1;
};

const QByteArray kStartOver = "\r\033[K";

} // namespace

class TestProgressLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lineLeavesTheLastColumnFree_data();
    void lineLeavesTheLastColumnFree();
    void lineIsClearedOnce();
    void nothingIsDueWhereNothingIsShown();
    void clearedLineIsDue();
    void timeIsShownInHoursMinutesAndSeconds_data();
    void timeIsShownInHoursMinutesAndSeconds();
};

void TestProgressLine::lineLeavesTheLastColumnFree_data()
{
    QTest::addColumn<int>("columns");
    QTest::addColumn<int>("shown");
    QTest::newRow("unknown") << 0 << 79;
    QTest::newRow("too narrow to be true") << 1 << 79;
    QTest::newRow("two columns") << 2 << 1;
    QTest::newRow("twenty columns") << 20 << 19;
    QTest::newRow("as wide as the text") << 300 << 299;
    QTest::newRow("wider than the text") << 301 << 300;
}

void TestProgressLine::lineLeavesTheLastColumnFree()
{
    QFETCH(const int, columns);
    QFETCH(const int, shown);
    Terminal terminal(columns);
    {
        ProgressLine line(true);
        line.show(QString(300, u'x'));
    }
    QCOMPARE(terminal.close(), kStartOver + QByteArray(shown, 'x') + kStartOver);
}

void TestProgressLine::lineIsClearedOnce()
{
    Terminal terminal(80);
    {
        ProgressLine line(true);
        line.clear();
        line.show(QStringLiteral("text"));
        line.clear();
        line.clear();
    }
    QCOMPARE(terminal.close(), kStartOver + "text" + kStartOver);
}

void TestProgressLine::nothingIsDueWhereNothingIsShown()
{
    const Terminal terminal(80);
    QVERIFY(ProgressLine(true).isDue());
    QVERIFY(!ProgressLine(false).isDue());
}

void TestProgressLine::clearedLineIsDue()
{
    const Terminal terminal(80);
    ProgressLine line(true);
    line.show(QStringLiteral("text"));
    line.clear();
    QVERIFY(line.isDue());
}

void TestProgressLine::timeIsShownInHoursMinutesAndSeconds_data()
{
    QTest::addColumn<double>("seconds");
    QTest::addColumn<QString>("text");
    QTest::newRow("none") << 0.0 << QStringLiteral("00:00");
    QTest::newRow("negative") << -5.0 << QStringLiteral("00:00");
    QTest::newRow("rounded") << 59.6 << QStringLiteral("01:00");
    QTest::newRow("below an hour") << 3599.0 << QStringLiteral("59:59");
    QTest::newRow("an hour") << 3600.0 << QStringLiteral("1:00:00");
    QTest::newRow("a day and more") << 90061.0 << QStringLiteral("25:01:01");
    QTest::newRow("endless") << 1e300 << QStringLiteral("277777:46:40");
}

void TestProgressLine::timeIsShownInHoursMinutesAndSeconds()
{
    QFETCH(const double, seconds);
    QTEST(cli::timeText(seconds), "text");
}

QTEST_APPLESS_MAIN(TestProgressLine)
#include "tst_progressline.moc"
