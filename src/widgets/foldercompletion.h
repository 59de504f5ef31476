#pragma once

class QLineEdit;

namespace folderCompletion {

/**
 * Completes paths of folders in \a field while they are typed. Another thread lists the folder that
 * the path has got to, so that a slow disk does not hold up the typing.
 * Thread: GUI thread only.
 */
void completes(QLineEdit* field);

} // namespace folderCompletion
