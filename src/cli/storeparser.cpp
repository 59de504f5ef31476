#include "cli/storeparser.h"

#include "cli/fileoptionparser.h"

namespace cli {

namespace {

constexpr auto kEndOfFingerprintHelp =
    "\nExamples:\n"
    "  quorvel-cli fingerprint --store ~/music.db ~/Music\n"
    "  quorvel-cli fingerprint --store part2.db --shard 2/3 /archive\n"
    "\nExit status:\n"
    "  0  The store has all files of the shard.\n"
    "  1  A FOLDER does not exist or cannot be read, or a file changed while it was\n"
    "     read or met an error of the disk; the store has the others.\n"
    "  2  Wrong usage.\n"
    "  3  The store cannot be used, or some fingerprints could not be saved to it.\n"
    "  130  Interrupted by Ctrl-C. The store keeps what was saved.\n"
    "The same command again continues.\n";

constexpr auto kEndOfMergeHelp =
    "\nExamples:\n"
    "  quorvel-cli merge --into all.db part1.db part2.db part3.db\n"
    "  quorvel-cli search --trust-store --store all.db /archive\n"
    "\nExit status:\n"
    "  0  STORE has the files of every PART.\n"
    "  2  Wrong usage.\n"
    "  3  STORE cannot be used, or a PART could not be merged: nothing of it is in\n"
    "     STORE, but all of the others. Messages name each.\n"
    "  130  Interrupted by Ctrl-C. STORE has whole PARTs only.\n"
    "The same command again continues.\n";

/** The text of a number without a sign, and nothing else; 0 if it is none or too large. */
int plainNumber(const QString& text)
{
    bool isNumber = false;
    const int value = text.toInt(&isNumber);
    return isNumber && text.front().isDigit() ? value : 0;
}

class FingerprintParser : FileOptionParser
{
public:
    FingerprintParser()
        : FileOptionParser(QStringLiteral(
              "Fingerprints the files in the FOLDERs into a store, and compares nothing.\n"
              "Several machines can share the work, each with a shard and a store of its own."))
    {
        m_parser.addOptions({store, shard, exclude, ext, jobs, quiet, verbose, help});
    }

    CommandLine parse(const QStringList& arguments)
    {
        parseOptions(arguments);
        CommandLine line;
        if (m_parser.isSet(help)) {
            line.request = CommandLine::Request::ShowText;
            line.text = helpText(QString::fromLatin1(kFingerprintUsage),
                                 QString::fromLatin1(kEndOfFingerprintHelp));
            return line;
        }
        line.request = CommandLine::Request::Fingerprint;
        takeFileOptions(line.fingerprint);
        if (line.fingerprint.storeFile.isEmpty()) {
            throw InvalidUsage{QStringLiteral("--store FILE is needed.")};
        }
        if (m_parser.isSet(shard)) {
            line.fingerprint.shard = chosenShard();
        }
        return line;
    }

private:
    search::Shard chosenShard() const
    {
        const QStringList parts = m_parser.value(shard).split(QLatin1Char('/'));
        const int first = plainNumber(parts.constFirst());
        const int last = plainNumber(parts.constLast());
        if (parts.size() != 2 || first < 1 || first > last) {
            throw InvalidUsage{
                QStringLiteral("--shard takes K/N, such as 3/16, with a K from 1 to N.")};
        }
        return {first, last};
    }

    const QCommandLineOption shard =
        option({QStringLiteral("shard")},
               QStringLiteral("Take only the files of shard K of N, from 1/N to N/N, which divide "
                              "the files by their names: alike on each machine with the same "
                              "folders."),
               "K/N");
};

class MergeParser : OptionParser
{
public:
    MergeParser()
        : OptionParser(QStringLiteral(
              "Takes into STORE what the PARTs have, each of them as a whole. Of a file that\n"
              "both have, the newest state counts. The PARTs are only read."))
    {
        m_parser.addOptions({into, quiet, verbose, help});
        m_parser.addPositionalArgument(QStringLiteral("PART"),
                                       QStringLiteral("A store of fingerprints."),
                                       QStringLiteral("PART..."));
    }

    CommandLine parse(const QStringList& arguments)
    {
        parseOptions(arguments);
        CommandLine line;
        if (m_parser.isSet(help)) {
            line.request = CommandLine::Request::ShowText;
            line.text =
                helpText(QString::fromLatin1(kMergeUsage), QString::fromLatin1(kEndOfMergeHelp));
            return line;
        }
        line.request = CommandLine::Request::Merge;
        line.merge.storeFile = fileName(into);
        if (line.merge.storeFile.isEmpty()) {
            throw InvalidUsage{QStringLiteral("--into STORE is needed.")};
        }
        line.merge.parts = asFileNames(m_parser.positionalArguments());
        if (line.merge.parts.isEmpty() || line.merge.parts.contains(QString())) {
            throw InvalidUsage{line.merge.parts.isEmpty()
                                   ? QStringLiteral("No PART is given.")
                                   : QStringLiteral("The name of a PART is empty.")};
        }
        line.merge.quiet = m_parser.isSet(quiet);
        line.merge.verbose = m_parser.isSet(verbose);
        return line;
    }

private:
    const QCommandLineOption into = option(
        {QStringLiteral("into")},
        QStringLiteral("The store to merge into, which is made if it does not exist."), "STORE");
    const QCommandLineOption verbose =
        option({QStringLiteral("v"), QStringLiteral("verbose")},
               QStringLiteral("Print each PART that was merged, with the number of files taken "
                              "from it, on standard error."));
};

} // namespace

CommandLine parseMerge(const QStringList& arguments)
{
    return MergeParser().parse(arguments);
}

CommandLine parseFingerprint(const QStringList& arguments)
{
    return FingerprintParser().parse(arguments);
}

} // namespace cli
