#include "mutation.h"

#include <QDir>
#include <QProcess>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

/** The fuzz runs are worth what they notice: made-up failures, and that cases can be made again. */
class TestCampaign : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyKindOfFailureIsCountedAndTheRunGoesOn();
    void runWithoutFailuresSucceeds();
    void runWithoutAnEndIsRefused();
    void caseIsMadeAgainByItsNumber();
    void damageIsBounded();
};

namespace {

struct Run
{
    int exitCode = -1;
    QByteArray output;
};

Run runFaulty(const QStringList& options)
{
    QProcess process;
    process.start(QStringLiteral(QUORVEL_FAULTYHARNESS), options);
    process.waitForFinished(-1);
    return {process.exitCode(), process.readAllStandardOutput()};
}

const QList<QByteArray>& seeds()
{
    static const QList<QByteArray> all = {QByteArray(2000, 'a'), QByteArray(300000, 'b'), "c", {}};
    return all;
}

QByteArray make(quint64 seed, quint64 number)
{
    fuzz::Random random = fuzz::randomFor(seed, number);
    return fuzz::mutated(seeds().at(static_cast<qsizetype>(number % 4)), seeds(), random);
}

} // namespace

void TestCampaign::everyKindOfFailureIsCountedAndTheRunGoesOn()
{
    const QTemporaryDir findings;
    const Run run =
        runFaulty({QStringLiteral("--first"), QStringLiteral("10"), QStringLiteral("--cases"),
                   QStringLiteral("20"), QStringLiteral("--findings"), findings.path()});
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.output.contains("total: 20 cases"), run.output.constData());
    // What takes more and more memory is slow enough, in a sanitized build on a busy machine, to be
    // stopped for its time before its memory.
    QVERIFY2(run.output.contains("3 crashes, 1 hangs, 1 wrong results") ||
                 run.output.contains("2 crashes, 2 hangs, 1 wrong results"),
             run.output.constData());
    for (const char* told :
         {"crash by signal 6 in case 12;", "wrong result in case 14;", "hang in case 16;",
          "in case 17;", "crash with exit code 3 in case 18;", "--seed 1 --first 18 --cases 1"}) {
        QVERIFY2(run.output.contains(told), told);
    }
    QCOMPARE(QDir(findings.path()).entryList(QDir::Files).size(), 5);
}

void TestCampaign::runWithoutFailuresSucceeds()
{
    const Run run = runFaulty({QStringLiteral("--cases"), QStringLiteral("9")});
    QCOMPARE(run.exitCode, 0);
    QVERIFY2(run.output.contains("total: 9 cases"), run.output.constData());
    QVERIFY2(run.output.contains("0 crashes, 0 hangs, 0 wrong results"), run.output.constData());
}

void TestCampaign::runWithoutAnEndIsRefused()
{
    QCOMPARE(runFaulty({}).exitCode, 2);
    QCOMPARE(runFaulty({QStringLiteral("--cases")}).exitCode, 2);
    QCOMPARE(runFaulty({QStringLiteral("--cases"), QStringLiteral("x")}).exitCode, 2);
    QCOMPARE(runFaulty({QStringLiteral("--speed"), QStringLiteral("1")}).exitCode, 2);
}

void TestCampaign::caseIsMadeAgainByItsNumber()
{
    QSet<QByteArray> different;
    for (quint64 number = 0; number < 200; ++number) {
        QCOMPARE(make(1, number), make(1, number));
        different.insert(make(1, number));
        different.insert(make(2, number));
    }
    QVERIFY(different.size() > 250); // every fourth case damages what is empty
}

void TestCampaign::damageIsBounded()
{
    qsizetype unchanged = 0;
    for (quint64 number = 0; number < 2000; ++number) {
        const QByteArray made = make(3, number);
        QVERIFY(made.size() <= 256 << 10);
        unchanged += made == seeds().at(0) ? 1 : 0;
    }
    QVERIFY(unchanged < 10);
}

QTEST_GUILESS_MAIN(TestCampaign)
#include "tst_campaign.moc"
