#pragma once

#include <QList>

namespace testmedia {

/**
 * How alike two raw fingerprints are, in whole percent, at the best of the shifts of up to 39 words
 * of either against the other: 100 * (1 - 2 * bit error rate), not below 0. Counted bit by bit, to
 * be as plain as can be.
 */
int likenessPercent(const QList<quint32>& first, const QList<quint32>& second);

} // namespace testmedia
