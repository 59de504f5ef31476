#include "actions/resumption.h"

#include "actions/actionerror.h"
#include "actions/filereturn.h"
#include "actions/filestate.h"
#include "actions/references.h"
#include "fileops/fileoperations.h"

#include <utility>

namespace actions {

namespace {

using State = JournalMove::State;

/** Gives what has the destination's name another one. It stays if that fails; its name is taken
 *  then. */
void setAside(const QString& destination)
{
    constexpr int kMostNames = 100;
    QString name = destination + QStringLiteral(".quorvel-left-over");
    for (int number = 2; number < kMostNames; ++number) {
        if (fileops::moveFile({destination, name})) {
            return;
        }
        name = QStringLiteral("%1.quorvel-left-over-%2").arg(destination).arg(number);
    }
}

void settleInPlace(Journal& journal, const JournalMove& move)
{
    if (move.state == State::Returning) {
        finishReturn(journal, move.number);
    } else {
        journal.write(stayedLine(move.number, QStringLiteral("interrupted before the move")));
    }
}

void settle(Journal& journal, const JournalMove& move, const References& references)
{
    switch (whereabouts(move)) {
    case Whereabouts::InPlace:
        settleInPlace(journal, move);
        return;
    case Whereabouts::Both:
        // The file that was moved from is whole. The name that it was moved to may have a part.
        if (move.state == State::Begun ? isAsItWas(move) : haveSameContent(move.from, move.to)) {
            setAside(move.to);
            settleInPlace(journal, move);
            return;
        }
        [[fallthrough]];
    case Whereabouts::Away:
        finishMove(journal, move.number, references.allOfSize(move.sizeBytes, move.reference));
        return;
    case Whereabouts::Nowhere: // A disk may be missing, so that it stays open.
        return;
    case Whereabouts::Unknown:
        throw ActionError{
            QStringLiteral("An earlier run was interrupted at a file that cannot be looked at: %1")
                .arg(move.from)};
    }
}

} // namespace

QString finishMove(Journal& journal, int number, const QList<ResultFile>& watched)
{
    const JournalMove move = journal.move(number);
    if (canAllBeRead(watched)) {
        journal.write(movedLine(number, stateOf(move.to).modified,
                                folderTime(folderOf(move.from)).value_or(fileops::FileTime{})));
        return {};
    }
    const QString problem = moveBack(journal, number);
    if (!problem.isEmpty()) {
        throw ActionError{
            QStringLiteral("A reference vanished together with %1, which is now %2. It could not "
                           "be moved back: %3")
                .arg(move.from, move.to, problem)};
    }
    return QStringLiteral("another name of a reference, which vanished with it; moved back");
}

void settleInterrupted(Journal& journal, const SearchResult& result)
{
    QList<JournalMove> open = journal.content().moves;
    open.removeIf([](const JournalMove& move) {
        return move.state != State::Begun && move.state != State::Returning;
    });
    if (open.isEmpty()) {
        return;
    }
    const References references(result);
    for (const JournalMove& move : std::as_const(open)) {
        settle(journal, move, references);
    }
}

} // namespace actions
