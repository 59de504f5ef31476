#pragma once

#include <QString>

/** A row of the file operation dialog. */
struct DuplicateRow
{
    QString path;
    /** The reference that \a path is another name of; empty if there is none. */
    QString sameFileAs = {};
    /** The file that this one is a duplicate of; empty if there is none to keep. */
    QString reference = {};
    /** Whether the reference exists, so that deleting \a path leaves a copy. */
    bool isReferenceThere = true;
    /** How similar it is to the reference, in percent. */
    int similarity = 0;
};
