#pragma once

#include "fileops/samefile.h"

#include <QByteArray>
#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QString>

namespace actions {

/** A file in the journal. */
struct JournalMove
{
    enum class State {
        Begun,     ///< It may have been moved, or not.
        Moved,     ///< It was moved, and its reference was read after that.
        Stayed,    ///< It is where it was.
        Returning, ///< It may have been moved back, or not.
        Returned,  ///< It was moved back.
    };

    /** Counted from 1. */
    int number = 0;
    QString from;
    QString to;
    QString reference;
    qint64 sizeBytes = 0;
    /** The times of the file and of the folder that it came from, before. */
    fileops::FileTime modified = {};
    fileops::FileTime folderModified = {};
    State state = State::Begun;
    /** The same after the move; 0 before it is finished. A file system may round them. */
    fileops::FileTime modifiedThere = {};
    fileops::FileTime folderModifiedAfter = {};
    /** Whether the time of its folder is to be as before once it is moved back. */
    bool restoresFolderTime = true;
};

/** A folder in the journal. */
struct MadeFolder
{
    /** The times of the folder that it is in, before and after; 0 before it is made. */
    fileops::FileTime parentModified = {};
    fileops::FileTime parentModifiedAfter = {};
};

/** What a journal has. */
class JournalContent
{
public:
    /** Of the result that the files came from. */
    QByteArray resultHash;
    /** Below which the files were moved. */
    QString folder;
    QList<JournalMove> moves;
    /** Those that were made and not yet removed. */
    QHash<QString, MadeFolder> madeFolders;

    /** Takes in a line. Errors: throws ActionError if it does not follow the schema. */
    void take(const QJsonObject& line);

private:
    void takeHead(const QJsonObject& line);
    void takeMove(const QJsonObject& line);
    void takeEvent(const QString& event, const QJsonObject& line);
};

/** The first line of a journal. */
QJsonObject headLine(const QByteArray& resultHash, const QString& folder);
/** The line before a file is moved, and those that follow. Thread: Any thread. */
QJsonObject moveLine(const JournalMove& move);
QJsonObject movedLine(int number, const fileops::FileTime& modifiedThere,
                      const fileops::FileTime& folderModifiedAfter);
QJsonObject stayedLine(int number, const QString& reason);
QJsonObject returnLine(int number, bool restoresFolderTime);
QJsonObject returnedLine(int number);
QJsonObject folderLine(const QString& path, const fileops::FileTime& parentModified);
QJsonObject folderMadeLine(const QString& path, const fileops::FileTime& parentModifiedAfter);
QJsonObject folderRemovedLine(const QString& path);

/** A line as bytes, with its end. */
QByteArray toBytes(const QJsonObject& line);

/** The lines of a journal, described by docs/quorvel-journal.schema.json. */
struct ParsedJournal
{
    JournalContent content;
    /** How many bytes are complete lines. A kill can leave a part of one behind them. */
    qint64 completeBytes = 0;

    bool isEmpty() const
    {
        return completeBytes == 0;
    }
};

/**
 * Errors: throws ActionError, with the number of the line, if \a bytes are not a journal. An empty
 * one, and the beginning of a first line, are journals without content.
 * Thread: Any thread.
 */
ParsedJournal parseJournal(const QByteArray& bytes);

} // namespace actions
