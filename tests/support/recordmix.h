#pragma once

#include "fingerprint/fingerprintrecord.h"

#include <QList>

/** Large collections that were never recorded, for what compares fingerprints. */
namespace recordmix {

using Words = QList<quint32>;

enum class Mix {
    Songs,   ///< Lengths are lognormal around 3:50.
    Radio,   ///< Jingles and shows of exact lengths between songs.
    Effects, ///< Half of them shorter than four seconds.
    Noise,   ///< Lengths like songs, random words: the worst case, since nothing is alike in them.
};

/** What records are made of. */
struct Material
{
    /** Fingerprints of real recordings. */
    QList<Words> recordings;
    /** The bits by which words of a re-encoding differ from its origin's, one after the other. */
    Words errors;
};

/**
 * The fingerprints of \a records as material: errors are those between any two that are alike, at
 * the shift where they are most alike. Records without a fingerprint are left out.
 * Errors: none; what has no recordings is Noise in every mix, and without errors copies are exact.
 */
Material materialOf(const QList<FingerprintRecord>& records);

/**
 * \a count records, the same for the same \a seed.
 *
 * Each is spliced together from pieces of \a material, of 20 seconds to two minutes, that begin
 * anywhere and are played up to a tenth faster or slower. The sixteen two-bit fields of its words
 * are permuted in a manner of its own: spliced from few recordings, records would truly share
 * pieces; so they do not, while neighbouring words and bits keep all that they have in common.
 * Every hundredth is a copy of an earlier one, shifted by up to two seconds, with errors of a
 * re-encoding.
 */
QList<FingerprintRecord> makeRecords(int count, Mix mix, const Material& material, unsigned seed);

} // namespace recordmix
