#include "cli/commandline.h"
#include "cli/keeprules.h"

#include <QCoreApplication>
#include <QFile>
#include <QRegularExpression>
#include <QTest>
#include <QThread>

using namespace Qt::StringLiterals;

using cli::CommandLine;
using cli::Format;
using cli::parseCommandLine;

namespace {

CommandLine parse(const QString& arguments)
{
    return parseCommandLine(QStringList{QStringLiteral("quorvel-cli")} +
                            arguments.split(QLatin1Char(' '), arguments.isEmpty()
                                                                  ? Qt::SkipEmptyParts
                                                                  : Qt::KeepEmptyParts));
}

QString contentOf(const char* path)
{
    QFile file(QStringLiteral(QUORVEL_SOURCE_DIR "/") + QString::fromLatin1(path));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

/** The options that the help of \a command names, long ones and short. */
QStringList optionsOfTheHelp(const QString& command)
{
    static const QRegularExpression option(
        QStringLiteral("(?<![A-Za-z0-9-])(--[a-z-]+|-[a-z])(?![a-z-])"));
    QStringList options;
    auto matches = option.globalMatch(parse(command + QStringLiteral(" --help"))
                                          .text.section(QStringLiteral("\nExamples:"), 0, 0));
    while (matches.hasNext()) {
        options.append(matches.next().captured());
    }
    options.removeDuplicates();
    return options;
}

/** The part of the completion \a file that is about \a command. */
QString completionOf(const QString& file, const QString& command)
{
    const QString content = contentOf(qPrintable(QLatin1String("packaging/") + file));
    if (file.endsWith(QLatin1String(".bash"))) {
        const QString title = QLatin1String("    ") + command + QLatin1String(")\n");
        return content.section(title, 1).section(QStringLiteral(";;"), 0, 0);
    }
    if (file.endsWith(QLatin1String(".zsh"))) {
        const QString title = QLatin1String("local -a ") + command + QLatin1String("_options=(");
        return content.section(title, 1).section(QStringLiteral("\n)"), 0, 0);
    }
    QString part;
    for (const QString& line : content.split(QLatin1Char('\n'))) {
        const bool isOfAll = !line.contains(QLatin1String(" -n "));
        if (isOfAll || line.contains(QLatin1String(" -n $") + command + QLatin1Char(' '))) {
            part += line + QLatin1Char('\n');
        }
    }
    return part;
}

/** How the completion \a file has \a option. */
QString inCompletion(const QString& file, const QString& option)
{
    if (!file.endsWith(QLatin1String(".fish"))) {
        return option;
    }
    return option.startsWith(QLatin1String("--")) ? QLatin1String("-l ") + option.mid(2)
                                                  : QLatin1String("-s ") + option.mid(1);
}

/** Whether \a text has \a word, not as a part of a longer one. */
bool hasWord(const QString& text, const QString& word)
{
    return QRegularExpression(
               QStringLiteral("(?<![\\w-])%1(?![\\w-])").arg(QRegularExpression::escape(word)))
        .match(text)
        .hasMatch();
}

} // namespace

class TestCommandLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void searchIsTheCommandWithoutOne();
    void foldersAloneTakeTheDefaults();
    void everyOptionHasItsShortAndLongName_data();
    void everyOptionHasItsShortAndLongName();
    void endsOfEachRangeAreTaken();
    void partsHaveALeastLength();
    void againstMayBeRepeated();
    void patternsMayBeRepeated();
    void endingsAreAddedWithAPlus_data();
    void endingsAreAddedWithAPlus();
    void rulesAreTakenInTheirOrder_data();
    void rulesAreTakenInTheirOrder();
    void formatIsChosenByName();
    void wrongUsageIsToldWithTheUsageLine_data();
    void wrongUsageIsToldWithTheUsageLine();
    void helpAndVersionNeedNoFolder();
    void whatFollowsTwoDashesIsAFolder();
    void manualPageNamesEveryOption_data();
    void manualPageNamesEveryOption();
    void completionNamesEveryOption_data();
    void completionNamesEveryOption();
    void completionAndManualPageNameEveryRule_data();
    void completionAndManualPageNameEveryRule();
    void applyTakesItsOptions();
    void undoTakesItsOptions();
    void fingerprintTakesItsOptions();
    void shardsAreNumberedFromOne_data();
    void shardsAreNumberedFromOne();
    void mergeTakesItsOptions();
    void storeIsTrustedOnRequest();
    void wrongUsageOfACommandIsReportedWithItsLine_data();
    void wrongUsageOfACommandIsReportedWithItsLine();
    void everyHelpHasExamplesAndExitStatuses();
    void everyHelpFitsATerminal();
};

void TestCommandLine::searchIsTheCommandWithoutOne()
{
    const QStringList one(QStringLiteral("one"));
    const QStringList named(QStringLiteral("search"));
    QCOMPARE(parse(QStringLiteral("search -q one")).options.folders, one);
    QCOMPARE(parse(QStringLiteral("search search")).options.folders, named);
    QCOMPARE(parse(QStringLiteral("-q search")).options.folders, named);
    QCOMPARE(parse(QStringLiteral("./search")).options.folders,
             QStringList(QStringLiteral("./search")));
    QVERIFY(parse(QStringLiteral("search -q one")).options.quiet);
    QCOMPARE(parse(QStringLiteral("search --help")).text, parse(QStringLiteral("--help")).text);
}

void TestCommandLine::foldersAloneTakeTheDefaults()
{
    const CommandLine line = parse(QStringLiteral("one two"));
    QCOMPARE(line.request, CommandLine::Request::Search);
    QCOMPARE(line.options.folders, QStringList({QStringLiteral("one"), QStringLiteral("two")}));
    QVERIFY(line.options.against.isEmpty() && line.options.excluded.isEmpty());
    QVERIFY(!line.options.threshold && !line.options.durations.least &&
            !line.options.durations.most);
    QCOMPARE(line.options.threadCount, QThread::idealThreadCount());
    QCOMPARE(line.options.format, Format::Tree);
    QVERIFY(line.options.outputFile.isEmpty() && line.options.storeFile.isEmpty());
    QVERIFY(!line.options.allPairs && !line.options.quiet && !line.options.verbose &&
            !line.options.forget);
    QVERIFY(line.options.keep.isEmpty());
    QVERIFY(!line.options.parts);
    QCOMPARE(line.options.leastPartLength, 20);
}

void TestCommandLine::everyOptionHasItsShortAndLongName_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::newRow("short") << QStringLiteral("-b other -t 55 --min-duration 8 --max-duration 9 -j "
                                             "3 -f csv -o out --pairs --store db --forget -q "
                                             "-v one");
    QTest::newRow("long") << QStringLiteral(
        "--against other --threshold 55 --min-duration 8 --max-duration 9 "
        "--jobs 3 --format csv --output out --pairs "
        "--store db --forget --quiet --verbose one");
    QTest::newRow("joined") << QStringLiteral("one -bother -t55 --min-duration=8 --max-duration=9 "
                                              "--jobs=3 -fcsv --output=out --pairs --store=db "
                                              "--forget -qv");
}

void TestCommandLine::everyOptionHasItsShortAndLongName()
{
    QFETCH(const QString, arguments);
    const CommandLine line = parse(arguments);
    QCOMPARE(line.text, QString());
    const cli::Options& options = line.options;
    QCOMPARE(options.folders, QStringList(QStringLiteral("one")));
    QCOMPARE(options.against, QStringList(QStringLiteral("other")));
    QCOMPARE(options.threshold, std::optional(55));
    QCOMPARE(options.durations.least, std::optional(8));
    QCOMPARE(options.durations.most, std::optional(9));
    QCOMPARE(options.threadCount, 3);
    QCOMPARE(options.format, Format::Csv);
    QCOMPARE(options.outputFile, QStringLiteral("out"));
    QCOMPARE(options.storeFile, QStringLiteral("db"));
    QVERIFY(options.allPairs && options.forget && options.quiet && options.verbose);
}

void TestCommandLine::endsOfEachRangeAreTaken()
{
    const CommandLine least =
        parse(QStringLiteral("-t 0 -j 1 --min-duration 0 --max-duration 0 one"));
    QCOMPARE(least.text, QString());
    QCOMPARE(least.options.threshold, std::optional(0));
    QCOMPARE(least.options.threadCount, 1);
    QCOMPARE(least.options.durations.least, std::optional(0));
    QCOMPARE(least.options.durations.most, std::optional(0));
    const CommandLine most =
        parse(QStringLiteral("-t 100 -j 512 --min-duration 2000000 --max-duration 2000000 one"));
    QCOMPARE(most.text, QString());
    QCOMPARE(most.options.threshold, std::optional(100));
    QCOMPARE(most.options.threadCount, 512);
    QCOMPARE(most.options.durations.least, std::optional(2000000));
    QCOMPARE(most.options.durations.most, std::optional(2000000));
}

void TestCommandLine::partsHaveALeastLength()
{
    const CommandLine line = parse(u"--parts --min-length 8 one"_s);
    QCOMPARE(line.text, QString());
    QVERIFY(line.options.parts);
    QCOMPARE(line.options.leastPartLength, 8);
    QCOMPARE(parse(u"--parts one"_s).options.leastPartLength, 20);
    QCOMPARE(parse(u"--parts --min-length=2000000 one"_s).options.leastPartLength, 2000000);
}

void TestCommandLine::againstMayBeRepeated()
{
    QCOMPARE(parse(QStringLiteral("-b x one --against y")).options.against,
             QStringList({QStringLiteral("x"), QStringLiteral("y")}));
}

void TestCommandLine::patternsMayBeRepeated()
{
    QCOMPARE(parse(QStringLiteral("--exclude *.bak one --exclude=a/b")).options.excluded,
             QStringList({QStringLiteral("*.bak"), QStringLiteral("a/b")}));
}

void TestCommandLine::endingsAreAddedWithAPlus_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QString>("endings");
    QTest::addColumn<bool>("everyEnding");
    QTest::newRow("none") << QStringLiteral("one") << QString() << false;
    QTest::newRow("one") << QStringLiteral("--ext +opus one") << QStringLiteral("opus") << false;
    QTest::newRow("several") << QStringLiteral("--ext=+opus,+oga --ext +aiff one")
                             << QStringLiteral("opus oga aiff") << false;
    QTest::newRow("with a dot, in capitals")
        << QStringLiteral("--ext +.OPUS one") << QStringLiteral("opus") << false;
    QTest::newRow("all") << QStringLiteral("--ext +all one") << QString() << true;
    QTest::newRow("all and another")
        << QStringLiteral("--ext +All,+dat one") << QStringLiteral("dat") << true;
}

void TestCommandLine::endingsAreAddedWithAPlus()
{
    QFETCH(const QString, arguments);
    QFETCH(const QString, endings);
    QFETCH(const bool, everyEnding);
    const CommandLine line = parse(arguments);
    QCOMPARE(line.text, QString());
    QCOMPARE(line.options.moreEndings.join(QLatin1Char(' ')), endings);
    QCOMPARE(line.options.everyEnding, everyEnding);
}

void TestCommandLine::rulesAreTakenInTheirOrder_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QString>("rules");
    QTest::newRow("none") << u"one"_s << u""_s;
    QTest::newRow("complete alone") << u"--keep complete one"_s << u"complete"_s;
    QTest::newRow("complete is first, not named") << u"--keep size one"_s << u"complete size"_s;
    QTest::newRow("complete is first, named later")
        << u"--keep=size,complete one"_s << u"complete size"_s;
    QTest::newRow("every one") << u"--keep oldest,size,bit-rate,sample-rate,lossless one"_s
                               << u"complete oldest size bit-rate sample-rate lossless"_s;
    QTest::newRow("option repeated")
        << u"--keep size --keep=oldest,lossless one"_s << u"complete size oldest lossless"_s;
    QTest::newRow("rule repeated") << u"--keep size,oldest,size one"_s << u"complete size oldest"_s;
    QTest::newRow("folders") << u"--keep under=/usr,size,under=/ one"_s
                             << u"complete under=/usr size under=/"_s;
    QTest::newRow("folder under two names")
        << u"--keep under=/usr/,under=/usr/../usr one"_s << u"complete under=/usr"_s;
    QTest::newRow("backslash before what needs none")
        << u"--keep under=/\\usr,si\\ze one"_s << u"complete under=/usr size"_s;
}

void TestCommandLine::rulesAreTakenInTheirOrder()
{
    QFETCH(const QString, arguments);
    QFETCH(const QString, rules);
    const CommandLine line = parse(arguments);
    QCOMPARE(line.text, QString());
    QCOMPARE(cli::keepRuleTexts(line.options.keep).join(u' '), rules);
}

void TestCommandLine::formatIsChosenByName()
{
    QCOMPARE(parse(QStringLiteral("-f tree one")).options.format, Format::Tree);
    QCOMPARE(parse(QStringLiteral("-f json one")).options.format, Format::Json);
    QCOMPARE(parse(QStringLiteral("-f csv one")).options.format, Format::Csv);
}

void TestCommandLine::wrongUsageIsToldWithTheUsageLine_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QString>("reason");
    const QString percent = QStringLiteral("--threshold takes a whole number from 0 to 100.");
    const QString jobs = QStringLiteral("--jobs takes a whole number from 1 to 512.");
    QTest::newRow("nothing") << QString() << QStringLiteral("No FOLDER is given.");
    QTest::newRow("option alone") << QStringLiteral("-q") << QStringLiteral("No FOLDER is given.");
    QTest::newRow("empty folder") << QStringLiteral("one  two")
                                  << QStringLiteral("The name of a FOLDER is empty.");
    QTest::newRow("empty against")
        << QStringLiteral("one --against=") << QStringLiteral("The name of a FOLDER is empty.");
    QTest::newRow("unknown") << QStringLiteral("--colour one")
                             << QStringLiteral("Unknown option 'colour'.");
    QTest::newRow("unknown, and steers the terminal")
        << QStringLiteral("--\x1b[2Jcolour one") << QStringLiteral("Unknown option '?[2Jcolour'.");
    QTest::newRow("no value") << QStringLiteral("one -t")
                              << QStringLiteral("Missing value after '-t'.");
    const QString seconds =
        QStringLiteral("--min-duration takes a whole number from 0 to 2000000.");
    QTest::newRow("shorter than nothing") << QStringLiteral("--min-duration -1 one") << seconds;
    QTest::newRow("longer than anything")
        << QStringLiteral("--min-duration 2000001 one") << seconds;
    QTest::newRow("a range that ends before it begins")
        << QStringLiteral("--min-duration 9 --max-duration 8 one")
        << QStringLiteral("--max-duration takes a whole number from 9 to 2000000.");
    QTest::newRow("length of no parts")
        << u"--min-length 20 one"_s << u"--min-length is the length of parts: give --parts."_s;
    const QString length = u"--min-length takes a whole number from 8 to 2000000."_s;
    QTest::newRow("parts that are too short") << u"--parts --min-length 7 one"_s << length;
    QTest::newRow("parts without a number") << u"--parts --min-length long one"_s << length;
    for (const char* endings : {"opus", "+", "+.", "+opus,oga", "+opus,", "-wav", "+a/b", "+a.b"}) {
        QTest::addRow("endings %s", endings)
            << QStringLiteral("one --ext=") + QString::fromLatin1(endings)
            << QStringLiteral("--ext takes endings with a plus, such as +opus,+oga, or +all.");
    }
    QTest::newRow("empty pattern") << QStringLiteral("--exclude= one")
                                   << QStringLiteral("--exclude takes no pattern like ''.");
    QTest::newRow("pattern with a set that is none")
        << QStringLiteral("--exclude [z-a] one")
        << QStringLiteral("--exclude takes no pattern like '[z-a]'.");
    for (const char* rules :
         {"", "foo", "size,", ",size", "Size", "under", "under:/usr", "size=1"}) {
        const QString list = QString::fromLatin1(rules);
        QTest::addRow("rules '%s'", rules)
            << u"--keep="_s + list + u" one"_s
            << u"--keep takes complete, lossless, sample-rate, bit-rate, size, oldest, "
               "under=FOLDER, with commas between, not '%1'."_s.arg(list.contains(u',') ? QString()
                                                                                        : list);
    }
    QTest::newRow("rule with the name of no folder")
        << u"--keep under= one"_s << u"--keep under= takes the name of a folder."_s;
    QTest::newRow("rule with a folder that does not exist")
        << u"--keep size,under=/usr/nowhere one"_s
        << u"--keep under=: No such folder: /usr/nowhere"_s;
    QTest::newRow("rule with half of a folder's name")
        << u"--keep under=/usr/nowhere,size one"_s
        << u"--keep under=: No such folder: /usr/nowhere"_s;
    QTest::newRow("rule with a file")
        << u"--keep under=" QUORVEL_SOURCE_DIR "/README.md one"_s
        << u"--keep under=: Not a folder: " QUORVEL_SOURCE_DIR "/README.md"_s;
    QTest::newRow("rules that end with a backslash")
        << u"--keep size\\ one"_s
        << u"--keep ends with a backslash, which takes the next character as it is."_s;
    QTest::newRow("above 100") << QStringLiteral("-t 101 one") << percent;
    QTest::newRow("negative") << QStringLiteral("-t -1 one") << percent;
    QTest::newRow("fraction") << QStringLiteral("-t 70.5 one") << percent;
    QTest::newRow("percent sign") << QStringLiteral("-t 70% one") << percent;
    QTest::newRow("no jobs") << QStringLiteral("-j 0 one") << jobs;
    QTest::newRow("many jobs") << QStringLiteral("-j 513 one") << jobs;
    QTest::newRow("format") << QStringLiteral("-f xml one")
                            << QStringLiteral("--format takes tree, json or csv.");
    QTest::newRow("format and more")
        << QStringLiteral("-f jsonl one") << QStringLiteral("--format takes tree, json or csv.");
    QTest::newRow("output") << QStringLiteral("one --output=")
                            << QStringLiteral("--output takes a file name.");
    QTest::newRow("forget without a store")
        << QStringLiteral("one --forget")
        << QStringLiteral("--forget takes files out of a store: give --store.");
    QTest::newRow("trust in no store")
        << u"one --trust-store"_s << u"--trust-store searches a store: give --store."_s;
    QTest::newRow("trust and forget")
        << u"one --trust-store --forget --store s"_s
        << u"--trust-store looks at no files, so --forget cannot know which are gone."_s;
    QTest::newRow("store") << QStringLiteral("one --store=")
                           << QStringLiteral("--store takes a file name.");
}

void TestCommandLine::wrongUsageIsToldWithTheUsageLine()
{
    QFETCH(const QString, arguments);
    QFETCH(const QString, reason);
    const CommandLine line = parse(arguments);
    QCOMPARE(line.request, CommandLine::Request::WrongUsage);
    QCOMPARE(line.text, QStringLiteral("quorvel-cli: %1\n"
                                       "Usage: quorvel-cli [options] FOLDER...\n")
                            .arg(reason));
}

void TestCommandLine::helpAndVersionNeedNoFolder()
{
    QCOMPARE(parse(QStringLiteral("--help")).request, CommandLine::Request::ShowText);
    QVERIFY(parse(QStringLiteral("-h")).text.contains(QStringLiteral("[options] FOLDER...")));
    QCOMPARE(parse(QStringLiteral("--version")).request, CommandLine::Request::ShowText);
    QVERIFY(parse(QStringLiteral("--version")).text.startsWith(QStringLiteral("quorvel-cli 1.")));
}

void TestCommandLine::whatFollowsTwoDashesIsAFolder()
{
    QCOMPARE(parse(QStringLiteral("-q -- -v")).options.folders, QStringList(QStringLiteral("-v")));
}

void TestCommandLine::manualPageNamesEveryOption_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<int>("count");
    QTest::newRow("search") << QStringLiteral("search") << 20;
    QTest::newRow("fingerprint") << QStringLiteral("fingerprint") << 8;
    QTest::newRow("merge") << QStringLiteral("merge") << 4;
    QTest::newRow("apply") << QStringLiteral("apply") << 10;
    QTest::newRow("undo") << QStringLiteral("undo") << 3;
}

void TestCommandLine::manualPageNamesEveryOption()
{
    QFETCH(const QString, command);
    QFETCH(const int, count);
    const QString manual = contentOf("docs/quorvel-cli.1");
    const QStringList options = optionsOfTheHelp(command);
    QCOMPARE(options.filter(QStringLiteral("--")).size(), count);
    for (const QString& option : options) {
        // The macro puts the first dash.
        QVERIFY2(manual.contains(QLatin1String("Fl ") + option.mid(1)), qPrintable(option));
    }
}

void TestCommandLine::completionNamesEveryOption_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("command");
    for (const char* file : {"quorvel-cli.bash", "quorvel-cli.zsh", "quorvel-cli.fish"}) {
        for (const char* command : {"search", "fingerprint", "merge", "apply", "undo"}) {
            QTest::addRow("%s, %s", file, command)
                << QString::fromLatin1(file) << QString::fromLatin1(command);
        }
    }
}

void TestCommandLine::completionNamesEveryOption()
{
    QFETCH(const QString, file);
    QFETCH(const QString, command);
    const QString completion = completionOf(file, command);
    for (const QString& option : optionsOfTheHelp(command)) {
        // A short option needs no completion in bash, whose list has the long ones.
        if (option.startsWith(QLatin1String("--")) || !file.endsWith(QLatin1String(".bash"))) {
            QVERIFY2(hasWord(completion, inCompletion(file, option)), qPrintable(option));
        }
    }
}

void TestCommandLine::completionAndManualPageNameEveryRule_data()
{
    QTest::addColumn<QString>("option");
    QTest::newRow("packaging/quorvel-cli.bash") << u"    --keep)"_s;
    QTest::newRow("packaging/quorvel-cli.zsh") << u"--keep="_s;
    QTest::newRow("packaging/quorvel-cli.fish") << u" -l keep "_s;
    QTest::newRow("docs/quorvel-cli.1") << u".It Fl -keep "_s;
}

void TestCommandLine::completionAndManualPageNameEveryRule()
{
    QFETCH(const QString, option);
    // Up to the next option.
    QString text = contentOf(QTest::currentDataTag()).section(option, 1);
    static const QRegularExpression next(u"\n *(;;|'|complete |\\.It Fl)"_s);
    text.truncate(text.indexOf(next));
    for (const char* rule :
         {"complete", "lossless", "sample-rate", "bit-rate", "size", "oldest", "under"}) {
        QVERIFY2(hasWord(text, QString::fromLatin1(rule)), rule);
    }
}

void TestCommandLine::applyTakesItsOptions()
{
    const cli::ApplyOptions few = parse(QStringLiteral("apply r.json --move-to f")).apply;
    QCOMPARE(few.resultFile, QStringLiteral("r.json"));
    QCOMPARE(few.folder, QStringLiteral("f"));
    QCOMPARE(few.journalFile, QStringLiteral("r.json.journal"));
    QCOMPARE(few.rules.minSimilarity, 90);
    QVERIFY(!few.rules.evenShort && !few.rules.evenFeatureless && !few.rules.evenPartial);
    QVERIFY(!few.reallyMove && !few.quiet && !few.verbose);

    const CommandLine line =
        parse(QStringLiteral("apply --yes --min-similarity 70 --even-short --even-featureless "
                             "--even-partial --journal j -qv --move-to=:f -"));
    QCOMPARE(line.text, QString());
    QCOMPARE(line.request, CommandLine::Request::Apply);
    const cli::ApplyOptions& all = line.apply;
    QCOMPARE(all.resultFile, QStringLiteral("-"));
    QCOMPARE(all.folder, QStringLiteral("./:f"));
    QCOMPARE(all.journalFile, QStringLiteral("j"));
    QCOMPARE(all.rules.minSimilarity, 70);
    QVERIFY(all.rules.evenShort && all.rules.evenFeatureless && all.rules.evenPartial);
    QVERIFY(all.reallyMove && all.quiet && all.verbose);
}

void TestCommandLine::undoTakesItsOptions()
{
    const CommandLine line = parse(QStringLiteral("undo -qv j"));
    QCOMPARE(line.request, CommandLine::Request::Undo);
    QCOMPARE(line.undo.journalFile, QStringLiteral("j"));
    QVERIFY(line.undo.quiet && line.undo.verbose);
    QCOMPARE(parse(QStringLiteral("./undo")).request, CommandLine::Request::Search);
}

void TestCommandLine::fingerprintTakesItsOptions()
{
    const cli::FingerprintOptions few = parse(u"fingerprint --store s one"_s).fingerprint;
    QCOMPARE(few.shard, search::Shard(1, 1));
    QCOMPARE(few.threadCount, QThread::idealThreadCount());
    QVERIFY(!few.quiet && !few.verbose && few.excluded.isEmpty() && few.moreEndings.isEmpty());

    const CommandLine line = parse(u"fingerprint --store :s --shard 2/7 --exclude x --ext +opus "
                                   "-j 3 -qv one two"_s);
    QCOMPARE(line.text, QString());
    QCOMPARE(line.request, CommandLine::Request::Fingerprint);
    const cli::FingerprintOptions& all = line.fingerprint;
    QCOMPARE(all.folders, QStringList({u"one"_s, u"two"_s}));
    QCOMPARE(all.storeFile, u"./:s"_s);
    QCOMPARE(all.shard, search::Shard(2, 7));
    QCOMPARE(all.excluded, QStringList(u"x"_s));
    QCOMPARE(all.moreEndings, QStringList(u"opus"_s));
    QCOMPARE(all.threadCount, 3);
    QVERIFY(all.quiet && all.verbose);
    QCOMPARE(parse(u"./fingerprint"_s).request, CommandLine::Request::Search);
}

void TestCommandLine::shardsAreNumberedFromOne_data()
{
    QTest::addColumn<QString>("shard");
    QTest::addColumn<bool>("isUsable");
    for (const char* shard : {"1/1", "1/16", "16/16"}) {
        QTest::newRow(shard) << QString::fromLatin1(shard) << true;
    }
    for (const char* shard : {"", "1", "/", "1/", "/1", "0/2", "3/2", "1/2/3", "-1/2", "1/-2",
                              "+1/2", "a/b", "1/0", "1/99999999999"}) {
        QTest::addRow("'%s'", shard) << QString::fromLatin1(shard) << false;
    }
}

void TestCommandLine::shardsAreNumberedFromOne()
{
    QFETCH(const QString, shard);
    QFETCH(const bool, isUsable);
    const CommandLine line = parse(u"fingerprint --store s one --shard="_s + shard);
    QCOMPARE(line.request == CommandLine::Request::Fingerprint, isUsable);
    QCOMPARE(line.text.startsWith(u"quorvel-cli: --shard takes K/N, such as 3/16, with a K from "
                                  "1 to N.\n"_s),
             !isUsable);
}

void TestCommandLine::mergeTakesItsOptions()
{
    const CommandLine few = parse(u"merge --into s p"_s);
    QCOMPARE(few.request, CommandLine::Request::Merge);
    QVERIFY(!few.merge.quiet && !few.merge.verbose);
    const CommandLine line = parse(u"merge p -qv :q --into=:s"_s);
    QCOMPARE(line.text, QString());
    QCOMPARE(line.merge.storeFile, u"./:s"_s);
    QCOMPARE(line.merge.parts, QStringList({u"p"_s, u"./:q"_s}));
    QVERIFY(line.merge.quiet && line.merge.verbose);
    QCOMPARE(parse(u"./merge"_s).request, CommandLine::Request::Search);
}

void TestCommandLine::storeIsTrustedOnRequest()
{
    QVERIFY(!parse(u"--store s one"_s).options.trustStore);
    QVERIFY(parse(u"--store s --trust-store one"_s).options.trustStore);
}

void TestCommandLine::wrongUsageOfACommandIsReportedWithItsLine_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QString>("usage");
    const QString apply =
        QStringLiteral("Usage: quorvel-cli apply [options] --move-to FOLDER RESULT\n");
    const QString undo = QStringLiteral("Usage: quorvel-cli undo [options] JOURNAL\n");
    QTest::newRow("apply nothing") << QStringLiteral("apply") << apply;
    QTest::newRow("apply nowhere") << QStringLiteral("apply r.json") << apply;
    QTest::newRow("apply two") << QStringLiteral("apply r.json s.json --move-to f") << apply;
    QTest::newRow("apply from standard input") << QStringLiteral("apply - --move-to f") << apply;
    QTest::newRow("apply above 100")
        << QStringLiteral("apply r.json --move-to f --min-similarity 101") << apply;
    QTest::newRow("option of the search")
        << QStringLiteral("apply r.json --move-to f --pairs") << apply;
    const QString fingerprint =
        u"Usage: quorvel-cli fingerprint [options] --store FILE FOLDER...\n"_s;
    const QString merge = u"Usage: quorvel-cli merge [options] --into STORE PART...\n"_s;
    QTest::newRow("fingerprint nothing") << u"fingerprint --store s"_s << fingerprint;
    QTest::newRow("fingerprint into nothing") << u"fingerprint one"_s << fingerprint;
    QTest::newRow("fingerprint no name") << u"fingerprint --store s  two"_s << fingerprint;
    QTest::newRow("fingerprint with an option of the search")
        << u"fingerprint --store s --forget one"_s << fingerprint;
    QTest::newRow("merge nothing") << u"merge --into s"_s << merge;
    QTest::newRow("merge into nothing") << u"merge p"_s << merge;
    QTest::newRow("merge into no name") << u"merge --into= p"_s << merge;
    QTest::newRow("merge no name") << u"merge --into s p "_s << merge;
    QTest::newRow("undo nothing") << QStringLiteral("undo") << undo;
    QTest::newRow("undo two") << QStringLiteral("undo i j") << undo;
}

void TestCommandLine::wrongUsageOfACommandIsReportedWithItsLine()
{
    QFETCH(const QString, arguments);
    QFETCH(const QString, usage);
    const CommandLine line = parse(arguments);
    QCOMPARE(line.request, CommandLine::Request::WrongUsage);
    QVERIFY2(line.text.endsWith(usage), qPrintable(line.text));
}

void TestCommandLine::everyHelpHasExamplesAndExitStatuses()
{
    for (const QString& command :
         {u"search"_s, u"fingerprint"_s, u"merge"_s, u"apply"_s, u"undo"_s}) {
        const CommandLine line = parse(command + QStringLiteral(" --help"));
        QCOMPARE(line.request, CommandLine::Request::ShowText);
        QVERIFY(line.text.startsWith(QLatin1String("Usage: quorvel-cli ")));
        QVERIFY(line.text.contains(QLatin1String("\nExamples:\n  quorvel-cli ")));
        QVERIFY(line.text.contains(QLatin1String("\nExit status:\n  0  ")));
        QVERIFY(line.text.contains(QLatin1String("\n  130  Interrupted by Ctrl-C")));
    }
}

void TestCommandLine::everyHelpFitsATerminal()
{
    constexpr qsizetype kColumns = 80;
    for (const QString& command :
         {u"search"_s, u"fingerprint"_s, u"merge"_s, u"apply"_s, u"undo"_s}) {
        const QString text = parse(command + QStringLiteral(" --help")).text;
        for (const QString& line : text.split(QLatin1Char('\n'))) {
            QVERIFY2(line.size() <= kColumns, qPrintable(line));
        }
    }
}

QTEST_GUILESS_MAIN(TestCommandLine)
#include "tst_commandline.moc"
