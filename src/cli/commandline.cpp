#include "cli/commandline.h"

#include "cli/applyparser.h"
#include "cli/fileoptionparser.h"
#include "cli/keeprules.h"
#include "cli/report.h"
#include "cli/storeparser.h"
#include "compare/similarity.h"
#include "settings/settingsstore.h"

#include <algorithm>
#include <array>

namespace cli {

namespace {

/** The most that fits into milliseconds of 31 bits, rounded down: more than three weeks. */
constexpr int kLongestSeconds = 2'000'000;

constexpr auto kUsage = "Usage: quorvel-cli [options] FOLDER...";

constexpr auto kEndOfHelp =
    "\nCommands, as the first argument (a folder of such a name is given as ./apply):\n"
    "  search       This search; may be left out.\n"
    "  fingerprint  Only fingerprints files: quorvel-cli fingerprint --help\n"
    "  merge        Merges stores of fingerprints: quorvel-cli merge --help\n"
    "  apply        Moves duplicates of a result elsewhere: quorvel-cli apply --help\n"
    "  undo         Moves them back: quorvel-cli undo --help\n"
    "\nExamples:\n"
    "  quorvel-cli ~/Music\n"
    "  quorvel-cli -f json -o found.json --store ~/music.db ~/Music\n"
    "  quorvel-cli --threshold 90 /mnt/backup --against ~/Music\n"
    "  quorvel-cli --keep lossless,sample-rate,bit-rate,size,oldest ~/Music\n"
    "\nExit status:\n"
    "  0  The search is complete, with or without duplicates.\n"
    "  1  A FOLDER does not exist or cannot be read; the others were searched.\n"
    "  2  Wrong usage.\n"
    "  3  There is no result, or some fingerprints could not be saved to the store.\n"
    "  130  Interrupted by Ctrl-C. The store keeps what was saved.\n";

/** The options of a search, and what parses them. */
class Parser : FileOptionParser
{
public:
    Parser()
        : FileOptionParser(QStringLiteral(
              "Finds duplicate audio files by how they sound, and lists them. Changes no file."))
    {
        m_parser.addOptions({against,    threshold,   minDuration, maxDuration, exclude,
                             ext,        jobs,        format,      output,      pairs,
                             keep,       partsOption, minLength,   store,       forget,
                             trustStore, quiet,       verbose,     help,        version});
    }

    CommandLine parse(const QStringList& arguments)
    {
        parseOptions(arguments);
        CommandLine line;
        if (m_parser.isSet(help)) {
            line.request = CommandLine::Request::ShowText;
            line.text = helpText(QString::fromLatin1(kUsage), QString::fromLatin1(kEndOfHelp));
        } else if (m_parser.isSet(version)) {
            line.request = CommandLine::Request::ShowText;
            line.text = QStringLiteral("quorvel-cli " QUORVEL_VERSION "\n");
        } else {
            line.options = options();
        }
        return line;
    }

private:
    Options options() const
    {
        Options options;
        takeFileOptions(options);
        options.against = folderNames(m_parser.values(against));
        if (m_parser.isSet(threshold)) {
            options.threshold = number(threshold, 0, compare::kLargestSimilarity);
        }
        if (m_parser.isSet(minDuration)) {
            options.durations.least = number(minDuration, 0, kLongestSeconds);
        }
        if (m_parser.isSet(maxDuration)) {
            options.durations.most =
                number(maxDuration, options.durations.least.value_or(0), kLongestSeconds);
        }
        options.format = chosenFormat();
        options.outputFile = fileName(output);
        options.allPairs = m_parser.isSet(pairs);
        options.parts = m_parser.isSet(partsOption);
        if (m_parser.isSet(minLength)) {
            if (!options.parts) {
                throw InvalidUsage{
                    QStringLiteral("--min-length is the length of parts: give --parts.")};
            }
            options.leastPartLength = number(minLength, kLeastPartLength, kLongestSeconds);
        }
        options.keep = parseKeepRules(m_parser.values(keep));
        options.forget = m_parser.isSet(forget);
        if (options.forget && options.storeFile.isEmpty()) {
            throw InvalidUsage{
                QStringLiteral("--forget takes files out of a store: give --store.")};
        }
        options.trustStore = m_parser.isSet(trustStore);
        if (options.trustStore && options.storeFile.isEmpty()) {
            throw InvalidUsage{QStringLiteral("--trust-store searches a store: give --store.")};
        }
        if (options.trustStore && options.forget) {
            throw InvalidUsage{QStringLiteral(
                "--trust-store looks at no files, so --forget cannot know which are gone.")};
        }
        return options;
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
        throw InvalidUsage{QStringLiteral("--format takes tree, json or csv.")};
    }

    static QString tree()
    {
        return QStringLiteral("tree");
    }

    const QCommandLineOption against =
        option({QStringLiteral("b"), QStringLiteral("against")},
               QStringLiteral("Compare the FOLDERs (Group A) with this one (Group B). Can be "
                              "repeated. Without it, the files of the FOLDERs are compared with "
                              "each other."),
               "FOLDER");
    const QCommandLineOption threshold =
        option({QStringLiteral("t"), QStringLiteral("threshold")},
               QStringLiteral("The least similarity of a duplicate, from 0 to %1 (default: the "
                              "setting of the window program, or %2 if it has none).")
                   .arg(compare::kLargestSimilarity)
                   .arg(settings::kDefaultSimilarityThreshold),
               "PERCENT");
    const QCommandLineOption minDuration =
        option({QStringLiteral("min-duration")},
               QStringLiteral("Leave out shorter files. Files of less than half a minute can be "
                              "alike by chance."),
               "SECONDS");
    const QCommandLineOption maxDuration =
        option({QStringLiteral("max-duration")},
               QStringLiteral("Leave out longer files. A large collection can be compared in "
                              "ranges that overlap by five seconds."),
               "SECONDS");
    const QCommandLineOption format =
        option({QStringLiteral("f"), QStringLiteral("format")},
               QStringLiteral("The output format: tree (default), json or csv."), "FORMAT");
    const QCommandLineOption output =
        option({QStringLiteral("o"), QStringLiteral("output")},
               QStringLiteral("Write to FILE instead of standard output. FILE is replaced by the "
                              "complete result or left as it is."),
               "FILE");
    const QCommandLineOption pairs =
        option({QStringLiteral("pairs")},
               QStringLiteral("List every pair that reaches the threshold, not each file once."));
    const QCommandLineOption keep =
        option({QStringLiteral("keep")},
               QStringLiteral("Put the file to keep above those like it. The first rule that tells "
                              "two files apart decides: %1. The first one always is. With "
                              "--against it is a file of Group A.")
                   .arg(keepRuleNames()),
               "RULE,...");
    const QCommandLineOption partsOption =
        option({QStringLiteral("parts")},
               QStringLiteral("List what files have in common at any place, too, whatever their "
                              "lengths: a track within an album side, a song without its end."));
    const QCommandLineOption minLength =
        option({QStringLiteral("min-length")},
               QStringLiteral("The length of the shortest such part, from %1 (default: %2).")
                   .arg(kLeastPartLength)
                   .arg(kDefaultPartLength),
               "SECONDS");
    const QCommandLineOption forget =
        option({QStringLiteral("forget")},
               QStringLiteral("Take the files below the FOLDERs that are gone out of the store. "
                              "Those of disks that are not mounted stay."));
    const QCommandLineOption trustStore =
        option({QStringLiteral("trust-store")},
               QStringLiteral("Compare what the store holds below the FOLDERs, without looking at "
                              "the files. The store is only read."));
    const QCommandLineOption version =
        option({QStringLiteral("version")}, QStringLiteral("Show the version."));
};

} // namespace

CommandLine parseCommandLine(const QStringList& arguments)
{
    using Parse = CommandLine (*)(const QStringList&);
    struct Command
    {
        QString name;
        Parse parse;
        const char* usage;
    };
    const auto parseSearch = [](const QStringList& rest) { return Parser().parse(rest); };
    const std::array<Command, 5> commands = {
        {{QStringLiteral("apply"), &parseApply, kApplyUsage},
         {QStringLiteral("undo"), &parseUndo, kUndoUsage},
         {QStringLiteral("fingerprint"), &parseFingerprint, kFingerprintUsage},
         {QStringLiteral("merge"), &parseMerge, kMergeUsage},
         {QStringLiteral("search"), parseSearch, kUsage}}};
    const auto* const named =
        std::find_if(commands.begin(), commands.end(),
                     [&arguments](const Command& each) { return each.name == arguments.value(1); });
    const bool isNamed = named != commands.end();
    const Command& command = isNamed ? *named : commands.back();
    try {
        return command.parse(isNamed ? arguments.mid(0, 1) + arguments.mid(2) : arguments);
    } catch (const InvalidUsage& wrong) {
        CommandLine line;
        line.request = CommandLine::Request::WrongUsage;
        line.text = QStringLiteral("quorvel-cli: %1\n%2\n")
                        .arg(printable(wrong.reason), QString::fromLatin1(command.usage));
        return line;
    }
}

} // namespace cli
