#include "actions/apply.h"

#include "actions/actionerror.h"
#include "actions/filereturn.h"
#include "actions/filestate.h"
#include "actions/journal.h"
#include "actions/references.h"
#include "actions/resumption.h"
#include "actions/targetfolder.h"
#include "actions/userlock.h"

#include <QHash>

#include <memory>
#include <optional>

namespace actions {

namespace {

using State = JournalMove::State;

/** Whether the file of \a move is below the folder, after an interruption as well. */
bool isAway(const JournalMove& move)
{
    switch (move.state) {
    case State::Moved:
        return stateOf(move.to).kind != FileState::Kind::Nothing;
    case State::Begun:
    case State::Returning:
        return whereabouts(move) == Whereabouts::Away;
    default:
        return false;
    }
}

/** Decides on the duplicates of a result one after another, and moves them if there is a journal.
 */
class Application
{
public:
    /** Without \a journal nothing is done; \a content is that of an earlier run. */
    Application(const SearchResult& result, const ApplyRequest& request, const TargetFolder& target,
                Journal* journal, const JournalContent& content)
        : m_result(result)
        , m_rules(request.rules)
        , m_target(target)
        , m_journal(journal)
        , m_references(result)
    {
        for (const JournalMove& move : content.moves) {
            m_movedBefore.insert(move.from, isAway(move) ? move.to : QString());
        }
    }

    Counts run(const Listener& listener, const std::stop_token& stop)
    {
        Counts counts;
        for (const Duplicate& duplicate : m_result.duplicates) {
            if (stop.stop_requested()) {
                counts.isInterrupted = true;
                break;
            }
            const HandledFile handled = handle(duplicate);
            counts.add(handled);
            listener(handled);
        }
        return counts;
    }

private:
    HandledFile handle(const Duplicate& duplicate)
    {
        HandledFile handled{HandledFile::Outcome::LeftAlone, duplicate.file.path};
        handled.destination = m_movedBefore.value(duplicate.file.path);
        handled.sizeBytes = duplicate.file.sizeBytes;
        if (!handled.destination.isEmpty()) {
            handled.outcome = HandledFile::Outcome::MovedBefore;
            return handled;
        }
        handled.destination = m_target.destinationOf(duplicate.file.path);
        const Resemblance* const chosen = choose(duplicate, handled.reason);
        if (chosen == nullptr) {
            return handled;
        }
        handled.reference = chosen->reference;
        handled.similarity = chosen->similarity;
        const TargetFolder::Missing missing = m_target.missingFor(handled.destination);
        handled.reason = missing.objection;
        if (handled.reason.isEmpty() &&
            stateOf(handled.destination).kind != FileState::Kind::Nothing) {
            handled.reason = QStringLiteral("its name is taken: %1").arg(handled.destination);
        }
        if (handled.reason.isEmpty() && m_journal != nullptr) {
            handled.reason = move(duplicate.file, handled, missing.folders);
        }
        if (handled.reason.isEmpty()) {
            handled.outcome = HandledFile::Outcome::Moved;
        }
        return handled;
    }

    /** The first resemblance that allows the move; none, and the first one's \a reason, else. */
    const Resemblance* choose(const Duplicate& duplicate, QString& reason)
    {
        for (const Resemblance& resemblance : duplicate.resemblances) {
            const ResultFile& reference = m_references.file(resemblance.reference);
            QString objection =
                reasonToLeave(m_rules, duplicate.file, reference, resemblance.similarity);
            if (objection.isEmpty()) {
                objection = m_references.objection(duplicate.file, reference, m_target);
            }
            if (objection.isEmpty()) {
                reason.clear();
                return &resemblance;
            }
            if (reason.isEmpty()) {
                reason = objection;
            }
        }
        return nullptr;
    }

    /** Moves the file. Returns why it is where it was; nothing on success. */
    QString move(const ResultFile& file, const HandledFile& handled, const QStringList& newFolders)
    {
        JournalMove entry;
        entry.from = file.path;
        entry.to = handled.destination;
        entry.reference = handled.reference;
        entry.sizeBytes = file.sizeBytes;
        // Times that are not known could not be restored.
        const FileState state = stateOf(file.path);
        const std::optional<fileops::FileTime> folderModified = folderTime(folderOf(file.path));
        if (state.kind != FileState::Kind::RegularFile || !folderModified ||
            milliseconds(state.modified) != file.modifiedMs) {
            return QStringLiteral("cannot be looked at");
        }
        entry.modified = state.modified;
        entry.folderModified = *folderModified;
        const QList<ResultFile> watched = m_references.readableOfSize(file.sizeBytes) +
                                          QList{m_references.file(handled.reference)};
        const int number = m_journal->begin(entry, newFolders);
        QString problem = makeFolders(newFolders);
        if (problem.isEmpty() && !newFolders.isEmpty()) {
            // The others are in folders that undo removes.
            const QString& outermost = newFolders.constFirst();
            m_journal->write(folderMadeLine(
                outermost, folderTime(folderOf(outermost)).value_or(fileops::FileTime{})));
        }
        if (problem.isEmpty()) {
            problem = moveWithLinks(entry.from, entry.to);
        }
        if (!problem.isEmpty()) {
            m_journal->write(stayedLine(number, problem));
            return problem;
        }
        return finishMove(*m_journal, number, watched);
    }

    const SearchResult& m_result;
    const ApplyRules& m_rules;
    const TargetFolder& m_target;
    Journal* m_journal;
    References m_references;
    /** The files of the journal, and where they are if they are away. */
    QHash<QString, QString> m_movedBefore;
};

} // namespace

void Counts::add(const HandledFile& file)
{
    switch (file.outcome) {
    case HandledFile::Outcome::Moved:
        ++moved;
        bytes += file.sizeBytes;
        break;
    case HandledFile::Outcome::MovedBefore:
        ++movedBefore;
        break;
    case HandledFile::Outcome::LeftAlone:
        ++leftAlone;
        break;
    }
}

Counts apply(const SearchResult& result, const ApplyRequest& request, const Listener& listener,
             const std::stop_token& stop)
{
    const UserLock lock;
    const TargetFolder target(request.folder, result.searchedFolders);
    const std::unique_ptr<Journal> journal =
        Journal::forResult(request.journalFile, result.hash, target.path());
    settleInterrupted(*journal, result);
    return Application(result, request, target, journal.get(), journal->content())
        .run(listener, stop);
}

Counts planApply(const SearchResult& result, const ApplyRequest& request, const Listener& listener,
                 const std::stop_token& stop)
{
    const TargetFolder target(request.folder, result.searchedFolders);
    const std::optional<JournalContent> earlier = Journal::read(request.journalFile);
    return Application(result, request, target, nullptr, earlier.value_or(JournalContent()))
        .run(listener, stop);
}

} // namespace actions
