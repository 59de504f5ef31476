#include "cli/applyparser.h"

#include "cli/optionparser.h"
#include "compare/similarity.h"

namespace cli {

namespace {

constexpr auto kStandardInput = "-";

QString exitStatuses(const QString& actions)
{
    return QStringLiteral("\nExit status:\n"
                          "  0  %1\n"
                          "  1  Some files were left alone; the output has the reasons.\n"
                          "  2  Wrong usage.\n"
                          "  3  Nothing could be done, or the journal could not be written.\n"
                          "     A message gives the reason.\n"
                          "  130  Interrupted by Ctrl-C, after the file in progress.\n")
        .arg(actions);
}

QString applyEnd()
{
    return QStringLiteral("\nExamples:\n"
                          "  quorvel-cli search -f json -o found.json ~/Music\n"
                          "  quorvel-cli apply found.json --move-to ~/duplicates\n"
                          "  quorvel-cli apply found.json --move-to ~/duplicates --yes\n"
                          "  quorvel-cli undo found.json.journal\n") +
           exitStatuses(QStringLiteral("All duplicates were moved, or would be with --yes."));
}

QString undoEnd()
{
    return QStringLiteral("\nExamples:\n"
                          "  quorvel-cli undo found.json.journal\n") +
           exitStatuses(QStringLiteral("All files are in their places again."));
}

/** Parses the only argument beside the options, the name of a file called \a name. */
QString onlyFile(const QStringList& arguments, const QString& name)
{
    if (arguments.size() != 1 || arguments.constFirst().isEmpty()) {
        throw InvalidUsage{QStringLiteral("One %1 is needed.").arg(name)};
    }
    return asFileName(arguments.constFirst());
}

class ApplyParser : OptionParser
{
public:
    ApplyParser()
        : OptionParser(QStringLiteral(
              "Moves the duplicates of a search's result, each below FOLDER under its own\n"
              "absolute path. Without --yes it only shows what would be done, and why.\n"
              "Deletes and overwrites nothing. The same command again continues after an\n"
              "interruption."))
    {
        m_parser.addOptions({moveTo, yes, minSimilarity, evenShort, evenFeatureless, evenPartial,
                             journal, quiet, verbose, help});
        m_parser.addPositionalArgument(
            QStringLiteral("RESULT"),
            QStringLiteral("The JSON result of a search; \"-\" is standard input."));
    }

    CommandLine parse(const QStringList& arguments)
    {
        parseOptions(arguments);
        CommandLine line;
        if (m_parser.isSet(help)) {
            line.request = CommandLine::Request::ShowText;
            line.text = helpText(QString::fromLatin1(kApplyUsage), applyEnd());
        } else {
            line.request = CommandLine::Request::Apply;
            line.apply = options();
        }
        return line;
    }

private:
    ApplyOptions options() const
    {
        ApplyOptions options;
        options.resultFile = onlyFile(m_parser.positionalArguments(), QStringLiteral("RESULT"));
        if (!m_parser.isSet(moveTo) || m_parser.value(moveTo).isEmpty()) {
            throw InvalidUsage{QStringLiteral("--move-to FOLDER is needed.")};
        }
        options.folder = fileName(moveTo);
        options.reallyMove = m_parser.isSet(yes);
        if (m_parser.isSet(minSimilarity)) {
            options.rules.minSimilarity = number(minSimilarity, 0, compare::kLargestSimilarity);
        }
        options.rules.evenShort = m_parser.isSet(evenShort);
        options.rules.evenFeatureless = m_parser.isSet(evenFeatureless);
        options.rules.evenPartial = m_parser.isSet(evenPartial);
        options.journalFile = journalFile(options.resultFile);
        options.quiet = m_parser.isSet(quiet);
        options.verbose = m_parser.isSet(verbose);
        return options;
    }

    QString journalFile(const QString& resultFile) const
    {
        if (m_parser.isSet(journal)) {
            return fileName(journal);
        }
        if (resultFile == QLatin1String(kStandardInput)) {
            throw InvalidUsage{
                QStringLiteral("A RESULT from standard input needs --journal FILE.")};
        }
        return resultFile + QLatin1String(".journal");
    }

    const QCommandLineOption moveTo =
        option({QStringLiteral("move-to")},
               QStringLiteral("Move the duplicates below FOLDER, which is created. It must not be "
                              "in a folder that was searched, nor contain one."),
               "FOLDER");
    const QCommandLineOption yes = option(
        {QStringLiteral("yes")}, QStringLiteral("Move the files. Without it, nothing is done."));
    const QCommandLineOption minSimilarity =
        option({QStringLiteral("min-similarity")},
               QStringLiteral("Leave alone what is less like its reference (default: %1).")
                   .arg(actions::kDefaultMinSimilarity),
               "PERCENT");
    const QCommandLineOption evenShort =
        option({QStringLiteral("even-short")},
               QStringLiteral("Move files of less than %1 seconds, too, which can be alike by "
                              "chance.")
                   .arg(actions::kShortSeconds));
    const QCommandLineOption evenFeatureless = option(
        {QStringLiteral("even-featureless")},
        QStringLiteral("Move files with nothing to hear in them, too, which are all alike."));
    const QCommandLineOption evenPartial =
        option({QStringLiteral("even-partial")},
               QStringLiteral("Move the duplicates of a reference, too, of which not everything "
                              "could be read."));
    const QCommandLineOption journal = option(
        {QStringLiteral("journal")},
        QStringLiteral("Write what is done to FILE, for undo (default: RESULT.journal)."), "FILE");
    const QCommandLineOption verbose = option({QStringLiteral("v"), QStringLiteral("verbose")},
                                              QStringLiteral("List the moved files as well."));
};

class UndoParser : OptionParser
{
public:
    UndoParser()
        : OptionParser(QStringLiteral(
              "Moves the files back that \"quorvel-cli apply\" moved, and removes the folders\n"
              "that it made, if they are empty. Overwrites nothing. The same command again\n"
              "continues after an interruption."))
    {
        m_parser.addOptions({quiet, verbose, help});
        m_parser.addPositionalArgument(QStringLiteral("JOURNAL"),
                                       QStringLiteral("The journal that apply wrote."));
    }

    CommandLine parse(const QStringList& arguments)
    {
        parseOptions(arguments);
        CommandLine line;
        if (m_parser.isSet(help)) {
            line.request = CommandLine::Request::ShowText;
            line.text = helpText(QString::fromLatin1(kUndoUsage), undoEnd());
            return line;
        }
        line.request = CommandLine::Request::Undo;
        line.undo.journalFile = onlyFile(m_parser.positionalArguments(), QStringLiteral("JOURNAL"));
        line.undo.quiet = m_parser.isSet(quiet);
        line.undo.verbose = m_parser.isSet(verbose);
        return line;
    }

private:
    const QCommandLineOption verbose = option({QStringLiteral("v"), QStringLiteral("verbose")},
                                              QStringLiteral("List the files moved back as well."));
};

} // namespace

CommandLine parseApply(const QStringList& arguments)
{
    return ApplyParser().parse(arguments);
}

CommandLine parseUndo(const QStringList& arguments)
{
    return UndoParser().parse(arguments);
}

} // namespace cli
