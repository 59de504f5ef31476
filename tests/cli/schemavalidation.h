#pragma once

#include <QByteArray>

/**
 * What the validator says of \a json, held against the documented schema; empty when it has no
 * objection.
 */
QByteArray schemaObjection(const QByteArray& json);
