#include "support/media.h"
#include "support/tune.h"

#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QTest>

extern "C" {
#include <libavcodec/version.h>
}

using testmedia::MediaFolder;

/**
 * The leaks of readers, counted by LeakSanitizer in processes of their own: one codec context for
 * each that had a decoder, and nothing else.
 */
class TestReaderLeaks : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyClosedReaderLeavesOneContextAndNoMore_data();
    void everyClosedReaderLeavesOneContextAndNoMore();

private:
    MediaFolder media;
};

namespace {

constexpr int kRounds = 7;

/** The output of a process, and of the leak check at its end. */
struct Run
{
    int exitCode = -1;
    QByteArray output;
    QString report;
};

Run runReaders(const QString& way, const QString& path, const QString& suppressions)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LSAN_OPTIONS"),
                       QStringLiteral("fast_unwind_on_malloc=0:suppressions=") + suppressions);
    environment.insert(QStringLiteral("ASAN_OPTIONS"), QStringLiteral("detect_leaks=1"));
    environment.insert(QStringLiteral("QUORVEL_COUNTS_CONTEXTS"), QStringLiteral("1"));
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(QUORVEL_READERLEAKS), {way, path, QString::number(kRounds)});
    Run run;
    if (process.waitForFinished(-1) && process.exitStatus() == QProcess::NormalExit) {
        run.exitCode = process.exitCode();
        run.output = process.readAllStandardOutput().trimmed();
        run.report = QString::fromUtf8(process.readAllStandardError());
    }
    return run;
}

/** The number that \a pattern captures in the report; -1 where it does not occur. */
int numberIn(const QString& report, const char* pattern)
{
    const QRegularExpressionMatch match =
        QRegularExpression(QString::fromLatin1(pattern), QRegularExpression::MultilineOption)
            .match(report);
    return match.hasMatch() ? match.captured(1).toInt() : -1;
}

} // namespace

void TestReaderLeaks::everyClosedReaderLeavesOneContextAndNoMore_data()
{
    QTest::addColumn<QString>("way");
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("openedEachTime");
    QTest::addColumn<int>("leftEachTime");
    const QString mp3 = media.makeTune(QStringLiteral("tune.mp3"), {.seed = 1, .seconds = 3.0});
    const QString flac = media.makeTune(QStringLiteral("tune.flac"), {.seed = 1, .seconds = 3.0});
    const QString ogg = media.makeTune(QStringLiteral("tune.ogg"), {.seed = 1, .seconds = 3.0});
    const QString m4a = media.makeTune(QStringLiteral("tune.m4a"), {.seed = 1, .seconds = 3.0});
    // From FFmpeg 8 on, the context itself is freed, too.
    constexpr bool kContextsStay = LIBAVCODEC_VERSION_MAJOR < 62;
    const auto row = [](const char* name, const char* way, const QString& path, int opened,
                        int left) {
        QTest::newRow(name) << QString::fromLatin1(way) << path << opened
                            << (kContextsStay ? left : 0);
    };
    row("opened only", "open", mp3, 1, 1);
    row("read to the end", "read", mp3, 1, 1);
    row("closed twice", "close", flac, 1, 1);
    row("opened again without closing", "again", ogg, 2, 2);
    row("with headers of the stream's own", "close", m4a, 1, 1);
    row("fingerprint", "fingerprint", mp3, 2, 2);
    row("broken in the middle", "close", media.truncate(QStringLiteral("cut.flac"), flac, 0.6), 1,
        1);
    row("no such file", "close", media.path() + QStringLiteral("/missing.mp3"), 0, 0);
    row("no media", "close", media.write(QStringLiteral("text.wav"), "some text\n"), 0, 0);
    row("no audio stream", "close", media.makePicture(QStringLiteral("picture.png")), 0, 0);
    // The decoder is there by the time its converter, or the decoder itself, cannot be started.
    row("converter that cannot be built", "close",
        media.write(QStringLiteral("fast.wav"),
                    testmedia::wavFile(QByteArray(44100, '\1'), 2147483647, 1)),
        0, 1);
    QByteArray refused = testmedia::wavFile(QByteArray(40960, 'x'), 44100, 3);
    refused.replace(20, 2, QByteArray::fromHex("1100")); // a codec of at most two channels
    row("decoder that cannot be opened", "close", media.write(QStringLiteral("three.wav"), refused),
        0, 1);
}

void TestReaderLeaks::everyClosedReaderLeavesOneContextAndNoMore()
{
    QFETCH(const QString, way);
    QFETCH(const QString, path);
    QFETCH(const int, openedEachTime);
    QFETCH(const int, leftEachTime);

    const Run suppressed = runReaders(way, path, QStringLiteral(QUORVEL_LEAK_SUPPRESSIONS));
    QVERIFY2(suppressed.exitCode == 0, qPrintable(suppressed.report));
    QCOMPARE(suppressed.output, QByteArray::number(openedEachTime * kRounds));
    const int contexts = numberIn(suppressed.report, R"(^\s*(\d+)\s+\d+\s+newDecoderContext$)");
    QCOMPARE(contexts, leftEachTime == 0 ? -1 : leftEachTime * kRounds);

    // Without suppressions every leak counts, also one that a suppression would hide.
    const Run plain = runReaders(way, path, QStringLiteral("/dev/null"));
    const int allocations = numberIn(plain.report, R"(^SUMMARY: .* leaked in (\d+) allocation)");
    QCOMPARE(allocations, leftEachTime == 0 ? -1 : leftEachTime * kRounds);
    QCOMPARE(plain.exitCode != 0, leftEachTime != 0);
}

QTEST_GUILESS_MAIN(TestReaderLeaks)
#include "tst_readerleaks.moc"
