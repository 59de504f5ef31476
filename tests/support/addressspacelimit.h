#pragma once

#include <QFile>

#include <sys/resource.h>
#include <unistd.h>

namespace support {

/**
 * Lets the process take \a bytes more of address space than it has, for its lifetime. Not with an
 * address sanitizer, which takes terabytes.
 */
class AddressSpaceLimit
{
public:
    explicit AddressSpaceLimit(rlim_t bytes)
    {
        QFile statistics(QStringLiteral("/proc/self/statm"));
        const bool opened = statistics.open(QIODevice::ReadOnly);
        const rlim_t pages = statistics.readAll().split(' ').value(0).toULongLong();
        m_holds = opened && getrlimit(RLIMIT_AS, &m_before) == 0;
        rlimit limit = m_before;
        limit.rlim_cur = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + bytes;
        m_holds = m_holds && setrlimit(RLIMIT_AS, &limit) == 0;
    }
    ~AddressSpaceLimit()
    {
        setrlimit(RLIMIT_AS, &m_before);
    }
    AddressSpaceLimit(const AddressSpaceLimit&) = delete;
    AddressSpaceLimit& operator=(const AddressSpaceLimit&) = delete;

    bool holds() const
    {
        return m_holds;
    }

private:
    rlimit m_before{};
    bool m_holds = false;
};

} // namespace support
