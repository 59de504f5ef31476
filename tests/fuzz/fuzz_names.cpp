/*
 * Folders of files with any name that the file system takes: what is listed of them, what names
 * their copies and moved ones get, and that nothing is lost on the way there.
 */
#include "campaign.h"
#include "fileops/destinationnames.h"
#include "fileops/fileoperations.h"
#include "fingerprint/audiofilediscovery.h"
#include "mutation.h"
#include "support/plainlisting.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QTemporaryDir>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>

namespace {

constexpr std::array<const char*, 30> kPieces = {"a",
                                                 "Song",
                                                 ".",
                                                 "..",
                                                 " ",
                                                 "-",
                                                 "\n",
                                                 "\t",
                                                 "\x01",
                                                 "\x7F",
                                                 "\\",
                                                 "*",
                                                 "?",
                                                 "%1",
                                                 "$HOME",
                                                 "'",
                                                 "\"",
                                                 "\xC3\xA9",
                                                 "e\xCC\x81",
                                                 "\xE2\x80\xAE",
                                                 "\xEF\xBB\xBF",
                                                 "\xF0\x9F\x8E\xB5",
                                                 "\xFF",
                                                 "\xC3",
                                                 "\xED\xA0\x80",
                                                 "-copied-1",
                                                 "-moved-1",
                                                 "\xC4\xB0",
                                                 "\xC5\xBF",
                                                 "\xE2\x84\xAA"};
constexpr quint64 kLongestName = 255; // bytes

QByteArray randomSuffix(fuzz::Random& random)
{
    const QStringList& patterns = fingerprint::audioFileNamePatterns();
    QByteArray suffix =
        patterns
            .at(static_cast<qsizetype>(fuzz::pick(random, static_cast<quint64>(patterns.size()))))
            .sliced(2)
            .toUtf8();
    for (char& letter : suffix) {
        letter =
            fuzz::pick(random, 4) == 0 ? QChar::fromLatin1(letter).toUpper().toLatin1() : letter;
    }
    if (fuzz::pick(random, 8) == 0) {
        suffix.replace('k', "\xE2\x84\xAA").replace('s', "\xC5\xBF"); // they fold to k and s
    }
    return suffix;
}

/** A name in the bytes of the file system: neither empty nor "." nor "..". */
QByteArray randomName(fuzz::Random& random)
{
    QByteArray name;
    const quint64 pieces = fuzz::pick(random, 5);
    for (quint64 i = 0; i < pieces; ++i) {
        name += kPieces[fuzz::pick(random, kPieces.size())];
    }
    if (fuzz::pick(random, 16) == 0) {
        name += fuzz::noise(static_cast<qsizetype>(fuzz::pick(random, 12)), random);
    }
    if (fuzz::pick(random, 16) == 0) {
        name += QByteArray(static_cast<qsizetype>(200 + fuzz::pick(random, 60)), 'x');
    }
    if (fuzz::pick(random, 4) != 0) {
        name += '.' + randomSuffix(random);
    }
    name.replace('/', 'x').replace('\0', 'x');
    name.truncate(static_cast<qsizetype>(kLongestName));
    return name.isEmpty() || name == "." || name == ".." ? QByteArray("x.mp3") : name;
}

/** Makes up to a dozen entries in \a folder, which ends in a separator; returns regular files. */
QByteArrayList fillFolder(const QByteArray& folder, int depth, fuzz::Random& random)
{
    QByteArrayList files;
    const quint64 entries = fuzz::pick(random, 8);
    for (quint64 i = 0; i < entries; ++i) {
        const QByteArray path = folder + randomName(random);
        switch (fuzz::pick(random, 10)) {
        case 0:
            if (depth < 3 && mkdir(path.constData(), 0700) == 0) {
                files += fillFolder(path + '/', depth + 1, random);
            }
            break;
        case 1:
            mkfifo(path.constData(), 0600);
            break;
        case 2: {
            const std::array<QByteArray, 4> targets = {files.value(0, "nothing"), ".", path, ".."};
            [[maybe_unused]] const int made =
                symlink(targets[fuzz::pick(random, targets.size())].constData(), path.constData());
            break;
        }
        default: {
            struct stat status
            {
            };
            if (lstat(path.constData(), &status) != 0) {
                const int opened = creat(path.constData(), 0600);
                if (opened >= 0) {
                    [[maybe_unused]] const auto written =
                        write(opened, path.constData(), static_cast<size_t>(path.size()));
                    close(opened);
                    files.append(path);
                }
            }
        }
        }
    }
    return files;
}

/** A file that must be listed: an ordinary name in an ordinary place. */
bool isPlainAudioFile(const QByteArray& path, const QByteArray& root)
{
    const QByteArray below = path.sliced(root.size());
    const bool plain = std::all_of(below.cbegin(), below.cend(), [](char letter) {
        return letter > 0x20 && letter < 0x7F && letter != '\\';
    });
    const QByteArrayList parts = below.split('/');
    const bool hidden = std::any_of(parts.cbegin(), parts.cend(),
                                    [](const QByteArray& part) { return part.startsWith('.'); });
    const QByteArray suffix = below.sliced(below.lastIndexOf('.') + 1).toLower();
    return plain && !hidden && below.contains('.') &&
           fingerprint::audioFileNamePatterns().contains(QStringLiteral("*.") +
                                                         QString::fromLatin1(suffix));
}

/** Whether plainListing() is a measure for what is below \a root. */
bool canBeCompared(const QString& root)
{
    static const bool anyName = support::plainListingReadsAnyName();
    const std::filesystem::recursive_directory_iterator entries(root.toStdString());
    return anyName || std::all_of(begin(entries), end(entries), [](const auto& entry) {
               return support::isReadAlike(entry.path().filename().native());
           });
}

void checkListing(const QString& root, const QStringList& listed, const QByteArrayList& made)
{
    fuzz::require(!canBeCompared(root) || listed == support::plainListing({root}),
                  "the listing differs from the plain iterator's");
    for (const QString& path : listed) {
        struct stat status
        {
        };
        fuzz::require(stat(QFile::encodeName(path).constData(), &status) == 0 &&
                          S_ISREG(status.st_mode),
                      "what is listed is no file: " + path.toUtf8());
    }
    const QSet<QString> found(listed.cbegin(), listed.cend());
    for (const QByteArray& path : made) {
        fuzz::require(!isPlainAudioFile(path, QFile::encodeName(root) + '/') ||
                          found.contains(QFile::decodeName(path)),
                      "left out: " + path);
    }
}

void checkDestinations(const QString& directory, const QList<fileops::SourceAndDestination>& work)
{
    QSet<QString> names;
    for (const auto& [source, destination] : work) {
        fuzz::require(destination.startsWith(directory + u'/'), "outside of the directory");
        const QString name = destination.sliced(directory.size() + 1);
        fuzz::require(!name.isEmpty() && !name.contains(u'/') && name != u"." && name != u"..",
                      "no name of a file: " + name.toUtf8());
        fuzz::require(!names.contains(name), "two files of one name: " + name.toUtf8());
        names.insert(name);
    }
}

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QFile::ReadOnly) ? file.readAll() : QByteArray();
}

/** After a copy or move, successful or not, the content is where the result has it. */
void checkFileOperations(const QList<fileops::SourceAndDestination>& work, bool move)
{
    for (const fileops::SourceAndDestination& item : work) {
        const auto& [source, destination] = item;
        if (QFileInfo(source).isSymLink()) {
            continue;
        }
        const QByteArray before = contentOf(source);
        const bool taken = QFileInfo::exists(destination);
        const bool done = move ? fileops::moveFile(item) : fileops::copyFile(item);
        fuzz::require(!(done && taken), "an existing file was replaced");
        fuzz::require(!done || contentOf(destination) == before, "another content has arrived");
        fuzz::require(QFileInfo::exists(source) == !(move && done),
                      "the source contradicts the result");
        fuzz::require((move && done) || contentOf(source) == before, "the source has changed");
        fuzz::require(done || taken || !QFileInfo::exists(destination), "a remnant was left");
    }
}

void runCase(const QString& base, quint64 seed, quint64 number)
{
    fuzz::Random random = fuzz::randomFor(seed, number);
    const QString root = QStringLiteral("%1/%2-%3").arg(base).arg(seed).arg(number);
    const QString target = root + QStringLiteral("-target");
    fuzz::require(QDir().mkpath(root) && QDir().mkpath(target), "no folder could be made");

    const QByteArrayList made = fillFolder(QFile::encodeName(root) + '/', 0, random);
    const QStringList listed = fingerprint::findAudioFiles({root});
    checkListing(root, listed, made);
    const auto copies = fileops::withDestinations(listed, target, QStringLiteral("-copied-"));
    checkDestinations(target, copies);
    checkFileOperations(copies, false);
    const auto moves = fileops::withDestinations(listed, target, QStringLiteral("-moved-"));
    checkDestinations(target, moves);
    checkFileOperations(moves, true);

    // The toolkit cannot: it does not see names that are not valid UTF-8.
    std::filesystem::remove_all(root.toStdString());
    std::filesystem::remove_all(target.toStdString());
}

} // namespace

int main(int argumentCount, char** arguments)
{
    const QCoreApplication application(argumentCount, arguments);
    const fuzz::Options options = fuzz::parseOptions(QCoreApplication::arguments());
    const QTemporaryDir folder(fuzz::folderTemplate());
    fuzz::Harness harness;
    harness.name = QStringLiteral("names");
    harness.runCase = [&folder](quint64 seed, quint64 number) {
        runCase(folder.path(), seed, number);
    };
    return fuzz::run(harness, options);
}
