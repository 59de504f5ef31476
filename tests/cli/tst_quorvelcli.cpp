#include "cliprocess.h"
#include "schemavalidation.h"
#include "support/media.h"
#include "tunefolders.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QSettings>
#include <QTest>

#include <memory>
#include <vector>

#include <linux/capability.h>
#include <pty.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using testmedia::contentOf;

/** Runs the program with its standard error on a terminal; returns what appears there. */
QByteArray onATerminal(const QStringList& arguments)
{
    QList<QByteArray> encoded{QByteArray(QUORVEL_CLI)};
    for (const QString& argument : arguments) {
        encoded.append(argument.toUtf8());
    }
    std::vector<char*> pointers;
    for (QByteArray& argument : encoded) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    int terminal = -1;
    const pid_t child = ::forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        ::execv(pointers.front(), pointers.data());
        ::_exit(127);
    }
    QByteArray shown;
    char buffer[4096];
    for (ssize_t count = 0; (count = ::read(terminal, buffer, sizeof buffer)) > 0;) {
        shown.append(buffer, count);
    }
    ::close(terminal);
    int status = 0;
    ::waitpid(child, &status, 0);
    return status == 0 ? shown : "exit status " + QByteArray::number(status) + '\n' + shown;
}

bool isPipe(const QString& path)
{
    struct stat status = {};
    return ::lstat(path.toUtf8().constData(), &status) == 0 && S_ISFIFO(status.st_mode);
}

} // namespace

class TestQuorvelCli : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void sameRunGivesTheSameBytes();
    void jsonFollowsItsSchema_data();
    void jsonFollowsItsSchema();
    void filesOfOtherLengthsAreLeftOutOnRequest_data();
    void filesOfOtherLengthsAreLeftOutOnRequest();
    void writtenFileIsWhatStandardOutputGets();
    void wrongUsageExitsWithTwo();
    void missingFolderExitsWithOneAfterTheRest_data();
    void missingFolderExitsWithOneAfterTheRest();
    void whatIsSkippedIsInTheResult_data();
    void whatIsSkippedIsInTheResult();
    void whatIsExcludedIsNotLookedAt_data();
    void whatIsExcludedIsNotLookedAt();
    void otherAudioEndingsAreCountedAndSearchedOnRequest_data();
    void otherAudioEndingsAreCountedAndSearchedOnRequest();
    void thresholdIsTheStoredOneAsItStands_data();
    void thresholdIsTheStoredOneAsItStands();
    void nothingIsStoredInTheSettings();
    void outputThatCannotBeWrittenIsToldBeforeTheSearch_data();
    void outputThatCannotBeWrittenIsToldBeforeTheSearch();
    void fullStandardOutputIsAFailure();
    void closedStandardStreamsAreNotMixedUp();
    void failedFilesAreToldOnRequestOnly();
    void namesAreUnicodeInAPlainEnvironment();
    void folderNamedTwiceGivesEachFileOnce();
    void folderThatIsALinkKeepsItsName();
    void folderAboveALinkIsThatOfItsTarget();
    void namesThatBeginWithAColonAreFiles();
    void progressIsShownOnATerminalAndTakenAway();
    void quietShowsNoProgress();
    void everyPairOfTooManyFilesIsRefused();

private:
    QString path(const char* name) const
    {
        return media->filePath(QString::fromUtf8(name));
    }

    std::unique_ptr<testmedia::MediaFolder> media;
    QString first;
    QString second;
};

void TestQuorvelCli::initTestCase()
{
    media = std::make_unique<testmedia::MediaFolder>();
    addTuneFolders(*media);
    first = path("first");
    second = path("second");
}

void TestQuorvelCli::init()
{
    QSettings(QStringLiteral("tandrik"), QStringLiteral("quorvel")).clear();
}

void TestQuorvelCli::sameRunGivesTheSameBytes()
{
    for (const char* format : {"tree", "json", "csv"}) {
        const QString name = QString::fromLatin1(format);
        const CliRun once =
            runCli({first, second, QStringLiteral("-j1"), QStringLiteral("-f"), name});
        const CliRun again =
            runCli({second, first, QStringLiteral("-j8"), QStringLiteral("-f"), name});
        QCOMPARE(once.exitStatus, 0);
        QCOMPARE(once.errors, QByteArray());
        QVERIFY(once.output.contains("2.flac"));
        QCOMPARE(again.output, once.output);
    }
}

void TestQuorvelCli::jsonFollowsItsSchema_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("within group") << QStringList{first, second};
    QTest::newRow("between groups") << QStringList{first, QStringLiteral("-b"), second};
    QTest::newRow("all pairs") << QStringList{first, second, QStringLiteral("--pairs"),
                                              QStringLiteral("-t0")};
    QTest::newRow("nothing found") << QStringList{first, QStringLiteral("-b"), first};
}

void TestQuorvelCli::jsonFollowsItsSchema()
{
    QFETCH(const QStringList, arguments);
    const CliRun run = runCli(arguments + QStringList{QStringLiteral("-fjson")});
    QCOMPARE(run.exitStatus, 0);
    QCOMPARE(schemaObjection(run.output), QByteArray());
    const QJsonObject counts = run.json()[QStringLiteral("counts")].toObject();
    const bool nothing = QTest::currentDataTag() == QByteArray("nothing found");
    QCOMPARE(counts[QStringLiteral("duplicates")].toInt() > 0, !nothing);
    QCOMPARE(counts[QStringLiteral("failures")].toInt(), nothing ? 0 : 1);
}

void TestQuorvelCli::filesOfOtherLengthsAreLeftOutOnRequest_data()
{
    QTest::addColumn<QString>("option");
    QTest::addColumn<int>("seconds");
    QTest::addColumn<int>("leftOut");
    const QString least = QStringLiteral("min");
    const QString most = QStringLiteral("max");
    QTest::newRow("shorter than all") << least << 0 << 0;
    QTest::newRow("as long as they are") << least << 10 << 0;
    QTest::newRow("longer than some") << least << 11 << 2;
    QTest::newRow("longer than all") << least << 13 << 3;
    QTest::newRow("at most longer than all") << most << 13 << 0;
    QTest::newRow("at most as long as all") << most << 12 << 0;
    QTest::newRow("at most as long as some") << most << 10 << 1;
    QTest::newRow("at most shorter than all") << most << 9 << 3;
}

void TestQuorvelCli::filesOfOtherLengthsAreLeftOutOnRequest()
{
    QFETCH(const QString, option);
    QFETCH(const int, seconds);
    QFETCH(const int, leftOut);
    // Three files of one piece, of which two play for exactly ten seconds.
    testmedia::Tune tune{.seed = 40, .seconds = 10.0};
    media->makeTune(QStringLiteral("lengths/a.wav"), tune);
    media->makeTune(QStringLiteral("lengths/b.wav"), tune);
    tune.seconds = 12.0;
    media->makeTune(QStringLiteral("lengths/c.wav"), tune);
    media->write(QStringLiteral("lengths/broken.wav"), "no audio");
    const QStringList arguments{media->filePath(QStringLiteral("lengths")),
                                QStringLiteral("--%1-duration").arg(option),
                                QString::number(seconds)};
    const bool isLeast = option == QLatin1String("min");
    const CliRun run = runCli(arguments + QStringList{QStringLiteral("-fjson")});
    QCOMPARE(schemaObjection(run.output), QByteArray());
    const QJsonObject counts = run.json()[QStringLiteral("counts")].toObject();
    QCOMPARE(run.json()[QStringLiteral("%1DurationSeconds").arg(option)].toInt(-1), seconds);
    QCOMPARE(counts[isLeast ? QStringLiteral("tooShort") : QStringLiteral("tooLong")].toInt(-1),
             leftOut);
    QCOMPARE(counts[QStringLiteral("failures")].toInt(), 1);
    QCOMPARE(counts[QStringLiteral("duplicates")].toInt(), leftOut == 0 ? 2 : leftOut == 1 ? 1 : 0);
    QVERIFY(runCli(arguments).output.contains(
        QStringLiteral("Files %1 than %2 s that were left out: %3\n")
            .arg(isLeast ? QStringLiteral("shorter") : QStringLiteral("longer"))
            .arg(seconds)
            .arg(leftOut)
            .toUtf8()));
}

void TestQuorvelCli::writtenFileIsWhatStandardOutputGets()
{
    const QString file = media->write(QStringLiteral("result.csv"), "an older result");
    const QStringList arguments{first, QStringLiteral("-b"), second, QStringLiteral("-fcsv")};
    const CliRun run = runCli(arguments + QStringList{QStringLiteral("-o"), file});
    QCOMPARE(run.exitStatus, 0);
    QCOMPARE(run.output, QByteArray());
    QCOMPARE(contentOf(file), runCli(arguments).output);
    QVERIFY(contentOf(file).startsWith("reference,"));
}

void TestQuorvelCli::wrongUsageExitsWithTwo()
{
    const CliRun run = runCli({QStringLiteral("-t"), QStringLiteral("many"), first});
    QCOMPARE(run.exitStatus, 2);
    QCOMPARE(run.output, QByteArray());
    QVERIFY(run.errors.endsWith("Usage: quorvel-cli [options] FOLDER...\n"));
    QCOMPARE(runCli({}).exitStatus, 2);
    QCOMPARE(runCli({QStringLiteral("--version")}).exitStatus, 0);
}

void TestQuorvelCli::missingFolderExitsWithOneAfterTheRest_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QByteArray>("message");
    QTest::newRow("missing") << path("nowhere") << QByteArray("No such folder");
    QTest::newRow("file") << path("first/1.flac") << QByteArray("Not a folder");
    if (::geteuid() != 0) {
        QDir().mkpath(path("closed"));
        QFile::setPermissions(path("closed"), {});
        QTest::newRow("unreadable") << path("closed") << QByteArray("cannot be read");
    }
}

void TestQuorvelCli::missingFolderExitsWithOneAfterTheRest()
{
    QFETCH(const QString, folder);
    QFETCH(const QByteArray, message);
    const CliRun whole = runCli({first, second, QStringLiteral("-fjson")});
    const CliRun rest = runCli({first, folder, second, QStringLiteral("-fjson")});
    QCOMPARE(rest.exitStatus, 1);
    QCOMPARE(rest.output, whole.output);
    QVERIFY2(rest.errors.contains(message) && rest.errors.contains(folder.toUtf8()),
             rest.errors.constData());
    const CliRun groupB =
        runCli({first, QStringLiteral("-b"), folder, QStringLiteral("-b"), second});
    QCOMPARE(groupB.exitStatus, 1);
    QVERIFY(groupB.output.contains("3 duplicate audio files found."));
}

void TestQuorvelCli::whatIsSkippedIsInTheResult_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<bool>("isLink");
    QTest::addColumn<bool>("isLocked");
    QTest::addColumn<QString>("shownName");
    QTest::addColumn<QString>("reason");
    QTest::addColumn<int>("exitStatus");
    QTest::newRow("dangling link")
        << QByteArray("x.mp3") << true << false << QStringLiteral("x.mp3")
        << QStringLiteral("dangling link") << 0;
    QTest::newRow("folder in Latin-1")
        << QByteArray("Caf\xE9") << false << false << QStringLiteral("Caf\\xE9")
        << QStringLiteral("name not valid UTF-8") << 1;
    QTest::newRow("unreadable folder")
        << QByteArray("locked") << false << true << QStringLiteral("locked")
        << QStringLiteral("folder not readable (Permission denied)") << 1;
}

void TestQuorvelCli::whatIsSkippedIsInTheResult()
{
    QFETCH(const QByteArray, name);
    QFETCH(const bool, isLink);
    QFETCH(const bool, isLocked);
    QFETCH(const QString, shownName);
    QFETCH(const QString, reason);
    QFETCH(const int, exitStatus);
    const testmedia::MediaFolder tree;
    const QByteArray path = QFile::encodeName(tree.path()) + '/' + name;
    QVERIFY(isLink ? ::symlink("nowhere", path.constData()) == 0
                   : ::mkdir(path.constData(), isLocked ? 0 : 0700) == 0);
    const auto runOnTree = [&tree](const QStringList& arguments) {
        QProcess process;
        // An administrator reads any folder, but for these two capabilities.
        process.setChildProcessModifier([] {
            ::prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE);
            ::prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH);
        });
        startCli(process, QStringList{tree.path()} + arguments);
        process.waitForFinished();
        return CliRun{process.exitCode(), process.readAllStandardOutput(),
                      process.readAllStandardError()};
    };
    const QString shownPath = tree.path() + QLatin1Char('/') + shownName;
    const QByteArray message =
        QStringLiteral("quorvel-cli: Skipped: %1: %2\n").arg(shownPath, reason).toUtf8();

    // Each folder given twice, in both groups: everything is skipped once.
    const CliRun json =
        runOnTree({tree.path(), QStringLiteral("-b"), tree.path(), QStringLiteral("-fjson")});
    QCOMPARE(json.exitStatus, exitStatus);
    QCOMPARE(json.errors, exitStatus == 0 ? QByteArray() : message);
    QCOMPARE(schemaObjection(json.output), QByteArray());
    const QJsonObject entry{{QStringLiteral("path"), shownPath},
                            {QStringLiteral("reason"), reason}};
    QCOMPARE(json.json()[QStringLiteral("skipped")].toArray(), QJsonArray{entry});
    QCOMPARE(json.json()[QStringLiteral("counts")][QStringLiteral("skipped")].toInt(), 1);
    const CliRun text = runOnTree({QStringLiteral("-v")});
    QCOMPARE(text.errors, message);
    QVERIFY(text.output.endsWith("Files searched: 0\n"
                                 "Files and folders skipped, which --verbose names: 1\n"));
    ::chmod(path.constData(), 0700);
}

void TestQuorvelCli::whatIsExcludedIsNotLookedAt_data()
{
    QTest::addColumn<QStringList>("patterns");
    QTest::addColumn<int>("files");
    QTest::addColumn<int>("skipped");
    QTest::newRow("nothing") << QStringList() << 5 << 2;
    QTest::newRow("name") << QStringList(QStringLiteral("x.mp3")) << 2 << 2;
    QTest::newRow("folder") << QStringList(QStringLiteral("old/")) << 2 << 1;
    QTest::newRow("path") << QStringList(QStringLiteral("/old/x.mp3")) << 4 << 2;
    QTest::newRow("everything below a folder") << QStringList(QStringLiteral("new/**")) << 2 << 2;
    QTest::newRow("name that is not UTF-8") << QStringList(QStringLiteral("*xE9*")) << 5 << 1;
    QTest::newRow("dangling link")
        << QStringList({QStringLiteral("gone.*"), QStringLiteral("Caf*")}) << 5 << 0;
}

void TestQuorvelCli::whatIsExcludedIsNotLookedAt()
{
    QFETCH(const QStringList, patterns);
    QFETCH(const int, files);
    QFETCH(const int, skipped);
    const testmedia::MediaFolder tree;
    for (const char* name : {"old/x.mp3", "old/y.mp3", "new/x.mp3", "new/old/x.mp3", "new/z.mp3"}) {
        tree.write(QString::fromLatin1(name), {});
    }
    const QByteArray root = QFile::encodeName(tree.path());
    QVERIFY(::mkdir((root + "/Caf\xE9").constData(), 0700) == 0);
    QVERIFY(::symlink("nowhere", (root + "/old/gone.mp3").constData()) == 0);
    QStringList arguments{tree.path(), QStringLiteral("-fjson")};
    for (const QString& pattern : patterns) {
        arguments += {QStringLiteral("--exclude"), pattern};
    }
    const QJsonObject counts = runCli(arguments).json()[QStringLiteral("counts")].toObject();
    QCOMPARE(counts[QStringLiteral("files")].toInt(), files);
    QCOMPARE(counts[QStringLiteral("skipped")].toInt(), skipped);
}

void TestQuorvelCli::otherAudioEndingsAreCountedAndSearchedOnRequest_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("pairs");
    QTest::addColumn<QString>("notSearched");
    QTest::newRow("not asked for")
        << QStringList() << QString() << QStringLiteral("opus 2, aiff 1");
    QTest::newRow("one ending") << QStringList{QStringLiteral("--ext"), QStringLiteral("+opus")}
                                << QStringLiteral("/1.flac = /2.opus, /1.flac = /old/3.Opus, "
                                                  "/2.opus = /old/3.Opus")
                                << QStringLiteral("aiff 1");
    QTest::newRow("with an exclusion")
        << QStringList{QStringLiteral("--ext=+opus"), QStringLiteral("--exclude=old")}
        << QStringLiteral("/1.flac = /2.opus") << QStringLiteral("aiff 1");
    QTest::newRow("excluded") << QStringList{QStringLiteral("--exclude=old")} << QString()
                              << QStringLiteral("aiff 1, opus 1");
    QTest::newRow("all, with an ending that is none of audio")
        << QStringList{QStringLiteral("--ext=+all,+txt"), QStringLiteral("--exclude=[23]*")}
        << QStringLiteral("/1.flac = /4.aiff, /1.flac = /5.txt, /4.aiff = /5.txt") << QString();
}

void TestQuorvelCli::otherAudioEndingsAreCountedAndSearchedOnRequest()
{
    QFETCH(const QStringList, arguments);
    QFETCH(const QString, pairs);
    QFETCH(const QString, notSearched);
    const testmedia::MediaFolder tree;
    const testmedia::Tune tune{.seed = 30, .seconds = 10.0};
    tree.makeTune(QStringLiteral("1.flac"), tune);
    tree.makeTune(QStringLiteral("2.opus"), tune);
    tree.makeTune(QStringLiteral("old/3.Opus"), tune,
                  {QStringLiteral("-f"), QStringLiteral("ogg"), QStringLiteral("-c:a"),
                   QStringLiteral("libopus")});
    tree.makeTune(QStringLiteral("4.aiff"), tune);
    QVERIFY(QFile::copy(tree.filePath(QStringLiteral("4.aiff")),
                        tree.filePath(QStringLiteral("5.txt"))));
    // Given twice, which counts once.
    const CliRun run = runCli(QStringList{tree.path(), tree.filePath(QStringLiteral("old/..")),
                                          QStringLiteral("--pairs"), QStringLiteral("-fjson")} +
                              arguments);
    QCOMPARE(schemaObjection(run.output), QByteArray());
    QCOMPARE(run.unorderedPairs(tree.path()).join(QStringLiteral(", ")), pairs);
    QStringList counts;
    int sum = 0;
    for (const QJsonValue entry : run.json()[QStringLiteral("notSearched")].toArray()) {
        const int count = entry[QStringLiteral("count")].toInt();
        counts.append(
            QStringLiteral("%1 %2").arg(entry[QStringLiteral("ending")].toString()).arg(count));
        sum += count;
    }
    QCOMPARE(counts.join(QStringLiteral(", ")), notSearched);
    QCOMPARE(run.json()[QStringLiteral("counts")][QStringLiteral("notSearched")].toInt(), sum);
}

void TestQuorvelCli::thresholdIsTheStoredOneAsItStands_data()
{
    QTest::addColumn<QVariant>("stored");
    QTest::addColumn<int>("threshold");
    QTest::addColumn<QByteArray>("warning");
    const QByteArray noWarning("");
    const QByteArray everyPair = "is %1, which makes every pair of files a duplicate. ";
    const QByteArray noPair = "is %1, which no pair of files reaches. ";
    QTest::newRow("nothing stored") << QVariant() << 70 << noWarning;
    QTest::newRow("number") << QVariant(85) << 85 << noWarning;
    QTest::newRow("least") << QVariant(1) << 1 << noWarning;
    QTest::newRow("most") << QVariant(100) << 100 << noWarning;
    QTest::newRow("zero") << QVariant(0) << 0 << everyPair;
    QTest::newRow("negative") << QVariant(-5) << -5 << everyPair;
    QTest::newRow("above 100") << QVariant(101) << 101 << noPair;
    QTest::newRow("text") << QVariant(QStringLiteral("much")) << 0 << everyPair;
    QTest::newRow("percent sign") << QVariant(QStringLiteral("70%")) << 0 << everyPair;
}

void TestQuorvelCli::thresholdIsTheStoredOneAsItStands()
{
    QFETCH(const QVariant, stored);
    QFETCH(const int, threshold);
    QFETCH(QByteArray, warning);
    if (!warning.isEmpty()) {
        warning = "quorvel-cli: Warning: the threshold in the settings of the window program " +
                  warning.replace("%1", QByteArray::number(threshold)) +
                  "Choose another with --threshold.\n";
    }
    if (stored.isValid()) {
        QSettings(QStringLiteral("tandrik"), QStringLiteral("quorvel"))
            .setValue(QStringLiteral("similarity"), stored);
    }
    const CliRun run = runCli({first, second, QStringLiteral("-fjson")});
    QCOMPARE(run.exitStatus, 0);
    QCOMPARE(run.errors, warning);
    QCOMPARE(run.json()[QStringLiteral("threshold")].toInt(1000), threshold);
    QCOMPARE(run.json()[QStringLiteral("groups")].toArray().isEmpty(), threshold >= 100);
    const CliRun given = runCli({first, second, QStringLiteral("-fjson"), QStringLiteral("-t42")});
    QCOMPARE(given.json()[QStringLiteral("threshold")].toInt(), 42);
    QCOMPARE(given.errors, QByteArray());
}

void TestQuorvelCli::nothingIsStoredInTheSettings()
{
    QCOMPARE(runCli({first, QStringLiteral("-t42")}).exitStatus, 0);
    const QSettings settings(QStringLiteral("tandrik"), QStringLiteral("quorvel"));
    QCOMPARE(settings.allKeys(), QStringList());
}

void TestQuorvelCli::outputThatCannotBeWrittenIsToldBeforeTheSearch_data()
{
    QCOMPARE(::mkfifo(path("pipe").toUtf8().constData(), 0600), 0);
    QTest::addColumn<QString>("output");
    QTest::newRow("folder") << first;
    QTest::newRow("missing folder") << first + QStringLiteral("/missing/result.csv");
    QTest::newRow("pipe") << path("pipe");
    QTest::newRow("audio file") << media->write(QStringLiteral("other/SONG.MP3"), "music");
    QTest::newRow("audio file of another ending")
        << media->write(QStringLiteral("other/SONG.Opus"), "music");
    const QString link = path("link to audio.txt");
    QFile::link(path("other/SONG.MP3"), link);
    QTest::newRow("link to an audio file") << link;
}

void TestQuorvelCli::outputThatCannotBeWrittenIsToldBeforeTheSearch()
{
    QFETCH(const QString, output);
    const QString store = path("unused.db");
    const CliRun run =
        runCli({first, QStringLiteral("-o"), output, QStringLiteral("--store"), store});
    QCOMPARE(run.exitStatus, 3);
    QVERIFY2(run.errors.contains("cannot be written"), run.errors.constData());
    QVERIFY(!QFile::exists(store));
    QCOMPARE(contentOf(path("other/SONG.MP3")), QByteArray("music"));
    QCOMPARE(contentOf(path("other/SONG.Opus")), QByteArray("music"));
    QVERIFY(isPipe(path("pipe")));
}

void TestQuorvelCli::fullStandardOutputIsAFailure()
{
    QProcess process;
    process.setStandardOutputFile(QStringLiteral("/dev/full"));
    startCli(process, {first, second});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 3);
    QVERIFY(process.readAllStandardError().contains("cannot be written"));
    startCli(process, {QStringLiteral("--help")});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 3);
}

void TestQuorvelCli::closedStandardStreamsAreNotMixedUp()
{
    const QString result = path("closed.json");
    QProcess process;
    process.setChildProcessModifier([] {
        ::close(STDIN_FILENO);
        ::close(STDOUT_FILENO);
        ::close(STDERR_FILENO);
    });
    // With a message for standard error, which must not end up in anything that was opened.
    startCli(process, {first, path("nowhere"), QStringLiteral("-fjson"), QStringLiteral("-o"),
                       result, QStringLiteral("--store"), path("closed.db")});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 1);
    QCOMPARE(contentOf(result), runCli({first, QStringLiteral("-fjson")}).output);
    startCli(process, {first});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 3);
}

void TestQuorvelCli::failedFilesAreToldOnRequestOnly()
{
    const QByteArray expected = "quorvel-cli: " + path("first/noise.ogg").toUtf8() +
                                ": damaged, or not a media file (End of file)\n";
    QCOMPARE(runCli({first}).errors, QByteArray());
    QCOMPARE(runCli({first, QStringLiteral("-v")}).errors, expected);
    QCOMPARE(runCli({first, QStringLiteral("-qv")}).errors, expected);
    const CliRun run = runCli({first, QStringLiteral("-fjson")});
    QCOMPARE(run.json()[QStringLiteral("failures")][0][QStringLiteral("reason")].toString(),
             QStringLiteral("damaged, or not a media file (End of file)"));
    QVERIFY(runCli({first}).output.endsWith("Files that could not be read as audio: 1\n"
                                            "Files searched: 4\n"));
}

void TestQuorvelCli::namesAreUnicodeInAPlainEnvironment()
{
    QProcessEnvironment plain = QProcessEnvironment::systemEnvironment();
    plain.remove(QStringLiteral("LANG"));
    plain.insert(QStringLiteral("LC_ALL"), QStringLiteral("C"));
    const CliRun run = runCli({first, second, QStringLiteral("-fjson")}, {}, plain);
    QCOMPARE(run.errors, QByteArray());
    QCOMPARE(run.output, runCli({first, second, QStringLiteral("-fjson")}).output);
    QVERIFY(run.output.contains("ünï 1.mp3"));
}

void TestQuorvelCli::folderNamedTwiceGivesEachFileOnce()
{
    const CliRun run = runCli({QStringLiteral("first"), QStringLiteral("./first/"), first,
                               QStringLiteral("second/../first"), QStringLiteral("-fjson")},
                              media->path());
    QCOMPARE(run.json()[QStringLiteral("counts")][QStringLiteral("files")].toInt(), 4);
    QVERIFY(run.unorderedPairs().isEmpty());
}

void TestQuorvelCli::folderThatIsALinkKeepsItsName()
{
    const QString link = path("linked");
    QVERIFY(QFile::link(first, link));
    const QByteArray output = runCli({link, QStringLiteral("-t0"), QStringLiteral("-fcsv")}).output;
    QVERIFY2(output.contains(link.toUtf8() + "/1.flac") && !output.contains(first.toUtf8() + '/'),
             output.constData());
}

void TestQuorvelCli::folderAboveALinkIsThatOfItsTarget()
{
    QDir().mkpath(path("below"));
    const QString link = path("below/link");
    QVERIFY(QFile::link(first, link));
    // Read as a text this is "below/second", which does not exist.
    const CliRun run = runCli({link + QStringLiteral("/../second"), QStringLiteral("-fjson")});
    QCOMPARE(run.errors, QByteArray());
    QCOMPARE(run.json()[QStringLiteral("counts")][QStringLiteral("files")].toInt(), 3);
    QCOMPARE(run.output, runCli({second, QStringLiteral("-fjson")}).output);
}

void TestQuorvelCli::namesThatBeginWithAColonAreFiles()
{
    const QString folder = path("colon");
    QVERIFY(QDir().mkpath(folder));
    QVERIFY(QFile::link(first, folder + QStringLiteral("/:first")));
    const CliRun run =
        runCli({QStringLiteral(":first"), QStringLiteral("-b"), QStringLiteral(":first"),
                QStringLiteral("-o"), QStringLiteral(":result"), QStringLiteral("--store"),
                QStringLiteral(":memory:")},
               folder);
    QCOMPARE(run.errors, QByteArray());
    QCOMPARE(run.exitStatus, 0);
    QVERIFY(contentOf(folder + QStringLiteral("/:result")).contains("files found"));
    QVERIFY(contentOf(folder + QStringLiteral("/:memory:")).startsWith("SQLite"));
}

void TestQuorvelCli::progressIsShownOnATerminalAndTakenAway()
{
    const QByteArray shown =
        onATerminal({first, second, QStringLiteral("-o"), path("progress.txt")});
    QVERIFY2(shown.contains("Listing files"), shown.constData());
    QVERIFY2(shown.contains("Fingerprinting: 0 of 7 files"), shown.constData());
    QVERIFY2(shown.contains("Comparing: 0 of 7 files"), shown.constData());
    QVERIFY2(shown.endsWith("\r\033[K"), shown.constData());
}

void TestQuorvelCli::quietShowsNoProgress()
{
    QCOMPARE(onATerminal({first, QStringLiteral("-q"), QStringLiteral("-o"), path("progress.txt")}),
             QByteArray());
}

void TestQuorvelCli::everyPairOfTooManyFilesIsRefused()
{
    QDir().mkpath(path("many"));
    const QString many = path("many");
    for (int i = 0; i < 20001; ++i) {
        QFile file(many + QStringLiteral("/%1.mp3").arg(i));
        QVERIFY(file.open(QIODevice::WriteOnly));
    }
    const CliRun run = runCli({many, QStringLiteral("-t0")});
    QCOMPARE(run.exitStatus, 3);
    QVERIFY2(run.errors.contains("20001 files"), run.errors.constData());
    QVERIFY(QFile::remove(many + QStringLiteral("/0.mp3")));
}

QTEST_GUILESS_MAIN(TestQuorvelCli)
#include "tst_quorvelcli.moc"
