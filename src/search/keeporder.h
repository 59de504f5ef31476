#pragma once

#include "fingerprint/filefacts.h"

#include <QList>
#include <QString>
#include <QStringList>

namespace search {

/** A rule by which one of two alike files is kept rather than the other. */
struct KeepRule
{
    enum class Kind {
        /** Files that are known to be whole. */
        Complete,
        Lossless,
        /** The higher rate; of two lossless files, or of two lossy ones. */
        SampleRate,
        /** The higher rate; of two files of one codec. */
        BitRate,
        /** The larger file. */
        Size,
        /** The file whose content was written earlier. */
        Oldest,
        /** Files in a folder, at any depth. */
        Under,
    };

    Kind kind = Kind::Complete;
    /** Of Under: absolute, all links resolved. */
    QString folder = {};

    bool operator==(const KeepRule&) const = default;
};

/** What the rules see of a file. */
struct KeepCandidate
{
    QString path;
    /** The folder that the file is in: absolute, all links resolved. */
    QString folder;
    /** 0 or less if unknown. */
    int sampleRateHz = 0;
    fingerprint::FileFacts facts;
};

/**
 * The paths of \a files, those that are kept rather than others first. \a files are alike, or
 * linked by others that are. The result is the same for any order of \a files. An unknown sample or
 * bit rate is below any other, and rates of files whose codec is unknown are not compared.
 *
 * The first of \a rules that tells two files apart decides, then the path. As a comparison of two
 * files this is no order, and sorting by it is undefined: A has the same codec as B and a higher bit
 * rate, B is larger than C, and C, of another codec, is larger than A. By bit rate, then by size,
 * each of them is better than the next one in this circle. A fixed order of the codecs would break
 * it, and with it every pair of two codecs, whose sizes would never be looked at.
 *
 * So the order is made of all files at once. The first is what remains when each rule in turn
 * removes the files that another remaining one is better than; the second is the first of all
 * others, and so on. In the circle above the bit rate removes B, the size A: C, A, B. Hence:
 * - It is a total order.
 * - Two files are in the order of the rule that decides, if each earlier rule compares them, as all
 *   but SampleRate and BitRate do.
 * - Others are, too, unless there is such a circle. Then a later rule gives way to an earlier one.
 *
 * Requires: each path once.
 * Cost: that of sorting, and for each file the rules times the square of the number of codecs.
 * Thread: Any thread.
 */
QStringList bestFirst(const QList<KeepCandidate>& files, const QList<KeepRule>& rules);

} // namespace search
