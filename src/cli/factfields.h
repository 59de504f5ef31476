#pragma once

#include "fingerprint/filefacts.h"

#include <QJsonValue>
#include <QList>
#include <QString>

namespace cli {

/** A fact of a file, as the formats for programs have it. */
struct FactField
{
    QString name;
    QJsonValue value;
};

/** The fields of \a facts; their names and order are the same for all files. Thread: Any thread. */
QList<FactField> factFields(const fingerprint::FileFacts& facts);

} // namespace cli
