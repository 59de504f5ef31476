#pragma once

#include <QString>

/** A file that the file operation dialog lists. */
struct DuplicateRow
{
    QString path;
    /** The reference that \a path is only another name of; empty if it is none of them. */
    QString sameFileAs = {};
    /** The file that this one is a duplicate of; empty if there is none to look after. */
    QString reference = {};
    /** Whether the reference is there, so that a copy is left without this one. */
    bool isReferenceThere = true;
};
