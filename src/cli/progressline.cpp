#include "cli/progressline.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sys/ioctl.h>
#include <unistd.h>

namespace cli {

namespace {

constexpr int kIntervalMs = 200;
constexpr int kUsualColumns = 80;
/** Goes back to the first column and erases the line. */
constexpr auto kStartOver = "\r\033[K";

int terminalColumns()
{
    winsize size = {};
    const bool known = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
    return known ? size.ws_col : kUsualColumns;
}

} // namespace

ProgressLine::ProgressLine(bool wanted)
    : m_enabled(wanted && ::isatty(STDERR_FILENO) == 1)
{
}

ProgressLine::~ProgressLine()
{
    clear();
}

bool ProgressLine::isDue() const
{
    return m_enabled && (!m_sinceShown.isValid() || m_sinceShown.hasExpired(kIntervalMs));
}

void ProgressLine::show(const QString& text)
{
    if (!m_enabled) {
        return;
    }
    // A character in the last column makes many terminals begin the next line.
    const QByteArray line = text.left(terminalColumns() - 1).toUtf8();
    std::fprintf(stderr, "%s%s", kStartOver, line.constData());
    std::fflush(stderr);
    m_shown = true;
    m_sinceShown.start();
}

void ProgressLine::clear()
{
    if (m_shown) {
        std::fputs(kStartOver, stderr);
        std::fflush(stderr);
        m_shown = false;
    }
    m_sinceShown.invalidate();
}

QString timeText(double seconds)
{
    constexpr double kLongest = 1e9;
    const auto whole = static_cast<qint64>(std::llround(std::clamp(seconds, 0.0, kLongest)));
    const auto twoDigits = [](qint64 number) {
        return QStringLiteral("%1").arg(number, 2, 10, QLatin1Char('0'));
    };
    const QString minutesAndSeconds =
        QStringLiteral("%1:%2").arg(twoDigits(whole / 60 % 60), twoDigits(whole % 60));
    return whole < 3600 ? minutesAndSeconds
                        : QStringLiteral("%1:%2").arg(whole / 3600).arg(minutesAndSeconds);
}

} // namespace cli
