#include "fingerprint/audiofilediscovery.h"
#include "support/media.h"
#include "support/plainlisting.h"

#include <QTest>

#include <dirent.h>
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <stop_token>

using testmedia::MediaFolder;

namespace {

/** How many directory entries this process has read, and at which of them a stop is requested. */
std::atomic<int> entriesRead = 0;
std::atomic<int> stopAtEntry = -1;
std::stop_source stopSource;

} // namespace

/** The C library's function, counted: the only way to see how far a listing got. */
extern "C" dirent64* readdir64(DIR* directory)
{
    using Function = dirent64* (*)(DIR*);
    static const auto original = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "readdir64"));
    if (++entriesRead == stopAtEntry) {
        stopSource.request_stop();
    }
    return original(directory);
}

/** The patterns, the order and what is left out when audio files are looked for in folders. */
class TestAudioFileDiscovery : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void patternsAreThe44InTheirOwnOrder();
    void noFoldersGiveNoFiles();
    void missingFolderGivesNoEntriesAndNoError();
    void unreadableFolderGivesNoEntries();
    void filesWithUpperCaseExtensionsAreFound();
    void everyPatternIsFound();
    void subfoldersAreSearchedAtAnyDepth();
    void subfolderListedBesideItsFolderGivesItsFilesTwice();
    void hiddenFilesAreNeverListed_data();
    void hiddenFilesAreNeverListed();
    void linksToFoldersAreNotFollowedButLinksToFilesAreListed();
    void foldersAndSpecialFilesWithAudioNamesAreNotListed();
    void foldersAreListedInTheGivenOrder();
    void unusualNamesSurvive();
    void aNameThatIsNotUtf8HidesNothingElse_data();
    void aNameThatIsNotUtf8HidesNothingElse();
    void hostileTreeIsListedAsThePlainIteratorDoes();
    void requestedStopGivesNothing();
    void stopIsAnsweredAmongFilesThatMatchNothing();
    void stopIsAnsweredAmongEmptyFolders();

private:
    std::unique_ptr<MediaFolder> media;
};

namespace {

QStringList sorted(QStringList list)
{
    list.sort();
    return list;
}

void touch(const MediaFolder& media, const QString& name)
{
    media.write(name, QByteArray());
}

void link(const QString& target, const QString& name)
{
    QVERIFY(symlink(target.toUtf8().constData(), name.toUtf8().constData()) == 0);
}

} // namespace

void TestAudioFileDiscovery::init()
{
    media = std::make_unique<MediaFolder>();
    entriesRead = 0;
    stopAtEntry = -1;
    stopSource = std::stop_source();
}

void TestAudioFileDiscovery::patternsAreThe44InTheirOwnOrder()
{
    const QString expected =
        QStringLiteral("*.3g2 *.3gp *.aac *.ac3 *.al *.ape *.apl *.avi *.avif *.f4v *.flac "
                       "*.flv *.ism *.isma *.ismv *.m2a *.m4a *.m4b *.m4v *.mac *.mj2 *.mk3d "
                       "*.mka *.mks *.mkv *.mov *.mp2 *.mp3 *.mp4 *.mpa *.mpc *.ogg *.psp "
                       "*.sb *.shn *.sw *.tak *.tta *.ub *.ul *.uw *.webm *.wav *.wma");
    QCOMPARE(fingerprint::audioFileNamePatterns().size(), 44);
    QCOMPARE(fingerprint::audioFileNamePatterns().join(u' '), expected);
}

void TestAudioFileDiscovery::noFoldersGiveNoFiles()
{
    QCOMPARE(fingerprint::findAudioFiles({}), QStringList());
}

void TestAudioFileDiscovery::missingFolderGivesNoEntriesAndNoError()
{
    touch(*media, QStringLiteral("a.mp3"));
    const QStringList folders = {media->path() + QStringLiteral("/missing"), media->path()};
    QCOMPARE(fingerprint::findAudioFiles(folders),
             QStringList{media->path() + QStringLiteral("/a.mp3")});
}

void TestAudioFileDiscovery::unreadableFolderGivesNoEntries()
{
    touch(*media, QStringLiteral("locked/a.mp3"));
    touch(*media, QStringLiteral("b.mp3"));
    const QByteArray locked = media->filePath(QStringLiteral("locked")).toUtf8();
    const bool privileged = geteuid() == 0;
    chmod(media->path().toUtf8().constData(), 0755);
    chmod(locked.constData(), 0);
    // An administrator reads everything, so the search is made as nobody.
    QVERIFY(!privileged || seteuid(65534) == 0);
    const QStringList files = fingerprint::findAudioFiles({media->path()});
    QVERIFY(!privileged || seteuid(0) == 0);
    chmod(locked.constData(), 0755);
    QCOMPARE(files, QStringList{media->filePath(QStringLiteral("b.mp3"))});
}

void TestAudioFileDiscovery::filesWithUpperCaseExtensionsAreFound()
{
    touch(*media, QStringLiteral("A.MP3"));
    touch(*media, QStringLiteral("b.FlAc"));
    touch(*media, QStringLiteral("c.JPG"));
    QCOMPARE(sorted(fingerprint::findAudioFiles({media->path()})),
             QStringList({media->filePath(QStringLiteral("A.MP3")),
                          media->filePath(QStringLiteral("b.FlAc"))}));
}

void TestAudioFileDiscovery::everyPatternIsFound()
{
    QStringList expected;
    for (const QString& pattern : fingerprint::audioFileNamePatterns()) {
        const QString name = QStringLiteral("song") + pattern.sliced(1);
        touch(*media, name);
        expected.append(media->filePath(name));
    }
    for (const QString& other : {QStringLiteral("song.opus"), QStringLiteral("song.txt"),
                                 QStringLiteral("mp3"), QStringLiteral("song.mp33")}) {
        touch(*media, other);
    }
    QCOMPARE(sorted(fingerprint::findAudioFiles({media->path()})), sorted(expected));
}

void TestAudioFileDiscovery::subfoldersAreSearchedAtAnyDepth()
{
    QString deep;
    for (int level = 0; level < 40; ++level) {
        deep += QStringLiteral("level%1/").arg(level);
    }
    touch(*media, deep + QStringLiteral("a.ogg"));
    QCOMPARE(fingerprint::findAudioFiles({media->path()}),
             QStringList{media->filePath(deep + QStringLiteral("a.ogg"))});
}

void TestAudioFileDiscovery::subfolderListedBesideItsFolderGivesItsFilesTwice()
{
    touch(*media, QStringLiteral("sub/a.wav"));
    const QString sub = media->filePath(QStringLiteral("sub"));
    const QString file = sub + QStringLiteral("/a.wav");
    QCOMPARE(fingerprint::findAudioFiles({media->path(), sub}), QStringList({file, file}));
    QCOMPARE(fingerprint::findAudioFiles({sub, sub}), QStringList({file, file}));
}

void TestAudioFileDiscovery::hiddenFilesAreNeverListed_data()
{
    QTest::addColumn<QString>("name");
    for (const QString& pattern : fingerprint::audioFileNamePatterns()) {
        const QString name = QStringLiteral(".hidden") + pattern.sliced(1);
        QTest::newRow(qUtf8Printable(name)) << name;
    }
    QTest::newRow("nothing before the dot") << QStringLiteral(".mp3");
    QTest::newRow("in a hidden folder") << QStringLiteral(".hidden/a.mp3");
    QTest::newRow("below a hidden folder") << QStringLiteral("x/.hidden/y/a.mp3");
}

void TestAudioFileDiscovery::hiddenFilesAreNeverListed()
{
    QFETCH(const QString, name);
    touch(*media, name);
    touch(*media, QStringLiteral("seen.mp3"));
    QCOMPARE(fingerprint::findAudioFiles({media->path()}),
             QStringList{media->filePath(QStringLiteral("seen.mp3"))});
}

void TestAudioFileDiscovery::linksToFoldersAreNotFollowedButLinksToFilesAreListed()
{
    touch(*media, QStringLiteral("real/a.mp3"));
    const QString real = media->filePath(QStringLiteral("real"));
    link(real, media->filePath(QStringLiteral("folderlink")));
    link(real, media->filePath(QStringLiteral("folderlink.mp3")));
    link(media->path(), media->filePath(QStringLiteral("real/loop")));
    link(real + QStringLiteral("/a.mp3"), media->filePath(QStringLiteral("link.mp3")));
    link(QStringLiteral("/nowhere"), media->filePath(QStringLiteral("broken.mp3")));
    QCOMPARE(sorted(fingerprint::findAudioFiles({media->path()})),
             QStringList({media->filePath(QStringLiteral("link.mp3")),
                          media->filePath(QStringLiteral("real/a.mp3"))}));
}

void TestAudioFileDiscovery::foldersAndSpecialFilesWithAudioNamesAreNotListed()
{
    touch(*media, QStringLiteral("album.mp3/a.mp3"));
    QVERIFY(mkfifo(media->filePath(QStringLiteral("pipe.mp3")).toUtf8().constData(), 0600) == 0);
    QCOMPARE(fingerprint::findAudioFiles({media->path()}),
             QStringList{media->filePath(QStringLiteral("album.mp3/a.mp3"))});
}

void TestAudioFileDiscovery::foldersAreListedInTheGivenOrder()
{
    touch(*media, QStringLiteral("b/1.mp3"));
    touch(*media, QStringLiteral("a/2.mp3"));
    touch(*media, QStringLiteral("c/3.mp3"));
    const QStringList files = {media->filePath(QStringLiteral("b/1.mp3")),
                               media->filePath(QStringLiteral("a/2.mp3")),
                               media->filePath(QStringLiteral("c/3.mp3"))};
    QCOMPARE(fingerprint::findAudioFiles({media->filePath(QStringLiteral("b")),
                                          media->filePath(QStringLiteral("a")),
                                          media->filePath(QStringLiteral("c"))}),
             files);
}

void TestAudioFileDiscovery::unusualNamesSurvive()
{
    const QStringList names = {
        QStringLiteral(" spaces  in it .mp3"),
        QStringLiteral("\"quotes' and `these`.mp3"),
        QStringLiteral("emoji \U0001F3B5\U0001F469\U0000200D\U0001F3A4.mp3"),
        QStringLiteral("\u0627\u063A\u0646\u064A\u0629 \u05E9\u05D9\u05E8.mp3"),
        QStringLiteral("combining e\u0301\u0323 and \u00E9.mp3"),
        QStringLiteral("line\nbreak.mp3"),
        QStringLiteral("-leading dash.mp3"),
        QString(251, u'x') + QStringLiteral(".mp3"),
        QStringLiteral("50% *?[a-z]\\.mp3"),
    };
    QStringList expected;
    for (const QString& name : names) {
        touch(*media, name);
        expected.append(media->filePath(name));
    }
    QCOMPARE(sorted(fingerprint::findAudioFiles({media->path()})), sorted(expected));
}

void TestAudioFileDiscovery::aNameThatIsNotUtf8HidesNothingElse_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("a byte that UTF-8 has not") << QByteArray("\xFF\xFE.mp3");
    QTest::newRow("Latin-1") << QByteArray("Caf\xE9.mp3");
    QTest::newRow("cut off") << QByteArray("x.mp3\xE2\x82");
    QTest::newRow("longer than need be") << QByteArray("\xC0\xAEx.mp3");
    QTest::newRow("half of a surrogate pair") << QByteArray("\xED\xA0\x80.mp3");
    QTest::newRow("beyond the last character") << QByteArray("\xF4\x90\x80\x80.mp3");
}

void TestAudioFileDiscovery::aNameThatIsNotUtf8HidesNothingElse()
{
    QFETCH(const QByteArray, name);
    QStringList expected;
    for (const char* path : {"a.mp3", "b.mp3", "zz.mp3", "sub/c.mp3", "sub/d.mp3"}) {
        touch(*media, QString::fromLatin1(path));
        expected.append(media->filePath(QString::fromLatin1(path)));
    }
    // A file of that name, and in the other folder a folder of it.
    const QByteArray root = QFile::encodeName(media->path()) + '/';
    QVERIFY(mknod((root + name).constData(), S_IFREG | 0600, 0) == 0);
    QVERIFY(mkdir((root + "sub/" + name).constData(), 0700) == 0);
    QVERIFY(mknod((root + "sub/" + name + "/lost.mp3").constData(), S_IFREG | 0600, 0) == 0);
    QCOMPARE(sorted(fingerprint::findAudioFiles({media->path()})), sorted(expected));
}

void TestAudioFileDiscovery::hostileTreeIsListedAsThePlainIteratorDoes()
{
    const QStringList folders = {QStringLiteral("."),          QStringLiteral("a"),
                                 QStringLiteral("a/.b"),       QStringLiteral("a/.b/c"),
                                 QStringLiteral("d.mp3"),      QStringLiteral("line\nbreak"),
                                 QStringLiteral("...dots..."), QStringLiteral(" ")};
    // Letters that fold to others; some fold to two, which no wildcard takes for one.
    const QStringList names = {
        QStringLiteral("x.mp3"),
        QStringLiteral("X.MP3"),
        QStringLiteral(".x.mp3"),
        QStringLiteral("x.mp3\n"),
        QStringLiteral("x\n.mp3"),
        QStringLiteral("\n.mp3"),
        QStringLiteral("x.mp3."),
        QStringLiteral("x..mp3"),
        QStringLiteral("x.mp3.txt"),
        QStringLiteral("x.txt.mp3"),
        QStringLiteral(".mp3"),
        QStringLiteral("mp3"),
        QStringLiteral("x.m\u212Av"),
        QStringLiteral("x.m\u212A\u017F"),
        QStringLiteral("x.\u017Fw"),
        QStringLiteral("x.\uFB02ac"),
        QStringLiteral("x.\uFB02v"),
        QStringLiteral("x.av\u0131"),
        QStringLiteral("x.av\u0130"),
        QStringLiteral("x.\uFF4D\uFF50\uFF13"),
        QStringLiteral("x.mp\u0663"),
        QStringLiteral("x.mp\u00B3"),
        QStringLiteral("x.mp3\u0301"),
        QStringLiteral("\u0301.mp3"),
        QStringLiteral("x.sb"),
        QStringLiteral("x.\u00DFb"),
        QString(251, u'y') + QStringLiteral(".WMA"),
    };
    for (const QString& folder : folders) {
        for (const QString& name : names) {
            touch(*media, folder + u'/' + name);
        }
        const QString path = media->filePath(folder) + u'/';
        mkfifo((path + QStringLiteral("fifo.mp3")).toUtf8().constData(), 0600);
        link(QStringLiteral("/nowhere"), path + QStringLiteral("broken.mp3"));
        link(QStringLiteral("self.mp3"), path + QStringLiteral("self.mp3"));
        link(media->path(), path + QStringLiteral("loop.mp3"));
        link(QStringLiteral("/dev/null"), path + QStringLiteral("device.mp3"));
        link(QStringLiteral("x.mp3"), path + QStringLiteral("file.ogg"));
    }
    const QStringList roots = {media->path(),
                               media->path() + QStringLiteral("/a/.b/"),
                               media->path() + QStringLiteral("//a/../a"),
                               media->path() + QStringLiteral("/loop.mp3"),
                               media->path() + QStringLiteral("/x.mp3"),
                               QString()};
    const QStringList expected = support::plainListing(roots);
    QVERIFY(expected.size() > 100);
    QCOMPARE(fingerprint::findAudioFiles(roots), expected);
}

void TestAudioFileDiscovery::requestedStopGivesNothing()
{
    touch(*media, QStringLiteral("a.mp3"));
    stopSource.request_stop();
    QCOMPARE(fingerprint::findAudioFiles({media->path()}, stopSource.get_token()), QStringList());
    QCOMPARE(entriesRead.load(), 0);
}

void TestAudioFileDiscovery::stopIsAnsweredAmongFilesThatMatchNothing()
{
    constexpr int kFiles = 2000;
    for (int i = 0; i < kFiles; ++i) {
        touch(*media, QStringLiteral("%1.txt").arg(i));
    }
    fingerprint::findAudioFiles({media->path()}, stopSource.get_token());
    QVERIFY2(entriesRead >= kFiles, "the entries of a folder are not counted");
    entriesRead = 0;
    stopAtEntry = 500;
    fingerprint::findAudioFiles({media->path(), media->path()}, stopSource.get_token());
    QVERIFY2(entriesRead < 510, qPrintable(QString::number(entriesRead)));
}

void TestAudioFileDiscovery::stopIsAnsweredAmongEmptyFolders()
{
    for (int i = 0; i < 1000; ++i) {
        media->filePath(QStringLiteral("%1/x").arg(i));
    }
    stopAtEntry = 500;
    fingerprint::findAudioFiles({media->path()}, stopSource.get_token());
    QVERIFY2(entriesRead < 510, qPrintable(QString::number(entriesRead)));
}

QTEST_GUILESS_MAIN(TestAudioFileDiscovery)
#include "tst_audiofilediscovery.moc"
