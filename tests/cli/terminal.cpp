#include "terminal.h"

#include <QTest>

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int kHangGuardMs = 300'000;

} // namespace

Terminal::Terminal()
    : m_reader(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK))
    , m_writer(-1)
{
    if (m_reader >= 0 && ::grantpt(m_reader) == 0 && ::unlockpt(m_reader) == 0) {
        // cppcheck-suppress useInitializationList ; it has no name before
        m_writer = ::open(::ptsname(m_reader), O_RDWR | O_NOCTTY | O_CLOEXEC);
    }
    if (m_writer < 0) {
        qFatal("no terminal: %s", qPrintable(qt_error_string()));
    }
}

Terminal::~Terminal()
{
    ::close(m_writer);
    ::close(m_reader);
}

void Terminal::attachTo(QProcess& process) const
{
    process.setChildProcessModifier([writer = m_writer] { ::dup2(writer, STDERR_FILENO); });
}

QByteArray Terminal::text()
{
    char buffer[4096];
    for (ssize_t size = 0; (size = ::read(m_reader, buffer, sizeof buffer)) > 0;) {
        m_text.append(buffer, size);
    }
    return m_text;
}

bool Terminal::waitForProgress(const QProcess& process, const QRegularExpression& pattern)
{
    const auto isShown = [&] {
        const QString last = QString::fromUtf8(text()).section(u'\r', -1);
        return pattern.match(last).hasMatch();
    };
    return QTest::qWaitFor([&] { return isShown() || process.state() == QProcess::NotRunning; },
                           kHangGuardMs) &&
           isShown();
}
