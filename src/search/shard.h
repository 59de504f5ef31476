#pragma once

#include <QString>

namespace search {

/** One of the parts into which files are divided by their names, so that several machines share them. */
struct Shard
{
    /** From 1 to the count. */
    int number = 1;
    int count = 1;

    bool operator==(const Shard&) const = default;
};

/**
 * Returns the number of the shard, of \a count, that the file belongs to which stores keep under
 * \a storedPath: the first eight bytes of the SHA-256 of that name, as it is on the disk, read as a
 * number with the most significant byte first; modulo \a count, plus one. Every machine with the
 * same mounts divides the files alike, however their folders are called there.
 *
 * Requires: a \a count of 1 or more. Thread: Any thread.
 */
int shardOf(const QString& storedPath, int count);

} // namespace search
