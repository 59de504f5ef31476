#pragma once

#include <QByteArray>

/**
 * Why the validator refuses \a json, a result, by the documented schema; empty if it does not.
 */
QByteArray schemaObjection(const QByteArray& json);

/** The same of the lines of \a journal. One without lines is refused. */
QByteArray journalObjection(const QByteArray& journal);
