#include "cli/fileoptionparser.h"

#include "cli/exclusion.h"

#include <QThread>

#include <algorithm>

namespace cli {

namespace {

/** More than any machine has cores. Each thread holds a file open, and those are limited. */
constexpr int kMostThreads = 512;

} // namespace

FileOptionParser::FileOptionParser(const QString& description)
    : OptionParser(description)
    , exclude(option({QStringLiteral("exclude")},
                     QStringLiteral("Leave out files and folders of this name, such as '*.bak', "
                                    "or, with a slash, of this path below a FOLDER, such as "
                                    "'Old/*'. Can be repeated."),
                     "GLOB"))
    , ext(option({QStringLiteral("ext")},
                 QStringLiteral("Search files of these endings, too: +opus,+oga for example, or "
                                "+all for every audio ending that FFmpeg knows."),
                 "+ENDING,..."))
    , jobs(option({QStringLiteral("j"), QStringLiteral("jobs")},
                  QStringLiteral("The number of threads (default: one per core)."), "N"))
    , store(option({QStringLiteral("store")},
                   QStringLiteral("Keep fingerprints in FILE, and reuse them for files whose size "
                                  "and time have not changed."),
                   "FILE"))
    , verbose(option({QStringLiteral("v"), QStringLiteral("verbose")},
                     QStringLiteral("Print the files that failed, with reasons, on standard "
                                    "error.")))
{
    m_parser.addPositionalArgument(QStringLiteral("FOLDER"),
                                   QStringLiteral("A folder to search, with its subfolders."),
                                   QStringLiteral("FOLDER..."));
}

void FileOptionParser::takeFileOptions(FileOptions& options) const
{
    options.folders = folderNames(m_parser.positionalArguments());
    if (options.folders.isEmpty()) {
        throw InvalidUsage{QStringLiteral("No FOLDER is given.")};
    }
    options.excluded = patterns();
    options.moreEndings = endings();
    options.everyEnding = options.moreEndings.removeAll(QStringLiteral("all")) > 0;
    options.threadCount =
        m_parser.isSet(jobs) ? number(jobs, 1, kMostThreads) : QThread::idealThreadCount();
    options.storeFile = fileName(store);
    options.quiet = m_parser.isSet(quiet);
    options.verbose = m_parser.isSet(verbose);
}

QStringList FileOptionParser::folderNames(const QStringList& names)
{
    // An empty name would mean the current folder.
    if (names.contains(QString())) {
        throw InvalidUsage{QStringLiteral("The name of a FOLDER is empty.")};
    }
    return asFileNames(names);
}

QStringList FileOptionParser::patterns() const
{
    const QStringList patterns = m_parser.values(exclude);
    const auto unusable = std::find_if_not(patterns.cbegin(), patterns.cend(), Exclusion::isUsable);
    if (unusable != patterns.cend()) {
        throw InvalidUsage{QStringLiteral("--exclude takes no pattern like '%1'.").arg(*unusable)};
    }
    return patterns;
}

QStringList FileOptionParser::endings() const
{
    QStringList endings;
    const QStringList lists = m_parser.values(ext);
    for (const QString& list : lists) {
        const QStringList parts = list.toLower().split(QLatin1Char(','));
        for (QString ending : parts) {
            const bool isAdded = ending.startsWith(QLatin1Char('+'));
            ending.remove(0, ending.startsWith(QLatin1String("+.")) ? 2 : 1);
            if (!isAdded || ending.isEmpty() || ending.contains(QLatin1Char('.')) ||
                ending.contains(QLatin1Char('/'))) {
                throw InvalidUsage{QStringLiteral("--ext takes endings with a plus, such as "
                                                  "+opus,+oga, or +all.")};
            }
            endings.append(ending);
        }
    }
    return endings;
}

} // namespace cli
