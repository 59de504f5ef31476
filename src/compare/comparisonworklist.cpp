#include "compare/comparisonworklist.h"

#include <QFile>

#include <limits>
#include <mutex>
#include <new>

namespace compare {

namespace {

std::mutex availableMemoryMutex;
std::optional<qint64> availableMemoryForTests;

std::optional<qint64> readAvailableMemory()
{
    QFile file(QStringLiteral("/proc/meminfo"));
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    // The kernel's own estimate, in a line like "MemAvailable:   12345678 kB". The file has no
    // size, so it is read whole.
    constexpr qint64 kBytesPerKibibyte = 1024;
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray& line : lines) {
        if (line.startsWith("MemAvailable:")) {
            bool ok = false;
            const qint64 kibibytes = line.simplified().split(' ').value(1).toLongLong(&ok);
            return ok ? std::optional<qint64>(kibibytes * kBytesPerKibibyte) : std::nullopt;
        }
    }
    return std::nullopt;
}

/** An empty list with room for \a count pairs; no value when there is no such room. */
std::optional<QList<IndexPair>> roomFor(qint64 count)
{
    QList<IndexPair> pairs;
    try {
        pairs.reserve(static_cast<qsizetype>(count));
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
    // Some versions of the list do not throw, and would grow pair by pair until memory runs out.
    if (pairs.capacity() < count) {
        return std::nullopt;
    }
    return pairs;
}

} // namespace

qint64 betweenGroupsPairCount(qint64 firstCount, qint64 secondCount)
{
    return firstCount * secondCount;
}

qint64 withinGroupPairCount(qint64 count)
{
    return count * (count - 1) / 2;
}

std::optional<QList<IndexPair>> betweenGroupsPairs(int firstCount, int secondCount,
                                                   const std::stop_token& stop)
{
    auto pairs = roomFor(betweenGroupsPairCount(firstCount, secondCount));
    for (int i = 0; pairs && i < firstCount && !stop.stop_requested(); ++i) {
        for (int j = 0; j < secondCount; ++j) {
            pairs->emplace_back(i, j);
        }
    }
    return pairs;
}

std::optional<QList<IndexPair>> withinGroupPairs(int count, const std::stop_token& stop)
{
    auto pairs = roomFor(withinGroupPairCount(count));
    for (int i = 0; pairs && i < count && !stop.stop_requested(); ++i) {
        for (int j = i + 1; j < count; ++j) {
            pairs->emplace_back(i, j);
        }
    }
    return pairs;
}

bool comparisonFits(qint64 pairCount, std::optional<qint64> availableBytes)
{
    constexpr auto kBytesPerPair = static_cast<qint64>(sizeof(IndexPair));
    if (pairCount > std::numeric_limits<int>::max()) {
        return false;
    }
    return !availableBytes || pairCount * kBytesPerPair <= *availableBytes;
}

std::optional<qint64> availableMemoryBytes()
{
    const std::scoped_lock lock(availableMemoryMutex);
    return availableMemoryForTests ? availableMemoryForTests : readAvailableMemory();
}

void setAvailableMemoryForTests(std::optional<qint64> bytes)
{
    const std::scoped_lock lock(availableMemoryMutex);
    availableMemoryForTests = bytes;
}

} // namespace compare
