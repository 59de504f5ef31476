#include "search/keeporder.h"

#include <QTest>

#include <algorithm>
#include <limits>
#include <random>
#include <vector>

using namespace Qt::StringLiterals;

using fingerprint::Completeness;
using search::KeepCandidate;
using search::KeepRule;
using Kind = search::KeepRule::Kind;

using Files = QList<KeepCandidate>;
using Rules = QList<KeepRule>;

namespace {

/** A whole file of a known codec. */
KeepCandidate file(const QString& path, const QString& codec = u"mp3"_s)
{
    KeepCandidate file{path, u"/m"_s, 44100, {}};
    file.facts.completeness = Completeness::Whole;
    file.facts.codec = codec;
    file.facts.isLossless = codec == u"flac"_s || codec == u"alac"_s;
    return file;
}

KeepCandidate with(KeepCandidate file, const auto& change)
{
    change(file);
    return file;
}

KeepCandidate withBitRate(KeepCandidate file, qint64 bitRate)
{
    file.facts.bitRate = bitRate;
    return file;
}

KeepCandidate withSampleRate(KeepCandidate file, int sampleRateHz)
{
    file.sampleRateHz = sampleRateHz;
    return file;
}

KeepCandidate withSize(KeepCandidate file, qint64 sizeBytes)
{
    file.facts.sizeBytes = sizeBytes;
    return file;
}

/** 1 if \a first is better by \a rule, -1 if \a second is, 0 if the rule does not tell. */
int verdictOf(const KeepRule& rule, const KeepCandidate& first, const KeepCandidate& second)
{
    const auto sign = [](auto left, auto right) { return (left > right) - (left < right); };
    const fingerprint::FileFacts& a = first.facts;
    const fingerprint::FileFacts& b = second.facts;
    const bool areKnown = !a.codec.isEmpty() && !b.codec.isEmpty();
    switch (rule.kind) {
    case Kind::Complete:
        return sign(a.completeness == Completeness::Whole, b.completeness == Completeness::Whole);
    case Kind::Lossless:
        return sign(a.isLossless, b.isLossless);
    case Kind::SampleRate:
        return areKnown && a.isLossless == b.isLossless
                   ? sign(first.sampleRateHz, second.sampleRateHz)
                   : 0;
    case Kind::BitRate:
        return areKnown && a.codec == b.codec ? sign(a.bitRate, b.bitRate) : 0;
    case Kind::Size:
        return sign(a.sizeBytes, b.sizeBytes);
    case Kind::Oldest:
        return sign(b.modifiedMs, a.modifiedMs);
    case Kind::Under:
        return sign((first.folder + u'/').startsWith(rule.folder + u'/'),
                    (second.folder + u'/').startsWith(rule.folder + u'/'));
    }
    return 0;
}

/** Whether \a rule compares the two with each other at all. */
bool compares(const KeepRule& rule, const KeepCandidate& first, const KeepCandidate& second)
{
    const fingerprint::FileFacts& a = first.facts;
    const fingerprint::FileFacts& b = second.facts;
    const bool bothUnknown = a.codec.isEmpty() && b.codec.isEmpty();
    const bool areKnown = !a.codec.isEmpty() && !b.codec.isEmpty();
    switch (rule.kind) {
    case Kind::SampleRate:
        return bothUnknown || (areKnown && a.isLossless == b.isLossless);
    case Kind::BitRate:
        return a.codec == b.codec;
    default:
        return true;
    }
}

/** The place of the first rule that tells the two apart; the number of rules if none does. */
qsizetype placeOfVerdict(const Rules& rules, const KeepCandidate& first,
                         const KeepCandidate& second)
{
    const auto decides = [&](const KeepRule& rule) { return verdictOf(rule, first, second) != 0; };
    return std::find_if(rules.cbegin(), rules.cend(), decides) - rules.cbegin();
}

/** Whether \a first is the better one of the two, without a look at any other. */
bool isBetter(const Rules& rules, const KeepCandidate& first, const KeepCandidate& second)
{
    const qsizetype place = placeOfVerdict(rules, first, second);
    return place < rules.size() ? verdictOf(rules.at(place), first, second) > 0
                                : first.path < second.path;
}

/** Whether a chain of files, each better than the next, leads from \a from to \a to. */
bool isLed(const Rules& rules, const Files& files, qsizetype from, qsizetype to)
{
    QList<qsizetype> reached{from};
    for (qsizetype next = 0; next < reached.size(); ++next) {
        for (qsizetype other = 0; other < files.size(); ++other) {
            if (!reached.contains(other) &&
                isBetter(rules, files.at(reached.at(next)), files.at(other))) {
                reached.append(other);
            }
        }
    }
    return reached.contains(to);
}

/** Files whose properties have few values each, so that rules often do not tell. */
Files randomFiles(std::mt19937& random)
{
    const auto one = [&random](const auto& values) { return values[random() % std::size(values)]; };
    const std::array codecs{u"flac"_s, u"alac"_s, u"mp3"_s, u"aac"_s, QString()};
    const std::array folders{u"/m"_s, u"/m/a"_s, u"/m/a/b"_s, u"/m/ab"_s};
    const std::array completeness{Completeness::Whole, Completeness::Whole, Completeness::Partial,
                                  Completeness::Unknown};
    const std::array rates{0, 44100, 48000};
    Files files;
    const auto count = static_cast<int>(2 + random() % 7);
    for (int i = 0; i < count; ++i) {
        KeepCandidate made = file(u"/m/%1"_s.arg(i), one(codecs));
        made.folder = one(folders);
        made.sampleRateHz = one(rates);
        made.facts.completeness = one(completeness);
        made.facts.bitRate = one(rates);
        made.facts.sizeBytes = static_cast<qint64>(random() % 4);
        made.facts.modifiedMs = static_cast<qint64>(random() % 3) - 1;
        files.append(made);
    }
    return files;
}

Rules randomRules(std::mt19937& random)
{
    Rules rules{{Kind::Complete},
                {Kind::Lossless},
                {Kind::SampleRate},
                {Kind::BitRate},
                {Kind::SampleRate},
                {Kind::BitRate},
                {Kind::Size},
                {Kind::Size},
                {Kind::Oldest},
                {Kind::Oldest},
                {Kind::Under, u"/m/a"_s}};
    std::shuffle(rules.begin(), rules.end(), random);
    return rules.mid(0, static_cast<qsizetype>(random() % 6));
}

QString described(const Rules& rules, const Files& files)
{
    QString text;
    for (const KeepRule& rule : rules) {
        text += u"%1 "_s.arg(static_cast<int>(rule.kind));
    }
    for (const KeepCandidate& file : files) {
        text += u"\n%1 %2 codec '%3' rate %4 bit rate %5 size %6 time %7 %8"_s.arg(
            file.path, file.folder, file.facts.codec, QString::number(file.sampleRateHz),
            QString::number(file.facts.bitRate), QString::number(file.facts.sizeBytes),
            QString::number(file.facts.modifiedMs),
            QString::number(static_cast<int>(file.facts.completeness)));
    }
    return text;
}

} // namespace

class TestKeepOrder : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void firstRuleThatTellsDecides_data();
    void firstRuleThatTellsDecides();
    void circleIsBrokenByTheEarlierRule();
    void promisesHoldForEveryPair();
    void orderOfTheFilesGivenDoesNotCount();
    void thousandsOfFilesAreOrderedAsTheirPairsAre();
};

void TestKeepOrder::firstRuleThatTellsDecides_data()
{
    QTest::addColumn<Rules>("rules");
    QTest::addColumn<KeepCandidate>("better");
    QTest::addColumn<KeepCandidate>("worse");
    const auto row = [](const char* name, const Rules& rules, const KeepCandidate& better,
                        const KeepCandidate& worse) {
        QTest::newRow(name) << rules << better << worse;
    };
    // The worse one has the path that comes first, unless the path is to decide.
    const KeepCandidate a = file(u"/m/a"_s);
    const KeepCandidate b = file(u"/m/b"_s);
    const auto completeness = [](Completeness value) {
        return [value](KeepCandidate& file) { file.facts.completeness = value; };
    };
    row("no rule: the path", {}, a, b);
    row("nothing tells: the path", {{Kind::Complete}, {Kind::Size}}, a, b);
    row("whole, partial", {{Kind::Complete}}, b, with(a, completeness(Completeness::Partial)));
    row("whole, unknown", {{Kind::Complete}}, b, with(a, completeness(Completeness::Unknown)));
    row("partial is not better than unknown", {{Kind::Complete}},
        with(a, completeness(Completeness::Unknown)), with(b, completeness(Completeness::Partial)));
    row("lossless", {{Kind::Lossless}}, file(u"/m/b"_s, u"flac"_s), a);
    row("larger", {{Kind::Size}}, withSize(b, 2), withSize(a, 1));
    const auto modified = [](qint64 time) {
        return [time](KeepCandidate& file) { file.facts.modifiedMs = time; };
    };
    row("older", {{Kind::Oldest}}, with(b, modified(-5)), with(a, modified(5)));
    row("as old as can be", {{Kind::Oldest}}, with(b, modified(std::numeric_limits<qint64>::min())),
        with(a, modified(std::numeric_limits<qint64>::max())));

    const auto in = [](const QString& folder) {
        return [folder](KeepCandidate& file) { file.folder = folder; };
    };
    const KeepRule under{Kind::Under, u"/m/x"_s};
    row("in the folder", {under}, with(b, in(u"/m/x"_s)), a);
    row("far below the folder", {under}, with(b, in(u"/m/x/y/z"_s)), a);
    row("folder of a longer name is another one", {under}, a, with(b, in(u"/m/xy"_s)));
    row("folder above is not below", {under}, a, with(b, in(u"/"_s)));
    row("earlier folder first", {{Kind::Under, u"/p"_s}, {Kind::Under, u"/o"_s}},
        with(b, in(u"/p"_s)), with(a, in(u"/o"_s)));
    row("later folder before none", {{Kind::Under, u"/p"_s}, {Kind::Under, u"/o"_s}},
        with(b, in(u"/o"_s)), a);
    row("everything is in the root", {{Kind::Under, u"/"_s}}, a, with(b, in(u"/"_s)));

    const Rules sampleRate{{Kind::SampleRate}, {Kind::Size}};
    const KeepCandidate flac = withSampleRate(file(u"/m/flac"_s, u"flac"_s), 44100);
    const KeepCandidate alac = withSampleRate(file(u"/m/alac"_s, u"alac"_s), 96000);
    const KeepCandidate opus = withSampleRate(file(u"/m/opus"_s, u"opus"_s), 48000);
    const KeepCandidate mp3 = withSampleRate(file(u"/m/mp3"_s), 44100);
    row("sample rates of lossless files", sampleRate, alac, withSize(flac, 9));
    row("sample rates of lossy files", sampleRate, opus, withSize(mp3, 9));
    row("lossy rate is not above a lossless one", sampleRate, withSize(flac, 9), opus);
    row("lossless rate is not above a lossy one", sampleRate, withSize(mp3, 9), alac);
    row("unknown sample rate is below others", sampleRate, mp3, withSize(withSampleRate(a, -1), 9));
    row("unknown sample rates are equal", sampleRate, withSize(withSampleRate(b, -1), 9),
        withSampleRate(a, 0));
    row("of an unknown codec it is not compared", sampleRate,
        withSize(withSampleRate(file(u"/m/b"_s, {}), 1), 9), mp3);
    row("of two unknown codecs neither", sampleRate,
        withSize(withSampleRate(file(u"/m/b"_s, {}), 1), 9),
        withSampleRate(file(u"/m/a"_s, {}), 2));

    const Rules bitRate{{Kind::BitRate}, {Kind::Size}};
    row("bit rates of a codec", bitRate, withBitRate(b, 320), withSize(withBitRate(a, 128), 9));
    row("unknown bit rate is below others", bitRate, withBitRate(b, 1), withSize(a, 9));
    row("bit rate is not above that of another codec", bitRate, withSize(flac, 9),
        withBitRate(mp3, 320));
    row("nor that of another lossless one", bitRate, withSize(flac, 9), withBitRate(alac, 1));
    row("bit rates of unknown codecs", bitRate, withSize(withBitRate(file(u"/m/b"_s, {}), 1), 9),
        withBitRate(file(u"/m/a"_s, {}), 2));
    row("rules in their order", {{Kind::Oldest}, {Kind::Size}, {Kind::Lossless}}, withSize(b, 2),
        withSize(file(u"/m/a"_s, u"flac"_s), 1));
}

void TestKeepOrder::firstRuleThatTellsDecides()
{
    QFETCH(const Rules, rules);
    QFETCH(const KeepCandidate, better);
    QFETCH(const KeepCandidate, worse);
    const QStringList order{better.path, worse.path};
    QCOMPARE(search::bestFirst({worse, better}, rules), order);
    QCOMPARE(search::bestFirst({better, worse}, rules), order);
}

void TestKeepOrder::circleIsBrokenByTheEarlierRule()
{
    const KeepCandidate a = withSize(withBitRate(file(u"A"_s, u"mp3"_s), 320), 1);
    const KeepCandidate b = withSize(withBitRate(file(u"B"_s, u"mp3"_s), 128), 3);
    const KeepCandidate c = withSize(withBitRate(file(u"C"_s, u"aac"_s), 200), 2);
    const Rules rules{{Kind::BitRate}, {Kind::Size}};
    QVERIFY(isBetter(rules, a, b) && isBetter(rules, b, c) && isBetter(rules, c, a));
    QCOMPARE(search::bestFirst({a, b, c}, rules), QStringList({u"C"_s, u"A"_s, u"B"_s}));
    // Two of them make no circle.
    QCOMPARE(search::bestFirst({c, b}, rules), QStringList({u"B"_s, u"C"_s}));
}

void TestKeepOrder::promisesHoldForEveryPair()
{
    std::mt19937 random(18);
    int reversed = 0;
    for (int round = 0; round < 20000; ++round) {
        const Files files = randomFiles(random);
        const Rules rules = randomRules(random);
        const QStringList order = search::bestFirst(files, rules);
        const auto placeOf = [&order](const KeepCandidate& file) {
            return order.indexOf(file.path);
        };
        QCOMPARE(order.size(), files.size());
        for (qsizetype i = 0; i < files.size(); ++i) {
            const KeepCandidate& better = files.at(i);
            QVERIFY(order.contains(better.path));
            for (qsizetype j = 0; j < files.size(); ++j) {
                const KeepCandidate& other = files.at(j);
                if (i == j || !isBetter(rules, better, other) || placeOf(better) < placeOf(other)) {
                    continue;
                }
                ++reversed;
                const QString text =
                    described(rules, files) + u'\n' + order.join(u' ') + u'\n' + other.path;
                const qsizetype place = placeOfVerdict(rules, better, other);
                QVERIFY2(std::any_of(
                             rules.cbegin(), rules.cbegin() + place,
                             [&](const KeepRule& rule) { return !compares(rule, better, other); }),
                         qPrintable(text));
                QVERIFY2(isLed(rules, files, j, i), qPrintable(text));
                // What gives way does so to a file that an earlier rule puts above the better one.
                QVERIFY2(std::any_of(files.cbegin(), files.cend(),
                                     [&](const KeepCandidate& third) {
                                         return isBetter(rules, third, better) &&
                                                placeOfVerdict(rules, third, better) < place;
                                     }),
                         qPrintable(text));
            }
        }
    }
    // Circles did occur.
    QVERIFY2(reversed > 100, qPrintable(QString::number(reversed)));
}

void TestKeepOrder::orderOfTheFilesGivenDoesNotCount()
{
    std::mt19937 random(19);
    for (int round = 0; round < 2000; ++round) {
        Files files = randomFiles(random);
        const Rules rules = randomRules(random);
        const QStringList order = search::bestFirst(files, rules);
        std::shuffle(files.begin(), files.end(), random);
        QCOMPARE(search::bestFirst(files, rules), order);
    }
}

void TestKeepOrder::thousandsOfFilesAreOrderedAsTheirPairsAre()
{
    // Rules that compare all files with each other make no circle.
    std::mt19937 random(20);
    const Rules rules{{Kind::Complete}, {Kind::Lossless}, {Kind::Size}, {Kind::Oldest}};
    Files files;
    for (int i = 0; i < 5000; ++i) {
        KeepCandidate made = randomFiles(random).constFirst();
        made.path = u"/m/%1"_s.arg(i);
        files.append(made);
    }
    QHash<QString, KeepCandidate> byPath;
    for (const KeepCandidate& file : std::as_const(files)) {
        byPath.insert(file.path, file);
    }
    const QStringList order = search::bestFirst(files, rules);
    for (qsizetype i = 1; i < order.size(); ++i) {
        QVERIFY(isBetter(rules, byPath.value(order.at(i - 1)), byPath.value(order.at(i))));
    }
}

QTEST_GUILESS_MAIN(TestKeepOrder)
#include "tst_keeporder.moc"
