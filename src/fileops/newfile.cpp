#include "fileops/newfile.h"

#include <fcntl.h>

namespace fileops {

namespace {

/** Until the file is complete, nobody else has any business with it. */
constexpr mode_t kModeWhileIncomplete = S_IRUSR | S_IWUSR;

int createNew(const NameIn& name)
{
    return uninterrupted([&name] {
        return ::openat(name.directory, name.name.constData(),
                        O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kModeWhileIncomplete);
    });
}

} // namespace

NewFile::NewFile(NameIn name)
    : m_name(std::move(name))
    , m_descriptor(createNew(m_name))
{
    m_kept = !isOpen();
    if (isOpen() && !refresh()) {
        // Just made, and nobody else knows the name: no identity is needed to remove it.
        ::unlinkat(m_name.directory, m_name.name.constData(), 0);
        m_descriptor.close();
        m_kept = true;
    }
}

NewFile::~NewFile()
{
    if (!m_kept && standsFor(m_name, m_status)) {
        ::unlinkat(m_name.directory, m_name.name.constData(), 0);
    }
}

bool NewFile::refresh()
{
    return ::fstat(m_descriptor.get(), &m_status) == 0;
}

} // namespace fileops
