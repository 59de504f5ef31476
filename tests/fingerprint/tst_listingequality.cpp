#include "fingerprint/audiofilediscovery.h"
#include "support/media.h"
#include "support/plainlisting.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTest>

#include <dirent.h>
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <random>
#include <stop_token>

using testmedia::MediaFolder;

namespace {

/** Whether folders keep the types of their entries beside the names; some file systems do not. */
bool typesAreKnown = true;
/** At which entry a stop is requested. */
int stopAtEntry = -1;
std::stop_source stopSource;

} // namespace

extern "C" dirent64* readdir64(DIR* directory)
{
    using Function = dirent64* (*)(DIR*);
    static const auto original = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "readdir64"));
    dirent64* entry = original(directory);
    if (entry != nullptr && !typesAreKnown) {
        entry->d_type = DT_UNKNOWN;
    }
    if (stopAtEntry > 0 && --stopAtEntry == 0) {
        stopSource.request_stop();
    }
    return entry;
}

/** The listing held against the toolkit's directory iterator, over folders with anything in them.
 */
class TestListingEquality : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup();
    void randomFoldersAreListedAsThePlainIteratorDoes_data();
    void randomFoldersAreListedAsThePlainIteratorDoes();
    void deepFoldersAreListedAsThePlainIteratorDoes_data();
    void deepFoldersAreListedAsThePlainIteratorDoes();
    void rootsAreTakenAsThePlainIteratorDoes_data();
    void rootsAreTakenAsThePlainIteratorDoes();
    void listingLeavesNoFolderOpen();
};

namespace {

using Random = std::mt19937;

qsizetype pick(Random& random, qsizetype count)
{
    return static_cast<qsizetype>(random()) % count;
}

const QByteArrayList kNames = {"a",
                               "song.mp3",
                               "Song.MP3",
                               "b.flac",
                               "c.txt",
                               "mp3",
                               ".mp3",
                               ".hidden.mp3",
                               ".hidden",
                               "...",
                               "folder.ogg",
                               "x.mp3.",
                               "line\nbreak.wav",
                               " ",
                               "\\.wma",
                               "e\xCC\x81.mp3",
                               "\xC3\xA9.mp3",
                               "\xEF\xBB\xBF.mp3",
                               "x.\xEF\xBB\xBFmp3",
                               "\xEF\xBB\xBFx.mp3",
                               "x.m\xE2\x84\xAAv",
                               "\xED\x9F\xBF.mp3",
                               "\xEF\xBF\xBF.ul",
                               "\xF4\x8F\xBF\xBF.uw"};
const QByteArrayList kTargets = {"song.mp3",  "b.flac", ".",        "..", "nowhere",
                                 "/dev/null", "a",      "self.mp3", "x",  "pipe.mp3"};
/** None of them is valid UTF-8. */
const QByteArrayList kBadNames = {"\xFF\xFE.mp3",         "bad\xFF.mp3",      "\xC3",
                                  "\xC0\xAEx.mp3",        "\xED\xA0\x80.mp3", "x.mp3\xE2",
                                  "\xF4\x90\x80\x80.mp3", ".\x80.mp3"};

void makeFile(const QByteArray& path)
{
    mknod(path.constData(), S_IFREG | 0600, 0);
}

/** Makes one entry in \a folder, which ends in a separator; the path of a new folder, or nothing.
 */
QByteArray makeEntry(const QByteArray& folder, const QByteArray& name, Random& random)
{
    const QByteArray path = folder + name;
    switch (pick(random, 8)) {
    case 0:
    case 1:
        return mkdir(path.constData(), 0700) == 0 ? path + '/' : QByteArray();
    case 2: {
        [[maybe_unused]] const int made =
            symlink(kTargets.at(pick(random, kTargets.size())).constData(), path.constData());
        break;
    }
    case 3:
        mknod(path.constData(), (pick(random, 2) == 0 ? S_IFIFO : S_IFSOCK) | 0600, 0);
        break;
    default:
        makeFile(path);
    }
    return {};
}

/** Fills \a folder with \a names, and those folders among them; returns all folders. */
QByteArrayList fillFolder(const QByteArray& folder, const QByteArrayList& names, int depth,
                          Random& random)
{
    QByteArrayList folders{folder};
    for (qsizetype entries = 4 + pick(random, 10); entries > 0; --entries) {
        const QByteArray made = makeEntry(folder, names.at(pick(random, names.size())), random);
        if (!made.isEmpty() && depth > 0) {
            folders += fillFolder(made, names, depth - 1, random);
        }
    }
    return folders;
}

void addRowsOfTypes()
{
    QTest::addColumn<bool>("known");
    QTest::newRow("types known") << true;
    QTest::newRow("types to be asked for") << false;
}

qsizetype openDescriptors()
{
    return QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::AllEntries | QDir::System).size();
}

} // namespace

void TestListingEquality::cleanup()
{
    typesAreKnown = true;
    stopAtEntry = -1;
    stopSource = std::stop_source();
}

void TestListingEquality::randomFoldersAreListedAsThePlainIteratorDoes_data()
{
    addRowsOfTypes();
}

void TestListingEquality::randomFoldersAreListedAsThePlainIteratorDoes()
{
    QFETCH(const bool, known);
    const bool anyName = support::plainListingReadsAnyName();
    QByteArrayList names = kNames;
    names.removeIf(
        [anyName](const QByteArray& name) { return !anyName && !support::isReadAlike(name); });
    typesAreKnown = known;
    qsizetype listed = 0;
    for (unsigned seed = 1; seed <= 20; ++seed) {
        Random random(seed);
        const MediaFolder media;
        const QByteArray root = QFile::encodeName(media.path()) + '/';
        const QByteArrayList folders = fillFolder(root, names, 3, random);
        const QStringList expected = support::plainListing({media.path()});
        const QByteArray report = "seed " + QByteArray::number(seed);
        QVERIFY2(fingerprint::findAudioFiles({media.path()}) == expected, report.constData());

        // Names that are not UTF-8 change nothing, what is in folders of such names included.
        for (const QByteArray& folder : folders) {
            fillFolder(folder, kBadNames, 1, random);
        }
        QVERIFY2(fingerprint::findAudioFiles({media.path()}) == expected, report.constData());
        // Nor do the notes.
        QVERIFY2(fingerprint::listAudioFiles({media.path()}, {}).files == expected,
                 report.constData());
        if (anyName) {
            QVERIFY2(support::plainListing({media.path()}) == expected, report.constData());
        }
        listed += expected.size();
    }
    QVERIFY2(listed > 150, qPrintable(QString::number(listed)));
}

void TestListingEquality::deepFoldersAreListedAsThePlainIteratorDoes_data()
{
    QTest::addColumn<int>("levels");
    QTest::newRow("hundreds") << 300;
    // More than there are descriptors, or than fit into a path.
    QTest::newRow("thousands") << 3000;
}

void TestListingEquality::deepFoldersAreListedAsThePlainIteratorDoes()
{
    QFETCH(const int, levels);
    const MediaFolder media;
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(media.path()));
    for (int level = 0; level < levels; ++level) {
        makeFile("x.mp3");
        QVERIFY(mkdir("d", 0700) == 0 && chdir("d") == 0);
    }
    makeFile("end.mp3");
    QVERIFY(QDir::setCurrent(before));
    const QStringList expected = support::plainListing({media.path()});
    QVERIFY(expected.size() >= 300);
    const QStringList listed = fingerprint::findAudioFiles({media.path()});
    QCOMPARE(listed.size(), expected.size());
    QVERIFY(listed == expected);
    // What made it, the toolkit cannot remove.
    QVERIFY(QProcess::execute(QStringLiteral("rm"),
                              {QStringLiteral("-rf"), media.path() + QStringLiteral("/d")}) == 0);
}

void TestListingEquality::rootsAreTakenAsThePlainIteratorDoes_data()
{
    QTest::addColumn<QString>("root");
    for (const char* root : {"%1",
                             "%1/",
                             "%1//",
                             "%1/.",
                             "%1/sub/../sub/",
                             "/%1",
                             "//%1",
                             "%1/.hidden",
                             "%1/.hidden/",
                             "%1/link",
                             "%1/link/",
                             "%1/x.mp3",
                             "%1/x.mp3/",
                             "%1/broken",
                             "%1/missing",
                             "%1/self",
                             ".",
                             "./",
                             "..//%2",
                             "sub",
                             "./sub//",
                             "link",
                             ".hidden",
                             "",
                             "/dev/null",
                             ":sub",
                             ":",
                             "a:b",
                             "\xEF\xBB\xBFsub"}) {
        QTest::newRow(*root == '\0' ? "nothing" : root) << QString::fromUtf8(root);
    }
}

void TestListingEquality::rootsAreTakenAsThePlainIteratorDoes()
{
    QFETCH(QString, root);
    const MediaFolder media;
    for (const char* name : {"x.mp3", "sub/1.mp3", "sub/more/2.mp3", ".hidden/3.mp3",
                             "./:sub/4.mp3", "a:b/5.mp3", "./\xEF\xBB\xBFsub/6.mp3"}) {
        media.write(QString::fromUtf8(name), {});
    }
    const QByteArray path = QFile::encodeName(media.path());
    QVERIFY(symlink("sub", (path + "/link").constData()) == 0);
    QVERIFY(symlink("nowhere", (path + "/broken").constData()) == 0);
    QVERIFY(symlink("self", (path + "/self").constData()) == 0);
    root.replace(QStringLiteral("%1"), media.path());
    root.replace(QStringLiteral("%2"), QDir(media.path()).dirName());

    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(media.path()));
    const QStringList expected = support::plainListing({root});
    const QStringList listed = fingerprint::findAudioFiles({root});
    QVERIFY(QDir::setCurrent(before));
    QCOMPARE(listed, expected);
}

void TestListingEquality::listingLeavesNoFolderOpen()
{
    const MediaFolder media;
    for (int i = 0; i < 10; ++i) {
        media.write(QStringLiteral("%1/a/b/c.mp3").arg(i), {});
    }
    const qsizetype before = openDescriptors();
    QCOMPARE(fingerprint::findAudioFiles({media.path()}).size(), 10);
    QCOMPARE(openDescriptors(), before);
    stopAtEntry = 30;
    const auto files = fingerprint::findAudioFiles({media.path()}, stopSource.get_token());
    QVERIFY2(!files.isEmpty() && files.size() < 10, qPrintable(QString::number(files.size())));
    QCOMPARE(openDescriptors(), before);
}

QTEST_GUILESS_MAIN(TestListingEquality)
#include "tst_listingequality.moc"
