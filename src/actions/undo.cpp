#include "actions/undo.h"

#include "actions/filereturn.h"
#include "actions/filestate.h"
#include "actions/journal.h"
#include "actions/userlock.h"

#include <QFile>
#include <QStringList>

#include <cerrno>
#include <memory>
#include <optional>
#include <unistd.h>

namespace actions {

namespace {

using State = JournalMove::State;

bool isOpen(State state)
{
    return state == State::Begun || state == State::Moved || state == State::Returning;
}

/**
 * Whether something has either name because a kill between file systems left it, and the file is
 * whole in its place. Of a move away, that is so; of a move back, it may be a part of the other.
 */
bool isInPlaceBesideCopy(const JournalMove& move)
{
    switch (move.state) {
    case State::Begun:
        return isAsItWas(move);
    case State::Returning:
        return haveSameContent(move.from, move.to);
    default:
        return isAsItWas(move) && haveSameContent(move.from, move.to);
    }
}

/** Moves files back, and removes folders. */
class Reversal
{
public:
    Reversal(Journal& journal, const Listener& listener)
        : m_journal(journal)
        , m_listener(listener)
    {
    }

    Counts run(const std::stop_token& stop)
    {
        for (auto number = static_cast<int>(m_journal.content().moves.size()); number > 0;
             --number) {
            const JournalMove move = m_journal.move(number);
            if (!isOpen(move.state)) {
                continue;
            }
            if (stop.stop_requested()) {
                m_counts.isInterrupted = true;
                return m_counts;
            }
            reverse(move);
        }
        removeFolders();
        return m_counts;
    }

private:
    void reverse(const JournalMove& move)
    {
        switch (whereabouts(move)) {
        case Whereabouts::InPlace:
            settleInPlace(move);
            return;
        case Whereabouts::Both:
            settleBoth(move);
            return;
        case Whereabouts::Away:
            report(move, moveBack(m_journal, move.number));
            return;
        case Whereabouts::Nowhere:
            report(move, QStringLiteral("neither there nor in %1").arg(move.to));
            return;
        case Whereabouts::Unknown:
            report(move, QStringLiteral("cannot be looked at"));
            return;
        }
    }

    void settleInPlace(const JournalMove& move)
    {
        switch (move.state) {
        case State::Returning:
            finishReturn(m_journal, move.number);
            report(move, {});
            return;
        case State::Moved: // by others
            m_journal.write(returnedLine(move.number));
            return;
        default:
            m_journal.write(stayedLine(move.number, QStringLiteral("interrupted before the move")));
            return;
        }
    }

    void settleBoth(const JournalMove& move)
    {
        if (isInPlaceBesideCopy(move)) {
            settleInPlace(move);
        } else {
            report(move, QStringLiteral("its place is taken; it is %1").arg(move.to));
        }
    }

    void removeFolders()
    {
        QStringList folders = m_journal.content().madeFolders.keys();
        // A folder comes after the one that it is in.
        folders.sort();
        for (auto folder = folders.crbegin(); folder != folders.crend(); ++folder) {
            removeFolder(*folder);
        }
    }

    void removeFolder(const QString& path)
    {
        const MadeFolder made = m_journal.content().madeFolders.value(path);
        const std::optional<fileops::FileTime> now = folderTime(folderOf(path));
        if (::rmdir(QFile::encodeName(path).constData()) == 0) {
            // Its time is not known where the parent was made as well, or a kill came between. It
            // has its earlier time where the parent is, under another name, a folder that a file
            // was moved back to.
            const bool isKnown = made.parentModified != fileops::FileTime{};
            const bool isKnownAfter = made.parentModifiedAfter != fileops::FileTime{};
            if (isKnown &&
                (!isKnownAfter || made.parentModifiedAfter == now || made.parentModified == now)) {
                setModified(folderOf(path), made.parentModified);
            }
        } else if (errno != ENOENT) {
            return;
        }
        m_journal.write(folderRemovedLine(path));
    }

    void report(const JournalMove& move, const QString& reason)
    {
        HandledFile file{HandledFile::Outcome::Moved, move.from};
        file.destination = move.from;
        file.sizeBytes = move.sizeBytes;
        if (!reason.isEmpty()) {
            file.outcome = HandledFile::Outcome::LeftAlone;
            file.reason = reason;
        }
        m_counts.add(file);
        m_listener(file);
    }

    Journal& m_journal;
    const Listener& m_listener;
    Counts m_counts;
};

} // namespace

Counts undo(const QString& journalFile, const Listener& listener, const std::stop_token& stop)
{
    const UserLock lock;
    const std::unique_ptr<Journal> journal = Journal::existing(journalFile);
    return Reversal(*journal, listener).run(stop);
}

} // namespace actions
