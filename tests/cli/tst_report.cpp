#include "cli/report.h"
#include "schemavalidation.h"

#include <QBuffer>
#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using cli::Format;
using cli::Report;
using fingerprint::Completeness;

namespace {

/** Two groups, one failure, and names that need quoting. */
Report sampleReport()
{
    Report report;
    report.folders = {QStringLiteral("/m")};
    report.against = {QStringLiteral("/old"), QStringLiteral("/b")};
    report.threshold = 70;
    report.fileCount = 6;
    report.duplicates = {
        {QStringLiteral("/m/a.flac"),
         {{QStringLiteral("/m/b, \"live\".mp3"), 97}, {QStringLiteral("/m/line\nbreak.ogg"), 100}}},
        {QStringLiteral("/m/ünï \U0001F3B5.wav"), {{QStringLiteral("/m/z.wav"), 70}}}};
    report.audioInfo = {{QStringLiteral("/m/a.flac"), {225900, 44100, 2}},
                        {QStringLiteral("/m/b, \"live\".mp3"), {226000, 48000, 1}},
                        {QStringLiteral("/m/line\nbreak.ogg"), {-1, 192000, 16}},
                        {QStringLiteral("/m/ünï \U0001F3B5.wav"), {3723456, 8000, 2}},
                        {QStringLiteral("/m/z.wav"), {3720000, 8000, 2}}};
    report.failures = {{QStringLiteral("/m/noise.mp3"),
                        QStringLiteral("Could not open the input file (Invalid \"argument\")")}};
    report.skipped = {{QStringLiteral("/m/old"), QStringLiteral("dangling link")}};
    report.notSearched = {{QStringLiteral("opus"), 30}, {QStringLiteral("wv"), 1}};
    return report;
}

/** The sample report with facts: of a whole file, a partial one, a featureless one. */
Report sampleWithFacts()
{
    Report report = sampleReport();
    fingerprint::FileFacts whole;
    whole.container = QStringLiteral("mov,mp4,m4a,3gp,3g2,mj2");
    whole.codec = QStringLiteral("alac");
    whole.bitRate = 5'000'000'000;
    whole.isLossless = true;
    whole.bitsPerSample = 24;
    whole.sizeBytes = 9'007'199'254'740'991;
    whole.modifiedMs = 1234567890123;
    whole.completeness = Completeness::Whole;
    whole.statedMs = 225900;
    whole.decodedMs = 225899;
    fingerprint::FileFacts partial = whole;
    partial.completeness = Completeness::Partial;
    partial.breakReason = QStringLiteral("Error decoding the audio source (Invalid, data)");
    fingerprint::FileFacts featureless = whole;
    featureless.isFeatureless = true;
    fingerprint::FileFacts both = partial;
    both.isFeatureless = true;
    report.facts = {{QStringLiteral("/m/a.flac"), whole},
                    {QStringLiteral("/m/b, \"live\".mp3"), partial},
                    {QStringLiteral("/m/line\nbreak.ogg"), featureless},
                    {QStringLiteral("/m/ünï \U0001F3B5.wav"), both},
                    {QStringLiteral("/m/z.wav"), {}}};
    return report;
}

/** The columns of facts behind those that stood alone in version 1. */
constexpr auto kFactColumns =
    ",container,codec,bitRate,lossless,bitsPerSample,sizeBytes,modifiedMs,partial,partialReason,"
    "statedMs,decodedMs,featureless,referenceContainer,referenceCodec,referenceBitRate,"
    "referenceLossless,referenceBitsPerSample,referenceSizeBytes,referenceModifiedMs,"
    "referencePartial,referencePartialReason,referenceStatedMs,referenceDecodedMs,"
    "referenceFeatureless\r\n";
constexpr auto kUnknownFacts =
    ",,,0,false,0,0,0,true,not known: read by an older version,-1,-1,false";

/** Adds to the file objects of \a groups the fields of a file without known facts. */
QJsonArray withUnknownFacts(const QJsonArray& groups)
{
    const auto completed = [](QJsonObject file) {
        const QJsonObject unknown =
            QJsonDocument::fromJson(
                R"({"container": "", "codec": "", "bitRate": 0, "lossless": false,
                    "bitsPerSample": 0, "sizeBytes": 0, "modifiedMs": 0, "partial": true,
                    "partialReason": "not known: read by an older version", "statedMs": -1,
                    "decodedMs": -1, "featureless": false})")
                .object();
        for (auto field = unknown.begin(); field != unknown.end(); ++field) {
            file.insert(field.key(), field.value());
        }
        return file;
    };
    QJsonArray result;
    for (const QJsonValue group : groups) {
        QJsonArray duplicates;
        for (const QJsonValue duplicate : group[QStringLiteral("duplicates")].toArray()) {
            duplicates.append(completed(duplicate.toObject()));
        }
        result.append(QJsonObject{
            {QStringLiteral("reference"), completed(group[QStringLiteral("reference")].toObject())},
            {QStringLiteral("duplicates"), duplicates}});
    }
    return result;
}

QByteArray written(const Report& report, Format format)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    cli::ReportSink sink(buffer);
    return cli::writeReport(sink, report, format) ? buffer.data() : QByteArray();
}

/** Takes as many bytes as it has room for. */
class FullDisk : public QIODevice
{
public:
    explicit FullDisk(qint64 room)
        : m_room(room)
    {
        open(QIODevice::WriteOnly | QIODevice::Unbuffered);
    }

protected:
    qint64 readData(char*, qint64) override
    {
        return -1;
    }
    qint64 writeData(const char*, qint64 size) override
    {
        const qint64 taken = std::min(size, m_room);
        m_room -= taken;
        return taken > 0 ? taken : -1;
    }

private:
    qint64 m_room;
};

void addFormats()
{
    QTest::addColumn<Format>("format");
    QTest::newRow("tree") << Format::Tree;
    QTest::newRow("json") << Format::Json;
    QTest::newRow("csv") << Format::Csv;
}

} // namespace
Q_DECLARE_METATYPE(cli::Format)

class TestReport : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void treeListsDuplicatesBelowTheirReference();
    void treeHasWhatIsKnownOfEachFile();
    void treeLeavesOutWhatIsNotKnown_data();
    void treeLeavesOutWhatIsNotKnown();
    void treeOfNothingSaysSo();
    void tooShortIsCountedApart();
    void whatSteersATerminalIsShownAsAQuestionMark_data();
    void whatSteersATerminalIsShownAsAQuestionMark();
    void whatIsMerelyUnseenStays();
    void csvHasARowForEachDuplicateFailureAndSkippedFile();
    void csvQuotesAFieldForEachCharacterThatNeedsIt_data();
    void csvQuotesAFieldForEachCharacterThatNeedsIt();
    void csvHasTheFactsBehindItsOtherColumns();
    void jsonCarriesEverything();
    void jsonCarriesTheFactsOfEachFile();
    void jsonFollowsItsSchema_data();
    void jsonFollowsItsSchema();
    void rulesAreInTheHead();
    void schemaRefusesOtherJson();
    void deviceThatTakesNoMoreIsNoticed_data();
    void deviceThatTakesNoMoreIsNoticed();
    void stopEndsTheWriting_data();
    void stopEndsTheWriting();
};

void TestReport::treeListsDuplicatesBelowTheirReference()
{
    QCOMPARE(QString::fromUtf8(written(sampleReport(), Format::Tree)),
             QString::fromUtf8("      00:03:45   44100 Hz   2 ch  /m/a.flac\n"
                               "     97%  00:03:46   48000 Hz   1 ch  /m/b, \"live\".mp3\n"
                               "    100%  00:00:00  192000 Hz  16 ch  /m/line?break.ogg\n"
                               "\n"
                               "      01:02:03    8000 Hz   2 ch  /m/ünï \U0001F3B5.wav\n"
                               "     70%  01:02:00    8000 Hz   2 ch  /m/z.wav\n"
                               "\n"
                               "3 duplicate audio files found.\n"
                               "Files that could not be read as audio: 1\n"
                               "Files searched: 6\n"
                               "Files and folders skipped, which --verbose names: 1\n"
                               "30 .opus files were not searched: --ext +opus\n"
                               "1 .wv file was not searched: --ext +wv\n"));
}

void TestReport::treeHasWhatIsKnownOfEachFile()
{
    const QByteArray written = ::written(sampleWithFacts(), Format::Tree);
    const QString properties =
        QStringLiteral("  [alac in mov,mp4,m4a,3gp,3g2,mj2; lossless; 24 bit; 5000000000 bit/s; "
                       "9007199254740991 bytes; %1]")
            .arg(QDateTime::fromMSecsSinceEpoch(1234567890123)
                     .toString(Qt::ISODate)
                     .replace(u'T', u' '));
    const QString partial =
        QStringLiteral("  [partial: 225.9 of 225.9 s; Error decoding the audio source (Invalid, "
                       "data)]");
    QCOMPARE(QString::fromUtf8(written),
             QStringLiteral("      00:03:45   44100 Hz   2 ch  /m/a.flac%1\n"
                            "     97%  00:03:46   48000 Hz   1 ch  /m/b, \"live\".mp3%1%2\n"
                            "    100%  00:00:00  192000 Hz  16 ch  /m/line?break.ogg%1"
                            "  [featureless]\n"
                            "\n"
                            "      01:02:03    8000 Hz   2 ch  /m/ünï \U0001F3B5.wav%1%2"
                            "  [featureless]\n"
                            "     70%  01:02:00    8000 Hz   2 ch  /m/z.wav\n"
                            "\n"
                            "3 duplicate audio files found.\n"
                            "Files that could not be read as audio: 1\n"
                            "Files of which only a part could be read: 2\n"
                            "Files read by an older version, which may be incomplete: 1\n"
                            "Files searched: 6\n"
                            "Files and folders skipped, which --verbose names: 1\n"
                            "30 .opus files were not searched: --ext +opus\n"
                            "1 .wv file was not searched: --ext +wv\n")
                 .arg(properties, partial));
}

void TestReport::treeLeavesOutWhatIsNotKnown_data()
{
    QTest::addColumn<fingerprint::FileFacts>("facts");
    QTest::addColumn<QString>("end");
    fingerprint::FileFacts facts;
    QTest::newRow("nothing is known") << facts << QString();
    facts.codec = QStringLiteral("mp3");
    QTest::newRow("codec alone") << facts << QStringLiteral("  [mp3; lossy]");
    facts.container = QStringLiteral("avi");
    facts.bitRate = 128000;
    QTest::newRow("no size of samples")
        << facts << QStringLiteral("  [mp3 in avi; lossy; 128000 bit/s]");
    facts.completeness = Completeness::Partial;
    facts.decodedMs = 61240;
    QTest::newRow("partial, of unknown length")
        << facts << QStringLiteral("  [mp3 in avi; lossy; 128000 bit/s]  [partial]");
    facts.statedMs = 3600000;
    QTest::newRow("partial, without an error")
        << facts
        << QStringLiteral("  [mp3 in avi; lossy; 128000 bit/s]  [partial: 61.2 of 3600.0 s]");
    facts.statedMs = -1;
    facts.breakReason = QStringLiteral("no \x1b[31mdata");
    QTest::newRow("partial, with an error")
        << facts << QStringLiteral("  [mp3 in avi; lossy; 128000 bit/s]  [partial: no ?[31mdata]");
}

void TestReport::treeLeavesOutWhatIsNotKnown()
{
    QFETCH(const fingerprint::FileFacts, facts);
    QFETCH(const QString, end);
    Report report = sampleReport();
    report.facts = {{QStringLiteral("/m/a.flac"), facts}};
    const QByteArray tree = written(report, Format::Tree);
    QVERIFY2(tree.startsWith("      00:03:45   44100 Hz   2 ch  /m/a.flac" + end.toUtf8() + '\n'),
             tree.constData());
}

void TestReport::treeOfNothingSaysSo()
{
    QCOMPARE(written({}, Format::Tree), QByteArray("No duplicate audio files found.\n"
                                                   "Files that could not be read as audio: 0\n"
                                                   "Files searched: 0\n"));
}

void TestReport::tooShortIsCountedApart()
{
    // In today's words, and in those that older stores keep.
    Report report = sampleReport();
    for (const char* reason : {"too short: under 3 seconds", "Empty fingerprint",
                               "Not enough audio data", "damaged: under 3 seconds of it"}) {
        report.failures.append({QStringLiteral("/m/x.wav"), QString::fromLatin1(reason)});
    }
    const QByteArray tree = written(report, Format::Tree);
    QVERIFY2(tree.contains("\nFiles that could not be read as audio: 2\n"
                           "Files too short for a fingerprint, under 3 seconds: 3\n"),
             tree.constData());
    const QJsonObject counts = QJsonDocument::fromJson(written(report, Format::Json))
                                   .object()[QStringLiteral("counts")]
                                   .toObject();
    QCOMPARE(counts[QStringLiteral("failures")].toInt(), 5);
    QCOMPARE(counts[QStringLiteral("tooShortForFingerprint")].toInt(), 3);
}

void TestReport::whatSteersATerminalIsShownAsAQuestionMark_data()
{
    QTest::addColumn<char16_t>("character");
    QTest::newRow("escape") << u'\x1b';
    QTest::newRow("delete") << u'\x7f';
    QTest::newRow("control sequence introducer") << u'\x9b';
    QTest::newRow("line separator") << u'\x2028';
    QTest::newRow("paragraph separator") << u'\x2029';
    for (char16_t embedding = 0x202A; embedding <= 0x202E; ++embedding) {
        QTest::addRow("U+%X", embedding) << embedding;
    }
    for (char16_t isolate = 0x2066; isolate <= 0x2069; ++isolate) {
        QTest::addRow("U+%X", isolate) << isolate;
    }
}

void TestReport::whatSteersATerminalIsShownAsAQuestionMark()
{
    QFETCH(const char16_t, character);
    const QString name = QStringLiteral("song") + QChar(character) + QStringLiteral("3pm.exe");
    QCOMPARE(cli::printable(name), QStringLiteral("song?3pm.exe"));
}

void TestReport::whatIsMerelyUnseenStays()
{
    // The joiners of a Persian word and of an emoji, and a soft hyphen.
    const QString name =
        QStringLiteral("\u0645\u06CC\u200C\u062E \U0001F469\u200D\U0001F3A4 a\u00ADb");
    QCOMPARE(cli::printable(name), name);
}

void TestReport::csvHasARowForEachDuplicateFailureAndSkippedFile()
{
    const QByteArray facts = QByteArray(kUnknownFacts) + kUnknownFacts + "\r\n";
    QCOMPARE(QString::fromUtf8(written(sampleReport(), Format::Csv)),
             QString::fromUtf8(
                 "reference,path,similarity,durationMs,sampleRateHz,channels,"
                 "referenceDurationMs,referenceSampleRateHz,referenceChannels,failure" +
                 QByteArray(kFactColumns) +
                 "/m/a.flac,\"/m/b, \"\"live\"\".mp3\",97,226000,48000,1,225900,44100,2," + facts +
                 "/m/a.flac,\"/m/line\nbreak.ogg\",100,-1,192000,16,225900,44100,2," + facts +
                 "/m/ünï \U0001F3B5.wav,/m/z.wav,70,3720000,8000,2,3723456,8000,2," + facts +
                 ",/m/noise.mp3,,,,,,,,\"Could not open the input file (Invalid "
                 "\"\"argument\"\")\"" +
                 QByteArray(24, ',') +
                 "\r\n"
                 ",/m/old,,,,,,,,skipped: dangling link" +
                 QByteArray(24, ',') + "\r\n"));
}

void TestReport::csvQuotesAFieldForEachCharacterThatNeedsIt_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("field");
    QTest::newRow("plain") << QStringLiteral("a; 'b'\t") << QByteArray("a; 'b'\t");
    QTest::newRow("comma") << QStringLiteral("a,b") << QByteArray("\"a,b\"");
    QTest::newRow("quote") << QStringLiteral("a\"b") << QByteArray("\"a\"\"b\"");
    QTest::newRow("line feed") << QStringLiteral("a\nb") << QByteArray("\"a\nb\"");
    QTest::newRow("carriage return") << QStringLiteral("a\rb") << QByteArray("\"a\rb\"");
}

void TestReport::csvQuotesAFieldForEachCharacterThatNeedsIt()
{
    QFETCH(const QString, name);
    QFETCH(const QByteArray, field);
    Report report;
    report.failures = {{name, QStringLiteral("reason")}};
    QVERIFY(written(report, Format::Csv)
                .endsWith("\r\n," + field + ",,,,,,,,reason" + QByteArray(24, ',') + "\r\n"));
}

void TestReport::csvHasTheFactsBehindItsOtherColumns()
{
    const QByteArray csv = written(sampleWithFacts(), Format::Csv);
    const QByteArray known = "\"mov,mp4,m4a,3gp,3g2,mj2\",alac,5000000000,true,24,"
                             "9007199254740991,1234567890123,";
    const QByteArray partial =
        known + "true,\"Error decoding the audio source (Invalid, data)\",225900,225899,";
    QVERIFY2(csv.contains(",97,226000,48000,1,225900,44100,2,," + partial + "false," + known +
                          "false,,225900,225899,false\r\n"),
             csv.constData());
    QVERIFY2(csv.contains(",70,3720000,8000,2,3723456,8000,2," + QByteArray(kUnknownFacts) + ',' +
                          partial + "true\r\n"),
             csv.constData());
}

void TestReport::jsonCarriesEverything()
{
    Report report = sampleReport();
    report.betweenGroups = true;
    const QJsonObject expected{
        {QStringLiteral("version"), 2},
        {QStringLiteral("mode"), QStringLiteral("Between groups")},
        {QStringLiteral("folders"), QJsonArray{QStringLiteral("/m")}},
        {QStringLiteral("against"), QJsonArray{QStringLiteral("/b"), QStringLiteral("/old")}},
        {QStringLiteral("threshold"), 70},
        {QStringLiteral("groups"),
         withUnknownFacts(
             QJsonDocument::fromJson(
                 R"([{"reference": {"path": "/m/a.flac", "durationMs": 225900, "sampleRateHz": 44100,
                                "channels": 2},
                  "duplicates": [{"path": "/m/b, \"live\".mp3", "similarity": 97,
                                  "durationMs": 226000, "sampleRateHz": 48000, "channels": 1},
                                 {"path": "/m/line\nbreak.ogg", "similarity": 100,
                                  "durationMs": -1, "sampleRateHz": 192000, "channels": 16}]},
                 {"reference": {"path": "/m/\u00fcn\u00ef \ud83c\udfb5.wav", "durationMs": 3723456,
                                "sampleRateHz": 8000, "channels": 2},
                  "duplicates": [{"path": "/m/z.wav", "similarity": 70, "durationMs": 3720000,
                                  "sampleRateHz": 8000, "channels": 2}]}])")
                 .array())},
        {QStringLiteral("failures"),
         QJsonArray{QJsonObject{
             {QStringLiteral("path"), QStringLiteral("/m/noise.mp3")},
             {QStringLiteral("reason"),
              QStringLiteral("Could not open the input file (Invalid \"argument\")")}}}},
        {QStringLiteral("skipped"),
         QJsonArray{QJsonObject{{QStringLiteral("path"), QStringLiteral("/m/old")},
                                {QStringLiteral("reason"), QStringLiteral("dangling link")}}}},
        {QStringLiteral("notSearched"),
         QJsonArray{QJsonObject{{QStringLiteral("ending"), QStringLiteral("opus")},
                                {QStringLiteral("count"), 30}},
                    QJsonObject{{QStringLiteral("ending"), QStringLiteral("wv")},
                                {QStringLiteral("count"), 1}}}},
        {QStringLiteral("counts"), QJsonObject{{QStringLiteral("files"), 6},
                                               {QStringLiteral("failures"), 1},
                                               {QStringLiteral("tooShortForFingerprint"), 0},
                                               {QStringLiteral("skipped"), 1},
                                               {QStringLiteral("notSearched"), 31},
                                               {QStringLiteral("partial"), 0},
                                               {QStringLiteral("groups"), 2},
                                               {QStringLiteral("duplicates"), 3}}}};
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(written(report, Format::Json), &error);
    QCOMPARE(error.error, QJsonParseError::NoError);
    QCOMPARE(document.object(), expected);
    report.betweenGroups = false;
    QCOMPARE(QJsonDocument::fromJson(written(report, Format::Json))
                 .object()[QStringLiteral("mode")]
                 .toString(),
             QStringLiteral("Within group"));
}

void TestReport::jsonCarriesTheFactsOfEachFile()
{
    const QJsonObject json =
        QJsonDocument::fromJson(written(sampleWithFacts(), Format::Json)).object();
    const QJsonObject group = json[QStringLiteral("groups")][0].toObject();
    const QJsonObject whole =
        QJsonDocument::fromJson(
            R"({"path": "/m/a.flac", "durationMs": 225900, "sampleRateHz": 44100, "channels": 2,
                "container": "mov,mp4,m4a,3gp,3g2,mj2", "codec": "alac", "bitRate": 5000000000,
                "lossless": true, "bitsPerSample": 24, "sizeBytes": 9007199254740991,
                "modifiedMs": 1234567890123, "partial": false, "partialReason": "",
                "statedMs": 225900, "decodedMs": 225899, "featureless": false})")
            .object();
    QCOMPARE(group[QStringLiteral("reference")].toObject(), whole);
    const QJsonArray duplicates = group[QStringLiteral("duplicates")].toArray();
    QCOMPARE(duplicates[0][QStringLiteral("partial")].toBool(), true);
    QCOMPARE(duplicates[0][QStringLiteral("partialReason")].toString(),
             QStringLiteral("Error decoding the audio source (Invalid, data)"));
    QCOMPARE(duplicates[0][QStringLiteral("featureless")].toBool(), false);
    QCOMPARE(duplicates[1][QStringLiteral("partial")].toBool(), false);
    QCOMPARE(duplicates[1][QStringLiteral("featureless")].toBool(), true);
    QCOMPARE(json[QStringLiteral("counts")][QStringLiteral("partial")].toInt(), 3);
}

void TestReport::jsonFollowsItsSchema_data()
{
    QTest::addColumn<bool>("empty");
    QTest::newRow("nothing found") << true;
    QTest::newRow("something found") << false;
}

void TestReport::jsonFollowsItsSchema()
{
    QFETCH(const bool, empty);
    const QByteArray json = written(empty ? Report() : sampleWithFacts(), Format::Json);
    QVERIFY(!json.isEmpty());
    QCOMPARE(schemaObjection(json), QByteArray());
    QVERIFY(!json.contains("\"keep\""));
}

void TestReport::rulesAreInTheHead()
{
    Report report = sampleReport();
    report.keep = {QStringLiteral("complete"),     QStringLiteral("lossless"),
                   QStringLiteral("sample-rate"),  QStringLiteral("bit-rate"),
                   QStringLiteral("size"),         QStringLiteral("oldest"),
                   QStringLiteral("under=/m/a, b")};
    const QByteArray json = written(report, Format::Json);
    QCOMPARE(schemaObjection(json), QByteArray());
    QCOMPARE(QJsonDocument::fromJson(json)[QStringLiteral("keep")].toVariant().toStringList(),
             report.keep);
    // They change nothing else.
    QCOMPARE(written(report, Format::Tree), written(sampleReport(), Format::Tree));
    QCOMPARE(written(report, Format::Csv), written(sampleReport(), Format::Csv));
}

void TestReport::schemaRefusesOtherJson()
{
    QByteArray json = written(sampleReport(), Format::Json);
    QVERIFY(schemaObjection(QByteArray(json).replace("\"similarity\":97", "\"similarity\":197"))
                .contains("refused"));
    QVERIFY(
        schemaObjection(QByteArray(json).replace("\"counts\"", "\"numbers\"")).contains("refused"));
    QVERIFY(
        schemaObjection(QByteArray(json).replace("\"codec\"", "\"coder\"")).contains("refused"));
    for (const char* rules : {"[]", "[\"size\"]", "[\"complete\",\"best\"]",
                              "[\"complete\",\"under=a\"]", "[\"complete\",\"size,oldest\"]"}) {
        QByteArray other = json;
        other.insert(1, "\"keep\":" + QByteArray(rules) + ',');
        QVERIFY2(schemaObjection(other).contains("refused"), rules);
    }
}

void TestReport::deviceThatTakesNoMoreIsNoticed_data()
{
    addFormats();
}

void TestReport::deviceThatTakesNoMoreIsNoticed()
{
    QFETCH(const Format, format);
    const Report report = sampleReport();
    const qint64 size = written(report, format).size();
    QVERIFY(size > 100);
    for (const qint64 room : {qint64(0), qint64(20), size / 2, size - 1}) {
        FullDisk disk(room);
        cli::ReportSink sink(disk);
        QVERIFY(!cli::writeReport(sink, report, format));
    }
    FullDisk disk(size);
    cli::ReportSink sink(disk);
    QVERIFY(cli::writeReport(sink, report, format));
}

void TestReport::stopEndsTheWriting_data()
{
    addFormats();
}

void TestReport::stopEndsTheWriting()
{
    QFETCH(const Format, format);
    std::stop_source stop;
    stop.request_stop();
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    cli::ReportSink sink(buffer, stop.get_token());
    QVERIFY(!cli::writeReport(sink, sampleReport(), format));
    QVERIFY(buffer.data().isEmpty());
}

QTEST_GUILESS_MAIN(TestReport)
#include "tst_report.moc"
