#include "search/fingerprintcollection.h"

#include "fingerprint/fingerprintcalculation.h"
#include "search/failurereason.h"
#include "search/fingerprintstore.h"
#include "support/media.h"
#include "support/standardstreams.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTest>

#include <algorithm>
#include <chrono>
#include <memory>

using namespace std::chrono_literals;
using search::Collection;
using search::CollectionProgress;
using search::fingerprintFiles;
using search::FingerprintStore;
using testmedia::MediaFolder;

namespace {

QStringList failuresOf(const Collection& collection)
{
    QStringList texts;
    for (const search::FailedFile& failure : collection.failures) {
        texts.append(failure.path.section(QLatin1Char('/'), -1) + QLatin1String(": ") +
                     failure.reason);
    }
    return texts;
}

/** Another program that has the store at \a path open. */
class OtherProgram
{
public:
    explicit OtherProgram(const QString& path)
        : m_database(QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("other")))
    {
        m_database.setDatabaseName(path);
        m_isOpen = m_database.open();
    }
    ~OtherProgram()
    {
        close();
        m_database = {};
        QSqlDatabase::removeDatabase(QStringLiteral("other"));
    }
    OtherProgram(const OtherProgram&) = delete;
    OtherProgram& operator=(const OtherProgram&) = delete;

    bool runs(const QString& statement) const
    {
        return m_isOpen && QSqlQuery(m_database).exec(statement);
    }
    /** Locks the store until close() or the end of the object. */
    bool locks() const
    {
        return runs(QStringLiteral("BEGIN IMMEDIATE"));
    }
    void close()
    {
        m_database.close();
    }

private:
    QSqlDatabase m_database;
    bool m_isOpen = false;
};

} // namespace

class TestFingerprintCollection : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void recordsStandInTheOrderOfTheFiles_data();
    void recordsStandInTheOrderOfTheFiles();
    void failureHasAReasonThatAPersonUnderstands_data();
    void failureHasAReasonThatAPersonUnderstands();
    void threeSecondsAreEnough_data();
    void threeSecondsAreEnough();
    void nothingIsPrinted();
    void secondRunDecodesNothing();
    void factsComeFromTheFileAndThenFromTheStore();
    void changedFileIsDecodedAgain();
    void missingFileIsNotKept();
    void filesInTheStoreAreReportedOneByOne();
    void storeThatFailsCostsNoResult_data();
    void storeThatFailsCostsNoResult();
    void storeThatHasFailedIsNotUsedAgain();
    void storeAloneIsGivenWhatIsOnlySaved();
    void nothingIsReadForAStoreThatHasFailed();
    void busyStoreIsTriedAgain();
    void storeThatStaysBusyIsToldAtTheEnd();
    void progressCountsFilesAndSeconds();
    void fileOfUnknownLengthCountsNoSeconds();
    void stopEndsInTheMiddleOfAFile();
    void stoppedRunIsContinuedFromTheStore();

private:
    /** What a run with \a store has to decode. */
    qsizetype decoded(FingerprintStore& store, Collection* collection = nullptr) const;

    std::unique_ptr<MediaFolder> media;
    QStringList files;
    QList<FingerprintRecord> expected;
};

void TestFingerprintCollection::initTestCase()
{
    media = std::make_unique<MediaFolder>();
    for (unsigned seed = 1; seed <= 6; ++seed) {
        files.append(media->makeTune(QStringLiteral("%1.ogg").arg(seed),
                                     {.seed = seed, .seconds = 2.0 + seed}));
    }
    files.insert(2, media->write(QStringLiteral("noise.mp3"), "no audio at all"));
    files.insert(4, media->filePath(QStringLiteral("missing.mp3")));
    for (const QString& file : std::as_const(files)) {
        expected.append(fingerprint::fingerprintFile(file).record);
    }
    QVERIFY(!std::get<1>(expected.at(0)).isEmpty());
}

qsizetype TestFingerprintCollection::decoded(FingerprintStore& store, Collection* collection) const
{
    qsizetype count = 0;
    const auto progress = [&count](const CollectionProgress& now) { count = now.filesDecoded; };
    const Collection result = fingerprintFiles(files, {2, &store, progress, {}});
    if (collection != nullptr) {
        *collection = result;
    }
    return count;
}

void TestFingerprintCollection::recordsStandInTheOrderOfTheFiles_data()
{
    QTest::addColumn<int>("threadCount");
    for (const int threadCount : {1, 2, 8, 64}) {
        QTest::addRow("%d threads", threadCount) << threadCount;
    }
}

void TestFingerprintCollection::recordsStandInTheOrderOfTheFiles()
{
    QFETCH(const int, threadCount);
    QCOMPARE(fingerprintFiles(files, {threadCount, nullptr, {}, {}}).records, expected);
}

void TestFingerprintCollection::failureHasAReasonThatAPersonUnderstands_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("reason");
    QTest::addColumn<bool>("tooShort");
    const auto tune = [this](const char* name, double seconds) {
        return media->makeTune(QString::fromLatin1(name), {.seed = 9, .seconds = seconds});
    };
    const auto row = [](const char* name, const QString& path, const char* reason,
                        bool tooShort = false) {
        QTest::newRow(name) << path << QString::fromLatin1(reason) << tooShort;
    };
    const auto content = [this](const char* name, const QByteArray& bytes) {
        return media->write(QString::fromLatin1(name), bytes);
    };
    const char* const shorter = "too short: under 3 seconds";
    row("empty", content("empty.ogg", {}), "empty file (End of file)");
    row("empty, of a raw type", content("empty.sw", {}), "empty file");
    // Where a reason ends with a parenthesis, what follows depends on the version of FFmpeg.
    row("something else", content("else.mp3", "no audio at all"), "damaged, or not a media file (");
    row("damaged where it begins", content("noise.m4a", QByteArray(9000, 'x')),
        "damaged, or not a media file (Invalid data found when processing input)");
    row("damaged, of a format that is chosen by name", content("noise.flac", QByteArray(9000, 'x')),
        "no audio in it (Stream not found)");
    row("playlist", content("list.mp3", "#EXTM3U\n#EXT-X-TARGETDURATION:9\n#EXTINF:9,\na.mp3\n"),
        "damaged, or not a media file (");
    row("picture",
        QFile::copy(media->makePicture(QStringLiteral("picture.png")),
                    media->filePath(QStringLiteral("picture.mp3")))
            ? media->filePath(QStringLiteral("picture.mp3"))
            : QString(),
        "no audio in it (Stream not found)");
    row("missing", media->filePath(QStringLiteral("missing.mp3")),
        "Could not open the input file (No such file or directory)");
    row("folder", media->path(), "Could not open the input file (Is a directory)");
    row("nothing but a header", content("header.wav", testmedia::wavFile({}, 44100, 2)), shorter,
        true);
    row("a sound", tune("sound.wav", 0.1), shorter, true);
    row("nearly long enough", tune("nearly.wav", 2.7), shorter, true);
    row("nearly long enough, coded", tune("nearly.mp3", 2.6), shorter, true);
    row("cut off", media->truncate(QStringLiteral("cut.flac"), tune("whole.flac", 60.0), 0.02),
        "damaged: under 3 seconds of it can be decoded (Invalid data found when processing input)");
    row("cut off, without an error",
        media->truncate(QStringLiteral("cut.mka"), tune("whole.mka", 60.0), 0.02),
        "damaged: under 3 seconds of it can be decoded");
}

void TestFingerprintCollection::failureHasAReasonThatAPersonUnderstands()
{
    QFETCH(const QString, path);
    QFETCH(const QString, reason);
    QFETCH(const bool, tooShort);
    const Collection collection = fingerprintFiles({path}, {1, nullptr, {}, {}});
    const QString failure = failuresOf(collection).join(u'\n');
    const QString line = QFileInfo(path).fileName() + QStringLiteral(": ") + reason;
    const bool isOpen = reason.endsWith(u'(');
    QVERIFY2(isOpen ? failure.startsWith(line) && failure.endsWith(u')') : failure == line,
             qPrintable(failure));
    QCOMPARE(search::isTooShort(reason), tooShort);
}

void TestFingerprintCollection::threeSecondsAreEnough_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<double>("seconds");
    QTest::addColumn<int>("sampleRateHz");
    QTest::newRow("samples") << QStringLiteral("wav") << 2.75 << 44100;
    for (const char* ending : {"wav", "flac", "mp3", "ogg", "m4a", "wma", "webm"}) {
        const QString name = QString::fromLatin1(ending);
        QTest::addRow("%s", ending) << name << 3.0 << 44100;
        QTest::addRow("%s of a telephone", ending) << name << 3.0 << 8000;
    }
}

void TestFingerprintCollection::threeSecondsAreEnough()
{
    QFETCH(const QString, name);
    QFETCH(const double, seconds);
    QFETCH(const int, sampleRateHz);
    const QString path =
        media->makeTune(QStringLiteral("enough.") + name,
                        {.seed = 9, .seconds = seconds, .sampleRateHz = sampleRateHz});
    QCOMPARE(failuresOf(fingerprintFiles({path}, {1, nullptr, {}, {}})), QStringList());
}

void TestFingerprintCollection::nothingIsPrinted()
{
    testmedia::StandardErrorCapture capture;
    fingerprintFiles(files, {2, nullptr, {}, {}});
    QCOMPARE(capture.take(), QByteArray());
}

void TestFingerprintCollection::secondRunDecodesNothing()
{
    const QTemporaryDir folder;
    FingerprintStore store(folder.filePath(QStringLiteral("store.db")));
    Collection first;
    QCOMPARE(decoded(store, &first), files.size());
    Collection second;
    // The missing file has no state that could be kept.
    QCOMPARE(decoded(store, &second), 1);
    QCOMPARE(second.records, expected);
    QCOMPARE(failuresOf(second), failuresOf(first));
    QVERIFY(second.storeFailure.isEmpty());
}

void TestFingerprintCollection::factsComeFromTheFileAndThenFromTheStore()
{
    const QTemporaryDir folder;
    FingerprintStore store(folder.filePath(QStringLiteral("store.db")));
    const QString cut = media->truncate(QStringLiteral("cut.wav"),
                                        media->makeTune(QStringLiteral("whole.wav"), {}), 0.5);
    const QStringList both = {files.at(0), cut};
    const QList<fingerprint::FileFacts> facts = fingerprintFiles(both, {2, &store, {}, {}}).facts;
    QCOMPARE(facts.size(), 2);
    for (qsizetype i = 0; i < 2; ++i) {
        const search::FileState state = *search::FileState::of(both.at(i));
        fingerprint::FileFacts expectedFacts = fingerprint::fingerprintFile(both.at(i)).facts;
        expectedFacts.sizeBytes = state.sizeBytes;
        expectedFacts.modifiedMs = state.modifiedMs;
        QCOMPARE(facts.at(i), expectedFacts);
    }
    QCOMPARE(facts.at(0).codec, QStringLiteral("vorbis"));
    QCOMPARE(facts.at(0).completeness, fingerprint::Completeness::Whole);
    QCOMPARE(facts.at(1).completeness, fingerprint::Completeness::Partial);
    qsizetype decodedAgain = 0;
    const auto progress = [&](const CollectionProgress& now) { decodedAgain = now.filesDecoded; };
    QCOMPARE(fingerprintFiles(both, {2, &store, progress, {}}).facts, facts);
    QCOMPARE(decodedAgain, 0);
}

void TestFingerprintCollection::changedFileIsDecodedAgain()
{
    const QTemporaryDir folder;
    FingerprintStore store(folder.filePath(QStringLiteral("store.db")));
    QCOMPARE(decoded(store), files.size());
    QFile file(files.at(0));
    QVERIFY(file.open(QIODevice::ReadWrite));
    const QDateTime modified = file.fileTime(QFileDevice::FileModificationTime);
    QVERIFY(file.setFileTime(modified.addMSecs(1500), QFileDevice::FileModificationTime));
    QCOMPARE(decoded(store), 2);
    QCOMPARE(decoded(store), 1);
    QVERIFY(QFile::setPermissions(media->filePath(QStringLiteral("noise.mp3")), QFile::ReadOwner));
    QCOMPARE(decoded(store), 2);
}

void TestFingerprintCollection::missingFileIsNotKept()
{
    const QTemporaryDir folder;
    FingerprintStore store(folder.filePath(QStringLiteral("store.db")));
    fingerprintFiles({files.at(4)}, {1, &store, {}, {}});
    QVERIFY(!store.find(files.at(4), {}));
}

void TestFingerprintCollection::filesInTheStoreAreReportedOneByOne()
{
    const QTemporaryDir folder;
    FingerprintStore store(folder.filePath(QStringLiteral("store.db")));
    const QStringList known = files.first(4);
    fingerprintFiles(known, {2, &store, {}, {}});
    QList<qsizetype> reported;
    const auto progress = [&reported](const CollectionProgress& now) {
        if (now.filesDecoded == 0 && reported.size() < 4) {
            reported.append(now.filesDone);
        }
    };
    fingerprintFiles(known, {2, &store, progress, {}});
    QCOMPARE(reported, QList<qsizetype>({1, 2, 3, 4}));
}

void TestFingerprintCollection::storeThatFailsCostsNoResult_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<QString>("reason");
    QTest::newRow("when it is searched")
        << QStringLiteral("DROP TABLE files") << QStringLiteral("no such table: files");
    QTest::newRow("when it is saved to")
        << QStringLiteral("CREATE TRIGGER refusal BEFORE INSERT ON files "
                          "BEGIN SELECT RAISE(ABORT, 'no room'); END")
        << QStringLiteral("no room");
}

void TestFingerprintCollection::storeThatFailsCostsNoResult()
{
    QFETCH(const QString, fault);
    QFETCH(const QString, reason);
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("store.db"));
    FingerprintStore store(path);
    QVERIFY(OtherProgram(path).runs(fault));
    Collection collection;
    QCOMPARE(decoded(store, &collection), files.size());
    QCOMPARE(collection.records, expected);
    QVERIFY2(collection.storeFailure.contains(path) && collection.storeFailure.contains(reason),
             qPrintable(collection.storeFailure));
}

void TestFingerprintCollection::storeThatHasFailedIsNotUsedAgain()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("store.db"));
    FingerprintStore store(path);
    const OtherProgram other(path);
    QVERIFY(other.runs(QStringLiteral("ALTER TABLE files RENAME TO hidden")));
    bool isBack = false;
    const auto progress = [&](const CollectionProgress&) {
        isBack = isBack || other.runs(QStringLiteral("ALTER TABLE hidden RENAME TO files"));
    };
    QVERIFY(!fingerprintFiles(files, {1, &store, progress, {}}).storeFailure.isEmpty());
    QVERIFY(isBack);
    QCOMPARE(decoded(store), files.size());
}

void TestFingerprintCollection::storeAloneIsGivenWhatIsOnlySaved()
{
    const QTemporaryDir folder;
    FingerprintStore store(folder.filePath(QStringLiteral("store.db")));
    const Collection saved = fingerprintFiles(files, {2, &store, {}, {}, true});
    QVERIFY(saved.records.isEmpty() && saved.facts.isEmpty());
    QCOMPARE(saved.storeFailure, QString());
    QVERIFY(!saved.failures.isEmpty());
    // The missing file is the next run's, too.
    QCOMPARE(saved.notKept.size(), 1);
    Collection collection;
    QCOMPARE(decoded(store, &collection), 1);
    QCOMPARE(collection.records, expected);
}

void TestFingerprintCollection::nothingIsReadForAStoreThatHasFailed()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("store.db"));
    FingerprintStore store(path);
    QVERIFY(OtherProgram(path).runs(QStringLiteral("ALTER TABLE files RENAME TO hidden")));
    qsizetype decodedCount = 0;
    const auto progress = [&decodedCount](const CollectionProgress& now) {
        decodedCount = now.filesDecoded;
    };
    QVERIFY(!fingerprintFiles(files, {2, &store, progress, {}, true}).storeFailure.isEmpty());
    QCOMPARE(decodedCount, 0);
}

void TestFingerprintCollection::busyStoreIsTriedAgain()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("store.db"));
    FingerprintStore store(path, 10ms);
    OtherProgram other(path);
    QVERIFY(other.locks());
    const auto progress = [&other](const CollectionProgress& now) {
        if (now.filesDecoded > 0) {
            other.close();
        }
    };
    // So many that the first are saved while others are left to be made.
    const QStringList many = files + files + files + files + files + files;
    QCOMPARE(fingerprintFiles(many, {1, &store, progress, {}}).storeFailure, QString());
    // But for the missing one.
    QCOMPARE(decoded(store), 1);
}

void TestFingerprintCollection::storeThatStaysBusyIsToldAtTheEnd()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("store.db"));
    FingerprintStore store(path, 10ms);
    const OtherProgram other(path);
    QVERIFY(other.locks());
    const Collection collection = fingerprintFiles(files, {2, &store, {}, {}});
    QCOMPARE(collection.records, expected);
    QVERIFY2(collection.storeFailure.contains(QStringLiteral("locked")),
             qPrintable(collection.storeFailure));
}

void TestFingerprintCollection::progressCountsFilesAndSeconds()
{
    CollectionProgress last;
    bool inOrder = true;
    const auto progress = [&](const CollectionProgress& now) {
        inOrder = inOrder && now.allFiles == 8 && last.filesDone <= now.filesDone &&
                  now.filesDecoded <= now.filesDone;
        last = now;
    };
    fingerprintFiles(files, {2, nullptr, progress, {}});
    QVERIFY(inOrder);
    QCOMPARE(last.filesDone, 8);
    QCOMPARE(last.filesDecoded, 8);
    // 3 + 4 + 5 + 6 + 7 + 8 seconds, as the files tell.
    QVERIFY2(std::abs(last.secondsOfAudioDecoded - 33.0) < 0.5,
             qPrintable(QString::number(last.secondsOfAudioDecoded)));
}

void TestFingerprintCollection::fileOfUnknownLengthCountsNoSeconds()
{
    const QString live =
        media->makeTune(QStringLiteral("live.mka"), {.seed = 1, .seconds = 3.0},
                        {QStringLiteral("-c:a"), QStringLiteral("flac"), QStringLiteral("-live"),
                         QStringLiteral("1"), QStringLiteral("-f"), QStringLiteral("matroska")});
    double seconds = -1.0;
    const auto progress = [&seconds](const CollectionProgress& now) {
        seconds = now.secondsOfAudioDecoded;
    };
    const Collection collection = fingerprintFiles({live}, {1, nullptr, progress, {}});
    QCOMPARE(std::get<2>(collection.records.at(0)), -1);
    QCOMPARE(seconds, 0.0);
}

void TestFingerprintCollection::stopEndsInTheMiddleOfAFile()
{
    // A day of silence, which takes many seconds to decode.
    const QByteArray header = testmedia::wavFile({}, 8000, 1).left(40) + QByteArray(4, '\x70');
    const QString path = media->writeSparse(QStringLiteral("long.wav"), header, 2LL * 8000 * 86400);
    std::stop_source stop;
    int calls = 0;
    const auto progress = [&](const CollectionProgress&) {
        if (++calls == 2) {
            stop.request_stop();
        }
    };
    const Collection collection =
        fingerprintFiles({path}, {1, nullptr, progress, stop.get_token()});
    QVERIFY(stop.stop_requested());
    QVERIFY(collection.failures.isEmpty());
    QVERIFY(std::get<1>(collection.records.at(0)).isEmpty());
}

void TestFingerprintCollection::stoppedRunIsContinuedFromTheStore()
{
    const QTemporaryDir folder;
    FingerprintStore store(folder.filePath(QStringLiteral("store.db")));
    std::stop_source stop;
    const auto progress = [&stop](const CollectionProgress& now) {
        if (now.filesDecoded > 0) {
            stop.request_stop();
        }
    };
    fingerprintFiles(files, {1, &store, progress, stop.get_token()});
    QVERIFY(stop.stop_requested());
    Collection collection;
    QVERIFY(decoded(store, &collection) < files.size());
    QCOMPARE(collection.records, expected);
}

QTEST_GUILESS_MAIN(TestFingerprintCollection)
#include "tst_fingerprintcollection.moc"
