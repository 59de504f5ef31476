#pragma once

#include <QList>
#include <QtGlobal>

#include <algorithm>
#include <random>

namespace support {

/** The number in the environment variable \a name; \a standard where it has none. */
inline int numberFromEnvironment(const char* name, int standard)
{
    bool ok = false;
    const int number = qEnvironmentVariableIntValue(name, &ok);
    return ok ? number : standard;
}

/** A sample of \a count of \a all, everything if that is 0: the same in each run for one \a seed. */
template <typename T> QList<T> sampleOf(QList<T> all, int count, unsigned seed)
{
    std::shuffle(all.begin(), all.end(), std::mt19937(seed));
    return count == 0 ? all : all.mid(0, count);
}

} // namespace support
