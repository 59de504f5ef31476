#pragma once

#include <QByteArray>
#include <QList>

#include <random>

/** Makes damaged content out of sound content. Equal generators give equal results everywhere. */
namespace fuzz {

using Random = std::mt19937_64;

/** The generator of one case: any case can be made again without the ones before it. */
Random randomFor(quint64 seed, quint64 caseNumber);

/** A number below \a count, which must not be 0. */
quint64 pick(Random& random, quint64 count);

/**
 * \a content with one to six changes: bits and bytes of the header or the middle, numbers that
 * programs trip over, pieces taken out, doubled, moved or blanked, the end cut off, and, of
 * \a others, the rest of another file in place of this one's. At most 256 KiB long.
 */
QByteArray mutated(QByteArray content, const QList<QByteArray>& others, Random& random);

/** \a size random bytes. */
QByteArray noise(qsizetype size, Random& random);

} // namespace fuzz
