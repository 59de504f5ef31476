#include "cli/commandline.h"

#include "cli/report.h"

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QThread>

#include <algorithm>

namespace cli {

namespace {

constexpr int kLargestPercentage = 100;
/** More threads than any machine has cores; each reads a file, and files are counted, too. */
constexpr int kMostThreads = 512;

/** What fits into a number of milliseconds of 31 bits: more than three weeks. */
constexpr int kLongestSeconds = 2'000'000;

constexpr auto kUsage = "Usage: quorvel-cli [options] FOLDER...";

/** Something that the command line must not say. */
struct WrongUsage
{
    QString reason;
};

/** \a name so that it is a file's: Qt takes a colon in front for what is built into a program. */
QString asFileName(const QString& name)
{
    return name.startsWith(QLatin1Char(':')) ? QLatin1String("./") + name : name;
}

QStringList asFileNames(QStringList names)
{
    std::transform(names.cbegin(), names.cend(), names.begin(), asFileName);
    return names;
}

/** The options, under the names that they are looked up by. */
class Parser
{
public:
    Parser()
    {
        m_parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsCompactedShortOptions);
        m_parser.setApplicationDescription(QStringLiteral(
            "Finds duplicate audio files by how they sound. Nothing is changed: the duplicates "
            "are listed."));
        m_parser.addOptions({against, threshold, minDuration, jobs, format, output, pairs, store,
                             quiet, verbose, help, version});
        m_parser.addPositionalArgument(QStringLiteral("FOLDER"),
                                       QStringLiteral("A folder to search, with all below it."),
                                       QStringLiteral("FOLDER..."));
    }

    CommandLine parse(const QStringList& arguments)
    {
        if (!m_parser.parse(arguments)) {
            throw WrongUsage{m_parser.errorText()};
        }
        if (m_parser.isSet(help)) {
            return {CommandLine::Request::ShowText, {}, m_parser.helpText()};
        }
        if (m_parser.isSet(version)) {
            return {CommandLine::Request::ShowText,
                    {},
                    QStringLiteral("quorvel-cli " QUORVEL_VERSION "\n")};
        }
        return {CommandLine::Request::Search, options(), {}};
    }

private:
    Options options() const
    {
        Options options;
        options.folders = asFileNames(m_parser.positionalArguments());
        options.against = asFileNames(m_parser.values(against));
        if (options.folders.isEmpty()) {
            throw WrongUsage{QStringLiteral("No FOLDER is given.")};
        }
        // An empty name would stand for the folder that the program was started in.
        if (options.folders.contains(QString()) || options.against.contains(QString())) {
            throw WrongUsage{QStringLiteral("The name of a FOLDER is empty.")};
        }
        if (m_parser.isSet(threshold)) {
            options.threshold = number(threshold, 0, kLargestPercentage);
        }
        if (m_parser.isSet(minDuration)) {
            options.leastDuration = number(minDuration, 0, kLongestSeconds);
        }
        options.threadCount =
            m_parser.isSet(jobs) ? number(jobs, 1, kMostThreads) : QThread::idealThreadCount();
        options.format = chosenFormat();
        options.outputFile = fileName(output);
        options.allPairs = m_parser.isSet(pairs);
        options.storeFile = fileName(store);
        options.quiet = m_parser.isSet(quiet);
        options.verbose = m_parser.isSet(verbose);
        return options;
    }

    int number(const QCommandLineOption& option, int least, int most) const
    {
        bool isNumber = false;
        const int value = m_parser.value(option).toInt(&isNumber);
        if (!isNumber || value < least || value > most) {
            throw WrongUsage{QStringLiteral("--%1 takes a whole number from %2 to %3.")
                                 .arg(option.names().constLast())
                                 .arg(least)
                                 .arg(most)};
        }
        return value;
    }

    Format chosenFormat() const
    {
        const QString name = m_parser.isSet(format) ? m_parser.value(format) : tree();
        if (name == tree()) {
            return Format::Tree;
        }
        if (name == QLatin1String("json")) {
            return Format::Json;
        }
        if (name == QLatin1String("csv")) {
            return Format::Csv;
        }
        throw WrongUsage{QStringLiteral("--format takes tree, json or csv.")};
    }

    QString fileName(const QCommandLineOption& option) const
    {
        const QString name = m_parser.value(option);
        if (m_parser.isSet(option) && name.isEmpty()) {
            throw WrongUsage{
                QStringLiteral("--%1 takes a file name.").arg(option.names().constLast())};
        }
        return asFileName(name);
    }

    static QString tree()
    {
        return QStringLiteral("tree");
    }

    // cppcheck-suppress unusedPrivateFunction ; the members below are initialised with it
    static QCommandLineOption option(const QStringList& names, const char* description,
                                     const char* value = nullptr)
    {
        return {names, QString::fromLatin1(description), QString::fromLatin1(value)};
    }

    QCommandLineParser m_parser;
    const QCommandLineOption against =
        option({QStringLiteral("b"), QStringLiteral("against")},
               "Compare the FOLDERs (Group A) with this one (Group B); may be repeated. Without "
               "it, the files of the FOLDERs are compared with each other.",
               "FOLDER");
    const QCommandLineOption threshold =
        option({QStringLiteral("t"), QStringLiteral("threshold")},
               "The least similarity of a duplicate, 0 to 100. Without it, what the settings of "
               "the program with the window say, and 70 where they say nothing.",
               "PERCENT");
    const QCommandLineOption minDuration =
        option({QStringLiteral("min-duration")},
               "Leave out files that are shorter: those of less than half a minute can be alike by "
               "chance.",
               "SECONDS");
    const QCommandLineOption jobs =
        option({QStringLiteral("j"), QStringLiteral("jobs")},
               "How many threads to use; as many as suit the machine without it.", "N");
    const QCommandLineOption format =
        option({QStringLiteral("f"), QStringLiteral("format")},
               "What is written: tree (the default), json or csv.", "FORMAT");
    const QCommandLineOption output =
        option({QStringLiteral("o"), QStringLiteral("output")},
               "Write to FILE instead of standard output, the whole result or nothing.", "FILE");
    const QCommandLineOption pairs = option(
        {QStringLiteral("pairs")}, "List every pair that is similar enough, not each file once.");
    const QCommandLineOption store =
        option({QStringLiteral("store")},
               "Keep fingerprints in FILE, and reuse them for files whose size and time have not "
               "changed.",
               "FILE");
    const QCommandLineOption quiet =
        option({QStringLiteral("q"), QStringLiteral("quiet")}, "Show no progress.");
    const QCommandLineOption verbose =
        option({QStringLiteral("v"), QStringLiteral("verbose")},
               "Tell on standard error which files failed, and why.");
    const QCommandLineOption help =
        option({QStringLiteral("h"), QStringLiteral("help")}, "Show this help.");
    const QCommandLineOption version = option({QStringLiteral("version")}, "Show the version.");
};

} // namespace

CommandLine parseCommandLine(const QStringList& arguments)
{
    try {
        return Parser().parse(arguments);
    } catch (const WrongUsage& wrong) {
        return {CommandLine::Request::WrongUsage,
                {},
                QStringLiteral("quorvel-cli: %1\n%2\n")
                    .arg(printable(wrong.reason), QString::fromLatin1(kUsage))};
    }
}

} // namespace cli
