#pragma once

#include <QList>

/** The number of set bits of each byte value. */
// NOLINTNEXTLINE(modernize-avoid-c-arrays): the table is to be just its 256 numbers
extern const int popcnt_table_8bit[256];

/** The number of set bits of \a value, by four lookups in popcnt_table_8bit. Reentrant. */
int popcnt(int value);

/**
 * How alike two raw fingerprints are, as a whole percentage from 0 to 100.
 *
 * The words of \a second are laid against those of \a first, shifted by 0 to 39 words; at each
 * shift the value is the whole part of 100 * (1 - 2 * BER), not below 0, where BER is the bit error
 * rate of the overlapping words. The best value over the shifts is returned. Unrelated audio has a
 * bit error rate of about one half and gives 0.
 *
 * Only \a first is shifted, so the order of the arguments matters. A short overlap counts as much
 * as a long one. An empty list gives 0.
 *
 * Thread: any thread. Reentrant: allocates nothing, writes nothing.
 */
int getSimilarity(const QList<unsigned int>& first, const QList<unsigned int>& second);
