#pragma once

#include <QtGlobal>

#include <cerrno>
#include <unistd.h>

namespace fileops {

/** Repeats a system call while signals interrupt it. Returns its result. */
template <typename Call> auto uninterrupted(const Call& call)
{
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

/** An open file descriptor, which the destructor closes. Thread: Reentrant: one object per thread.
 */
class FileDescriptor
{
public:
    /** Takes ownership of \a descriptor. A negative one is a failed open. */
    explicit FileDescriptor(int descriptor)
        : m_descriptor(descriptor)
    {
    }
    ~FileDescriptor()
    {
        close();
    }
    Q_DISABLE_COPY_MOVE(FileDescriptor)

    bool isOpen() const
    {
        return m_descriptor >= 0;
    }
    int get() const
    {
        return m_descriptor;
    }

    /** Closes, once. False if the system reports a failure, e.g. of a delayed write. */
    bool close()
    {
        const int descriptor = m_descriptor;
        m_descriptor = -1;
        return descriptor < 0 || ::close(descriptor) == 0;
    }

private:
    int m_descriptor;
};

} // namespace fileops
