#pragma once

#include <QString>
#include <QStringList>

#include <functional>

class QLineEdit;

namespace folderCompletion {

/** Returns the paths of the folders in \a folder, which ends in a slash. Thread: Any thread. */
using Listing = std::function<QStringList(const QString& folder)>;

/** As on the disk, without the hidden ones, by name. Thread: Any thread, blocking. */
QStringList foldersIn(const QString& folder);

/**
 * Completes paths of folders in \a field while they are typed. Another thread lists the folder that
 * the path has got to, so that a slow disk does not hold up the typing. Neither the end of the field
 * nor that of the program waits for it. Tests give a \a listing of their own.
 * Thread: GUI thread only.
 */
void completes(QLineEdit* field, const Listing& listing = &foldersIn);

} // namespace folderCompletion
