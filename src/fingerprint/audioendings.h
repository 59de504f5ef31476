#pragma once

#include <QSet>
#include <QString>

namespace fingerprint {

/**
 * The endings under which FFmpeg reads or writes sound, lower case, without a dot: more than those
 * of audioFileNamePatterns(). Fingerprinting finds out whether a file has sound.
 *
 * FFmpeg has no list of them. These are the endings of all formats that can be written with sound,
 * and of those that can only be read and are not known to be pictures, films without sound, texts
 * or lists of other files. Formats that it recognises by their content alone, and does not write,
 * have no endings.
 *
 * Thread: Any thread.
 */
const QSet<QString>& audioEndings();

} // namespace fingerprint
