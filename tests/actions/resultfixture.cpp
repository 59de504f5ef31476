#include "resultfixture.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include <array>
#include <climits>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace resultfixture {

namespace {

constexpr qint64 kYear2020 = 1'577'836'800;

/** A time that depends on the path alone, and has nanoseconds. */
void age(const QString& path)
{
    const auto hash = static_cast<qint64>(qHash(path, 1) % 100'000'000);
    setTime(path, kYear2020 + hash, static_cast<long>(hash * 9 + 1));
}

QString lineOf(const QString& path)
{
    const QByteArray name = QFile::encodeName(path);
    // Not what the system remembers of a file that is shown by another program.
    struct statx status = {};
    if (::statx(AT_FDCWD, name.constData(), AT_SYMLINK_NOFOLLOW | AT_STATX_FORCE_SYNC,
                STATX_BASIC_STATS, &status) != 0) {
        return path + QStringLiteral(" ?");
    }
    const QString line = QStringLiteral("%1 %2 %3.%4")
                             .arg(path)
                             .arg(status.stx_mode, 0, 8)
                             .arg(status.stx_mtime.tv_sec)
                             .arg(status.stx_mtime.tv_nsec, 9, 10, QLatin1Char('0'));
    if (S_ISLNK(status.stx_mode)) {
        std::array<char, PATH_MAX> text = {};
        const ssize_t length = ::readlink(name.constData(), text.data(), text.size());
        return line + QStringLiteral(" -> ") +
               QString::fromUtf8(text.data(), static_cast<qsizetype>(length));
    }
    QFile file(path);
    if (!S_ISREG(status.stx_mode) || !file.open(QFile::ReadOnly)) {
        return line;
    }
    const QByteArray hash = QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha1);
    return line +
           QStringLiteral(" %1 %2").arg(status.stx_size).arg(QString::fromLatin1(hash.toHex()));
}

} // namespace

QJsonObject fileObject(const QString& path)
{
    struct stat status = {};
    if (::stat(QFile::encodeName(path).constData(), &status) != 0) {
        qFatal("no file %s", qPrintable(path));
    }
    const qint64 modifiedMs =
        qint64{status.st_mtim.tv_sec} * 1000 + status.st_mtim.tv_nsec / 1'000'000;
    return {{QStringLiteral("path"), path},
            {QStringLiteral("durationMs"), 200'000},
            {QStringLiteral("sampleRateHz"), 44'100},
            {QStringLiteral("channels"), 2},
            {QStringLiteral("container"), QStringLiteral("mp3")},
            {QStringLiteral("codec"), QStringLiteral("mp3")},
            {QStringLiteral("bitRate"), 320'000},
            {QStringLiteral("lossless"), false},
            {QStringLiteral("bitsPerSample"), 0},
            {QStringLiteral("sizeBytes"), static_cast<qint64>(status.st_size)},
            {QStringLiteral("modifiedMs"), modifiedMs},
            {QStringLiteral("partial"), false},
            {QStringLiteral("partialReason"), QString()},
            {QStringLiteral("statedMs"), 200'000},
            {QStringLiteral("decodedMs"), 200'000},
            {QStringLiteral("featureless"), false}};
}

QJsonObject duplicateObject(const QString& path, int similarity)
{
    return with(fileObject(path), QStringLiteral("similarity"), similarity);
}

QJsonObject groupObject(const QJsonObject& reference, const QList<QJsonObject>& duplicates)
{
    QJsonArray list;
    for (const QJsonObject& duplicate : duplicates) {
        list.append(duplicate);
    }
    return {{QStringLiteral("reference"), reference}, {QStringLiteral("duplicates"), list}};
}

QJsonObject with(QJsonObject object, const QString& key, const QJsonValue& value)
{
    object.insert(key, value);
    return object;
}

QByteArray resultJson(const QStringList& folders, const QList<QJsonObject>& groups)
{
    QJsonArray list;
    for (const QJsonObject& group : groups) {
        list.append(group);
    }
    const QJsonObject result{{QStringLiteral("version"), 2},
                             {QStringLiteral("folders"), QJsonArray::fromStringList(folders)},
                             {QStringLiteral("against"), QJsonArray()},
                             {QStringLiteral("groups"), list}};
    return QJsonDocument(result).toJson();
}

QStringList picture(const QString& folder)
{
    QStringList lines{lineOf(folder)};
    using Walk = std::filesystem::recursive_directory_iterator;
    for (const auto& entry : Walk(folder.toStdString())) {
        lines.append(lineOf(QFile::decodeName(entry.path().c_str())));
    }
    lines.sort();
    return lines;
}

bool writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    const bool written = QDir().mkpath(path.left(path.lastIndexOf(QLatin1Char('/')))) &&
                         file.open(QFile::WriteOnly | QFile::NewOnly) &&
                         file.write(content) == content.size();
    file.close();
    age(path);
    return written;
}

bool setTime(const QString& path, qint64 seconds, long nanoseconds)
{
    const timespec time{static_cast<time_t>(seconds), nanoseconds};
    const std::array<timespec, 2> times{time, time};
    return ::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times.data(),
                       AT_SYMLINK_NOFOLLOW) == 0;
}

void ageFolders(const QString& folder)
{
    age(folder);
    using Walk = std::filesystem::recursive_directory_iterator;
    for (const auto& entry : Walk(folder.toStdString())) {
        if (entry.is_directory() && !entry.is_symlink()) {
            age(QFile::decodeName(entry.path().c_str()));
        }
    }
}

} // namespace resultfixture
