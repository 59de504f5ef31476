#include "actions/journalcontent.h"

#include "actions/actionerror.h"
#include "actions/searchresult.h"

#include <QJsonDocument>

#include <array>

namespace actions {

namespace {

constexpr int kVersion = 1;
constexpr auto kJournal = "quorvel-cli";
constexpr qint64 kNanosecondsPerSecond = 1'000'000'000;
constexpr qsizetype kNanosecondDigits = 9;

const QString eventKey = QStringLiteral("event");
const QString numberKey = QStringLiteral("number");
const QString pathKey = QStringLiteral("path");
const QString parentModifiedKey = QStringLiteral("parentModified");

const QString folderEvent = QStringLiteral("folder");
const QString folderMadeEvent = QStringLiteral("folderMade");
const QString folderRemovedEvent = QStringLiteral("folderRemoved");
const QString moveEvent = QStringLiteral("move");
const QString movedEvent = QStringLiteral("moved");
const QString stayedEvent = QStringLiteral("stayed");
const QString returnEvent = QStringLiteral("return");
const QString returnedEvent = QStringLiteral("returned");

[[noreturn]] void refuse(const QString& key)
{
    throw ActionError{QStringLiteral("\"%1\" is missing or wrong").arg(key)};
}

/** Numbers in JSON are too coarse for nanoseconds since 1970. */
QString timeText(const fileops::FileTime& time)
{
    return QStringLiteral("%1.%2")
        .arg(time.seconds)
        .arg(time.nanoseconds, static_cast<int>(kNanosecondDigits), 10, QLatin1Char('0'));
}

fileops::FileTime timeAt(const QJsonObject& line, const QString& key)
{
    const QStringList parts = line.value(key).toString().split(QLatin1Char('.'));
    bool areSeconds = false;
    bool areNanoseconds = false;
    const fileops::FileTime time{parts.value(0).toLongLong(&areSeconds),
                                 parts.value(1).toLongLong(&areNanoseconds)};
    if (parts.size() != 2 || !areSeconds || !areNanoseconds || time.nanoseconds < 0 ||
        time.nanoseconds >= kNanosecondsPerSecond || parts.at(1).size() != kNanosecondDigits) {
        refuse(key);
    }
    return time;
}

QString pathAt(const QJsonObject& line, const QString& key)
{
    const QString path = line.value(key).toString();
    if (!isPlainPath(path)) {
        refuse(key);
    }
    return path;
}

QJsonObject eventLine(const QString& event, int number)
{
    return {{eventKey, event}, {numberKey, number}};
}

} // namespace

QJsonObject headLine(const QByteArray& resultHash, const QString& folder)
{
    return {{QStringLiteral("journal"), QString::fromLatin1(kJournal)},
            {QStringLiteral("version"), kVersion},
            {QStringLiteral("result"), QString::fromLatin1(resultHash)},
            {QStringLiteral("folder"), folder}};
}

QJsonObject moveLine(const JournalMove& move)
{
    QJsonObject line = eventLine(moveEvent, move.number);
    line.insert(QStringLiteral("from"), move.from);
    line.insert(QStringLiteral("to"), move.to);
    line.insert(QStringLiteral("reference"), move.reference);
    line.insert(QStringLiteral("sizeBytes"), move.sizeBytes);
    line.insert(QStringLiteral("modified"), timeText(move.modified));
    line.insert(QStringLiteral("folderModified"), timeText(move.folderModified));
    return line;
}

QJsonObject movedLine(int number, const fileops::FileTime& modifiedThere,
                      const fileops::FileTime& folderModifiedAfter)
{
    QJsonObject line = eventLine(movedEvent, number);
    line.insert(QStringLiteral("modified"), timeText(modifiedThere));
    line.insert(QStringLiteral("folderModified"), timeText(folderModifiedAfter));
    return line;
}

QJsonObject stayedLine(int number, const QString& reason)
{
    QJsonObject line = eventLine(stayedEvent, number);
    line.insert(QStringLiteral("reason"), reason);
    return line;
}

QJsonObject returnLine(int number, bool restoresFolderTime)
{
    QJsonObject line = eventLine(returnEvent, number);
    line.insert(QStringLiteral("restoresFolderTime"), restoresFolderTime);
    return line;
}

QJsonObject returnedLine(int number)
{
    return eventLine(returnedEvent, number);
}

QJsonObject folderLine(const QString& path, const fileops::FileTime& parentModified)
{
    return {
        {eventKey, folderEvent}, {pathKey, path}, {parentModifiedKey, timeText(parentModified)}};
}

QJsonObject folderMadeLine(const QString& path, const fileops::FileTime& parentModifiedAfter)
{
    return {{eventKey, folderMadeEvent},
            {pathKey, path},
            {parentModifiedKey, timeText(parentModifiedAfter)}};
}

QJsonObject folderRemovedLine(const QString& path)
{
    return {{eventKey, folderRemovedEvent}, {pathKey, path}};
}

QByteArray toBytes(const QJsonObject& line)
{
    return QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n';
}

void JournalContent::take(const QJsonObject& line)
{
    const QString event = line.value(eventKey).toString();
    if (folder.isEmpty()) {
        takeHead(line);
    } else if (event == moveEvent) {
        takeMove(line);
    } else if (event == folderEvent) {
        madeFolders.insert(pathAt(line, pathKey), {timeAt(line, parentModifiedKey), {}});
    } else if (event == folderMadeEvent) {
        madeFolders[pathAt(line, pathKey)].parentModifiedAfter = timeAt(line, parentModifiedKey);
    } else if (event == folderRemovedEvent) {
        madeFolders.remove(pathAt(line, pathKey));
    } else {
        takeEvent(event, line);
    }
}

void JournalContent::takeHead(const QJsonObject& line)
{
    if (line.value(QStringLiteral("journal")).toString() != QLatin1String(kJournal)) {
        throw ActionError{QStringLiteral("not a journal of quorvel-cli")};
    }
    if (line.value(QStringLiteral("version")).toInteger(0) != kVersion) {
        throw ActionError{QStringLiteral("written by another version of quorvel-cli")};
    }
    resultHash = line.value(QStringLiteral("result")).toString().toLatin1();
    folder = pathAt(line, QStringLiteral("folder"));
}

void JournalContent::takeMove(const QJsonObject& line)
{
    JournalMove move;
    move.number = static_cast<int>(moves.size()) + 1;
    if (line.value(numberKey).toInteger(0) != move.number) {
        refuse(numberKey);
    }
    move.from = pathAt(line, QStringLiteral("from"));
    move.to = pathAt(line, QStringLiteral("to"));
    // Files that were not moved by this program are never moved "back".
    if (move.to != folder + move.from) {
        refuse(QStringLiteral("to"));
    }
    move.reference = pathAt(line, QStringLiteral("reference"));
    move.sizeBytes = line.value(QStringLiteral("sizeBytes")).toInteger(-1);
    move.modified = timeAt(line, QStringLiteral("modified"));
    move.folderModified = timeAt(line, QStringLiteral("folderModified"));
    moves.append(move);
}

void JournalContent::takeEvent(const QString& event, const QJsonObject& line)
{
    const qint64 number = line.value(numberKey).toInteger(0);
    if (number < 1 || number > moves.size()) {
        refuse(numberKey);
    }
    JournalMove& move = moves[number - 1];
    if (event == movedEvent) {
        move.modifiedThere = timeAt(line, QStringLiteral("modified"));
        move.folderModifiedAfter = timeAt(line, QStringLiteral("folderModified"));
        move.state = JournalMove::State::Moved;
    } else if (event == stayedEvent) {
        move.state = JournalMove::State::Stayed;
    } else if (event == returnEvent) {
        move.restoresFolderTime = line.value(QStringLiteral("restoresFolderTime")).toBool();
        move.state = JournalMove::State::Returning;
    } else if (event == returnedEvent) {
        move.state = JournalMove::State::Returned;
    } else {
        refuse(eventKey);
    }
}

ParsedJournal parseJournal(const QByteArray& bytes)
{
    ParsedJournal journal;
    int number = 0;
    while (true) {
        const qsizetype end = bytes.indexOf('\n', journal.completeBytes);
        if (end < 0) {
            break;
        }
        ++number;
        const QByteArray line = bytes.mid(journal.completeBytes, end - journal.completeBytes);
        try {
            journal.content.take(QJsonDocument::fromJson(line).object());
        } catch (const ActionError& error) {
            throw ActionError{QStringLiteral("line %1: %2").arg(number).arg(error.message)};
        }
        journal.completeBytes = end + 1;
    }
    const QByteArray begun = bytes.mid(journal.completeBytes);
    // Another file's content is never replaced: Qt sorts the keys, so that every journal's first
    // line begins in the same way.
    const QByteArray beginning = "{\"folder\":\"/";
    if (journal.isEmpty() && !begun.startsWith(beginning) && !beginning.startsWith(begun)) {
        throw ActionError{QStringLiteral("not a journal of quorvel-cli")};
    }
    return journal;
}

} // namespace actions
