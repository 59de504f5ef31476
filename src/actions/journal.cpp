#include "actions/journal.h"

#include "actions/actionerror.h"
#include "actions/filestate.h"
#include "fileops/targetpath.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace actions {

namespace {

using fileops::uninterrupted;

constexpr mode_t kMode = S_IRUSR | S_IWUSR;
/** Without waiting if it is a pipe. */
constexpr int kFlags = O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

QString reasonOf(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

[[noreturn]] void refuse(const QString& path, const QString& reason)
{
    throw ActionError{QStringLiteral("The journal %1: %2").arg(path, reason)};
}

int open(const QString& path, int flags)
{
    const QByteArray name = QFile::encodeName(path);
    return uninterrupted([&] { return ::open(name.constData(), flags, kMode); });
}

void requireRegularFile(const QString& path, int descriptor)
{
    struct stat status = {};
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        refuse(path, QStringLiteral("not a regular file"));
    }
}

/** Reads and parses all of an open journal. */
ParsedJournal parse(const QString& path, int descriptor)
{
    QFile file;
    if (!file.open(descriptor, QFile::ReadOnly)) {
        refuse(path, file.errorString());
    }
    const QByteArray bytes = file.readAll();
    if (file.error() != QFile::NoError) {
        refuse(path, file.errorString());
    }
    try {
        return parseJournal(bytes);
    } catch (const ActionError& error) {
        refuse(path, error.message);
    }
}

/** The open file \a path, or a failed open if there is none. */
int openExisting(const QString& path, int flags)
{
    const int descriptor = open(path, flags);
    if (descriptor < 0 && errno != ENOENT) {
        refuse(path, reasonOf(errno));
    }
    return descriptor;
}

} // namespace

std::optional<JournalContent> Journal::read(const QString& path)
{
    const fileops::FileDescriptor file(
        openExisting(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file.isOpen()) {
        return std::nullopt;
    }
    requireRegularFile(path, file.get());
    const ParsedJournal parsed = parse(path, file.get());
    return parsed.isEmpty() ? std::nullopt : std::optional(parsed.content);
}

Journal::Journal(const QString& path, int descriptor)
    : m_path(path)
    , m_file(descriptor)
{
    requireRegularFile(path, descriptor);
}

std::unique_ptr<Journal> Journal::forResult(const QString& path, const QByteArray& resultHash,
                                            const QString& folder)
{
    int descriptor = open(path, kFlags | O_CREAT | O_EXCL);
    if (descriptor < 0 && errno == EEXIST) {
        descriptor = open(path, kFlags);
    }
    if (descriptor < 0) {
        refuse(path, reasonOf(errno));
    }
    std::unique_ptr<Journal> journal(new Journal(path, descriptor));
    const ParsedJournal parsed = parse(path, descriptor);
    if (!parsed.isEmpty() &&
        (parsed.content.resultHash != resultHash || parsed.content.folder != folder)) {
        refuse(path, QStringLiteral("it is that of another result or folder. Choose another one "
                                    "with --journal."));
    }
    journal->continueWith(parsed);
    if (parsed.isEmpty()) {
        journal->write(headLine(resultHash, folder));
    }
    // Also for one that exists: a kill may have come before.
    if (!fileops::TargetPath(QFile::encodeName(path)).flush()) {
        refuse(path, QStringLiteral("its folder cannot be flushed to the disk"));
    }
    return journal;
}

std::unique_ptr<Journal> Journal::existing(const QString& path)
{
    const int descriptor = openExisting(path, kFlags);
    if (descriptor < 0) {
        refuse(path, reasonOf(ENOENT));
    }
    std::unique_ptr<Journal> journal(new Journal(path, descriptor));
    const ParsedJournal parsed = parse(path, descriptor);
    if (parsed.isEmpty()) {
        refuse(path, QStringLiteral("it is empty"));
    }
    journal->continueWith(parsed);
    return journal;
}

int Journal::begin(JournalMove move, const QStringList& newFolders)
{
    move.number = static_cast<int>(m_content.moves.size()) + 1;
    QList<QJsonObject> lines;
    for (const QString& folder : newFolders) {
        lines.append(
            folderLine(folder, folderTime(folderOf(folder)).value_or(fileops::FileTime{})));
    }
    lines.append(moveLine(move));
    write(lines);
    return move.number;
}

void Journal::write(const QJsonObject& line)
{
    write(QList<QJsonObject>{line});
}

/** Cuts off the part of a line that a kill left. */
void Journal::continueWith(const ParsedJournal& parsed)
{
    m_content = parsed.content;
    const qint64 size = parsed.completeBytes;
    const qint64 end = ::lseek(m_file.get(), 0, SEEK_END);
    if (end < 0 || (end != size && ::ftruncate(m_file.get(), size) != 0) ||
        ::lseek(m_file.get(), size, SEEK_SET) != size) {
        fail(reasonOf(errno));
    }
}

void Journal::write(const QList<QJsonObject>& lines)
{
    if (m_broken) {
        fail(QStringLiteral("an earlier line could not be written"));
    }
    QByteArray bytes;
    for (const QJsonObject& line : lines) {
        bytes += toBytes(line);
    }
    m_broken = true;
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t written = uninterrupted([&] {
            return ::write(m_file.get(), bytes.constData() + done,
                           static_cast<size_t>(bytes.size() - done));
        });
        if (written <= 0) {
            fail(reasonOf(errno));
        }
        done += written;
    }
    if (uninterrupted([this] { return ::fsync(m_file.get()); }) != 0) {
        fail(reasonOf(errno));
    }
    m_broken = false;
    for (const QJsonObject& line : lines) {
        m_content.take(line);
    }
}

void Journal::fail(const QString& reason) const
{
    refuse(m_path, QStringLiteral("it cannot be written: %1").arg(reason));
}

} // namespace actions
