#pragma once

#include "actions/journalcontent.h"
#include "fileops/filedescriptor.h"

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

namespace actions {

/**
 * The journal of moved files, a file of JSON lines. A line is on the disk when the function that
 * writes it returns, so that a kill at any moment leaves a journal of all that was done.
 *
 * Errors: functions throw ActionError. After a line that could not be written none is.
 * Thread: Reentrant: one object per thread. Blocking.
 */
class Journal
{
public:
    /** Reads \a path without changing it; nothing if there is no such file. */
    static std::optional<JournalContent> read(const QString& path);

    /** Creates \a path, or continues the journal of the same result and folder. */
    static std::unique_ptr<Journal> forResult(const QString& path, const QByteArray& resultHash,
                                              const QString& folder);
    /** Continues the journal \a path. */
    static std::unique_ptr<Journal> existing(const QString& path);

    const JournalContent& content() const
    {
        return m_content;
    }
    const JournalMove& move(int number) const
    {
        return m_content.moves.at(number - 1);
    }

    /** Announces a move, whose number this gives it, and the folders that are made for it. */
    int begin(JournalMove move, const QStringList& newFolders);
    /** Writes a line about what is in the journal. */
    void write(const QJsonObject& line);

private:
    Journal(const QString& path, int descriptor);

    void continueWith(const ParsedJournal& parsed);
    void write(const QList<QJsonObject>& lines);
    [[noreturn]] void fail(const QString& reason) const;

    QString m_path;
    fileops::FileDescriptor m_file;
    JournalContent m_content;
    bool m_broken = false;
};

} // namespace actions
