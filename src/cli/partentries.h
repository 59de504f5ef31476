#pragma once

#include "fingerprint/fingerprintrecord.h"
#include "parts/partrelation.h"
#include "parts/sharedparts.h"

#include <QList>
#include <QString>

namespace cli {

/** A part that two files have in common, as a report lists it. */
struct PartEntry
{
    QString first;
    QString second;
    parts::PartOfFile inFirst;
    parts::PartOfFile inSecond;
    /** In percent. */
    int similarity = 0;
    parts::PartRelation relation = parts::PartRelation::Partial;
};

/** What a report has of parts. */
struct PartList
{
    /** In seconds. */
    int leastLength = 0;
    QList<PartEntry> entries;
    /** The words that are in too many places to be of use, and the number of these places. */
    qint64 commonWords = 0;
    qint64 commonPlaces = 0;
};

/**
 * \a parts of \a records in their order. Two files are one recording by their only part: others
 * differ in more than what is before and behind it. The length of a file is the one that it states,
 * or else that of its fingerprint. Thread: Any thread.
 */
QList<PartEntry> partEntries(const QList<parts::SharedPart>& parts,
                             const QList<FingerprintRecord>& records);

/** \a seconds in milliseconds, rounded. */
qint64 millisecondsOf(double seconds);

/** \a seconds as "hh:mm:ss.s", rounded. */
QString placeText(double seconds);

/** The name of \a relation in reports for programs. */
QLatin1String relationName(parts::PartRelation relation);

/** What the part of \a entry makes of its files, in words; empty if nothing. */
QString relationText(const PartEntry& entry);

} // namespace cli
