#pragma once

#include <QString>
#include <QStringList>
#include <QVariant>

/** Executes \a statements on the database at \a path; returns the first column of the last. */
QVariantList executed(const QString& path, const QStringList& statements);

/** All that the store at \a path has, a line for each file, in the order of their names. */
QStringList contentOfStore(const QString& path);
