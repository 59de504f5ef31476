#include "actions/filereturn.h"

#include "actions/filestate.h"
#include "fileops/exclusiverename.h"
#include "fileops/fileoperations.h"

#include <QFile>

#include <fcntl.h>

namespace actions {

namespace {

using Kind = FileState::Kind;
using State = JournalMove::State;

void restoreTimes(const JournalMove& move)
{
    const FileState now = stateOf(move.from);
    // A time that others have set since is kept.
    const bool isUntouched =
        move.modifiedThere == fileops::FileTime{} || move.modifiedThere == now.modified;
    if (now.kind == Kind::RegularFile && now.modified != move.modified && isUntouched) {
        setModified(move.from, move.modified);
    }
    if (move.restoresFolderTime) {
        setModified(folderOf(move.from), move.folderModified);
    }
}

/** Whether the folder is as the move left it. */
bool mayRestoreFolderTime(const JournalMove& move)
{
    switch (move.state) {
    case State::Moved:
        return folderTime(folderOf(move.from)) == move.folderModifiedAfter;
    case State::Returning:
        return move.restoresFolderTime;
    default:
        return true;
    }
}

} // namespace

QString moveWithLinks(const QString& from, const QString& to)
{
    if (stateOf(from).links <= 1) {
        return fileops::moveFile({from, to}) ? QString()
                                             : QStringLiteral("could not be moved to %1").arg(to);
    }
    const auto outcome = fileops::renameExclusively({AT_FDCWD, QFile::encodeName(from)},
                                                    {AT_FDCWD, QFile::encodeName(to)});
    switch (outcome) {
    case fileops::RenameOutcome::Done:
        return {};
    case fileops::RenameOutcome::Refused:
        return QStringLiteral("could not be moved to %1").arg(to);
    case fileops::RenameOutcome::OtherFileSystem:
    case fileops::RenameOutcome::Unsupported:
        break;
    }
    return QStringLiteral(
        "has further names (hard links), from which a move to another file system "
        "would separate it");
}

Whereabouts whereabouts(const JournalMove& move)
{
    const Kind from = stateOf(move.from).kind;
    const Kind to = stateOf(move.to).kind;
    if (from == Kind::Unknown || to == Kind::Unknown) {
        return Whereabouts::Unknown;
    }
    if (from == Kind::Nothing) {
        return to == Kind::Nothing ? Whereabouts::Nowhere : Whereabouts::Away;
    }
    return to == Kind::Nothing ? Whereabouts::InPlace : Whereabouts::Both;
}

bool isAsItWas(const JournalMove& move)
{
    const FileState now = stateOf(move.from);
    return now.kind == Kind::RegularFile && now.sizeBytes == move.sizeBytes &&
           now.modified == move.modified;
}

QString moveBack(Journal& journal, int number)
{
    const JournalMove move = journal.move(number);
    if (stateOf(move.to).kind != Kind::RegularFile) {
        return QStringLiteral("no longer a file: %1").arg(move.to);
    }
    if (stateOf(folderOf(move.from)).kind == Kind::Nothing) {
        return QStringLiteral("its folder is gone. Make it, then undo again: %1")
            .arg(folderOf(move.from));
    }
    journal.write(returnLine(number, mayRestoreFolderTime(move)));
    const QString problem = moveWithLinks(move.to, move.from);
    if (problem.isEmpty()) {
        finishReturn(journal, number);
    }
    return problem;
}

void finishReturn(Journal& journal, int number)
{
    restoreTimes(journal.move(number));
    journal.write(returnedLine(number));
}

} // namespace actions
