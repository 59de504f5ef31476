#pragma once

#include "fileops/samefile.h"

#include <QHash>
#include <QSet>
#include <QString>

namespace fileops {

/**
 * Tells, while the rows of the file operation dialog are gathered, which of them must not be ticked
 * because they are only another name of a file that stays. Ask once per row, in the order of the
 * rows.
 *
 * A file that is no duplicate of anything but reached by two paths (a symbolic link, a folder
 * listed under two names) matches itself. Two alike files in a folder reached by two paths match
 * each other under every pair of names: ticking all that is not named like its own reference would
 * take both. So a reference file that was not offered for removal before is held to stay, and every
 * other name of it is, in whichever list it stands.
 *
 * A row whose path is that of the reference itself is not another name, and where no file has two
 * names nothing is ever held back but a file in its own list.
 *
 * Cost: about one status call per path. Thread: any thread, blocking; one object per thread.
 */
class KeptFiles
{
public:
    /**
     * The file that \a path is another name of, to be shown to the user; empty if the row may be
     * ticked. \a reference is the file in whose list of duplicates the row stands.
     */
    QString otherNameOf(const QString& reference, const QString& path);

private:
    void holdReference(const QString& reference);

    QString m_reference; ///< The last reference asked for, and its identity.
    std::optional<FileIdentity> m_referenceIdentity;
    QHash<FileIdentity, QString> m_kept;
    QSet<FileIdentity> m_offered;
};

} // namespace fileops
