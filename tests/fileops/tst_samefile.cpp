#include "fileops/keptfiles.h"
#include "fileops/samefile.h"

#include "filefixture.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

#include <sys/mount.h>
#include <unistd.h>

using filefixture::write;

namespace {

bool hardLink(const QString& path, const QString& name)
{
    return ::link(QFile::encodeName(path).constData(), QFile::encodeName(name).constData()) == 0;
}

} // namespace

/** Which paths lead to one and the same file, and which rows must not be ticked therefore. */
class SameFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup()
    {
        m_directory.reset();
    }

    void twoFilesWithTheSameContentAreTwo();
    void symbolicLinkIsTheFileItPointsTo();
    void fileInALinkedFolderIsTheSame();
    void folderMountedTwiceHoldsTheSameFiles();
    void hardLinksAreFilesOfTheirOwn();
    void symbolicLinkToAHardLinkIsThatLink();
    void missingFileIsTheSameAsNothing();

    void fileWithoutASecondNameIsNeverHeldBack();
    void otherNameOfTheReferenceIsHeldBack();
    void hardLinkOfTheReferenceIsNotHeldBack();
    void alikeFilesInALinkedFolderAreNotAllOffered();
    void everyNameInOneGroupLeavesOneFile();
    void referenceListedUnderItsOwnNameIsNotAnotherName();

private:
    QString path(const QString& name) const
    {
        return m_directory->filePath(name);
    }
    /** Asks in the order of rows and returns the paths that may be ticked. */
    static QStringList offered(const QList<std::pair<QString, QStringList>>& lists);

    std::unique_ptr<QTemporaryDir> m_directory;
};

void SameFileTest::init()
{
    m_directory = std::make_unique<QTemporaryDir>();
    QVERIFY(QDir(m_directory->path()).mkpath(u"music"_qs));
    QVERIFY(write(path(u"music/x.mp3"_qs), "x"));
    QVERIFY(write(path(u"music/y.mp3"_qs), "x"));
    QVERIFY(QFile::link(path(u"music"_qs), path(u"linked"_qs)));
}

QStringList SameFileTest::offered(const QList<std::pair<QString, QStringList>>& lists)
{
    fileops::KeptFiles kept;
    QStringList result;
    for (const auto& [reference, duplicates] : lists) {
        for (const QString& duplicate : duplicates) {
            if (kept.otherNameOf(reference, duplicate).isEmpty()) {
                result.append(duplicate);
            }
        }
    }
    return result;
}

void SameFileTest::twoFilesWithTheSameContentAreTwo()
{
    QVERIFY(!fileops::isSameFile(path(u"music/x.mp3"_qs), path(u"music/y.mp3"_qs)));
}

void SameFileTest::symbolicLinkIsTheFileItPointsTo()
{
    QVERIFY(QFile::link(path(u"music/x.mp3"_qs), path(u"link.mp3"_qs)));
    QVERIFY(fileops::isSameFile(path(u"music/x.mp3"_qs), path(u"link.mp3"_qs)));
    QVERIFY(fileops::isSameFile(path(u"link.mp3"_qs), path(u"music/x.mp3"_qs)));
    QVERIFY(!fileops::isSameFile(path(u"music/y.mp3"_qs), path(u"link.mp3"_qs)));
}

void SameFileTest::fileInALinkedFolderIsTheSame()
{
    QVERIFY(fileops::isSameFile(path(u"music/x.mp3"_qs), path(u"linked/x.mp3"_qs)));
    QVERIFY(fileops::isSameFile(path(u"music/x.mp3"_qs), path(u"music/../linked/./x.mp3"_qs)));
}

void SameFileTest::folderMountedTwiceHoldsTheSameFiles()
{
    const filefixture::SecondFileSystem other; // its mounts are private to this process
    QVERIFY(QDir().mkpath(path(u"mounted"_qs)));
    const QByteArray mountPoint = QFile::encodeName(path(u"mounted"_qs));
    if (::mount(QFile::encodeName(path(u"music"_qs)).constData(), mountPoint.constData(), nullptr,
                MS_BIND, nullptr) != 0) {
        QSKIP("mounting is not allowed here");
    }
    const bool same = fileops::isSameFile(path(u"music/x.mp3"_qs), path(u"mounted/x.mp3"_qs));
    QCOMPARE(::umount2(mountPoint.constData(), MNT_DETACH), 0);
    QVERIFY(same);
}

void SameFileTest::hardLinksAreFilesOfTheirOwn()
{
    QVERIFY(hardLink(path(u"music/x.mp3"_qs), path(u"hard.mp3"_qs)));
    QVERIFY(!fileops::isSameFile(path(u"music/x.mp3"_qs), path(u"hard.mp3"_qs)));
    QVERIFY(fileops::isSameFile(path(u"music/x.mp3"_qs), path(u"linked/x.mp3"_qs)));
}

void SameFileTest::symbolicLinkToAHardLinkIsThatLink()
{
    QVERIFY(hardLink(path(u"music/x.mp3"_qs), path(u"hard.mp3"_qs)));
    QVERIFY(QFile::link(path(u"hard.mp3"_qs), path(u"soft.mp3"_qs)));
    QVERIFY(fileops::isSameFile(path(u"hard.mp3"_qs), path(u"soft.mp3"_qs)));
    QVERIFY(!fileops::isSameFile(path(u"music/x.mp3"_qs), path(u"soft.mp3"_qs)));
}

void SameFileTest::missingFileIsTheSameAsNothing()
{
    QVERIFY(!fileops::isSameFile(path(u"absent"_qs), path(u"absent"_qs)));
    QVERIFY(!fileops::isSameFile(QString(), QString()));
    QVERIFY(QFile::link(path(u"absent"_qs), path(u"dead.mp3"_qs)));
    QVERIFY(!fileops::isSameFile(path(u"dead.mp3"_qs), path(u"dead.mp3"_qs)));
}

void SameFileTest::fileWithoutASecondNameIsNeverHeldBack()
{
    QVERIFY(write(path(u"z.mp3"_qs), "x"));
    const QString x = path(u"music/x.mp3"_qs);
    const QString y = path(u"music/y.mp3"_qs);
    const QString z = path(u"z.mp3"_qs);
    QCOMPARE(offered({{x, {y, z}}, {y, {z}}}), QStringList({y, z, z}));
}

void SameFileTest::otherNameOfTheReferenceIsHeldBack()
{
    QVERIFY(QFile::link(path(u"music/x.mp3"_qs), path(u"link.mp3"_qs)));
    fileops::KeptFiles kept;
    QCOMPARE(kept.otherNameOf(path(u"music/x.mp3"_qs), path(u"link.mp3"_qs)),
             path(u"music/x.mp3"_qs));
    QCOMPARE(kept.otherNameOf(path(u"music/x.mp3"_qs), path(u"linked/x.mp3"_qs)),
             path(u"music/x.mp3"_qs));
    QCOMPARE(kept.otherNameOf(path(u"music/x.mp3"_qs), path(u"music/y.mp3"_qs)), QString());
    QCOMPARE(kept.otherNameOf(path(u"music/x.mp3"_qs), path(u"absent"_qs)), QString());
}

void SameFileTest::hardLinkOfTheReferenceIsNotHeldBack()
{
    QVERIFY(hardLink(path(u"music/x.mp3"_qs), path(u"hard.mp3"_qs)));
    fileops::KeptFiles kept;
    QCOMPARE(kept.otherNameOf(path(u"music/x.mp3"_qs), path(u"hard.mp3"_qs)), QString());
}

void SameFileTest::alikeFilesInALinkedFolderAreNotAllOffered()
{
    // The folder in one group, a link to it in the other: x and y are alike under all their names.
    const QString x = path(u"music/x.mp3"_qs);
    const QString y = path(u"music/y.mp3"_qs);
    const QString linkedX = path(u"linked/x.mp3"_qs);
    const QString linkedY = path(u"linked/y.mp3"_qs);
    QCOMPARE(offered({{x, {linkedX, linkedY}}, {y, {linkedX, linkedY}}}), QStringList(linkedY));

    fileops::KeptFiles kept;
    kept.otherNameOf(x, linkedX);
    kept.otherNameOf(x, linkedY);
    QCOMPARE(kept.otherNameOf(y, linkedX), x);
}

void SameFileTest::everyNameInOneGroupLeavesOneFile()
{
    const QString x = path(u"music/x.mp3"_qs);
    const QString y = path(u"music/y.mp3"_qs);
    const QString linkedX = path(u"linked/x.mp3"_qs);
    const QString linkedY = path(u"linked/y.mp3"_qs);
    const QStringList ticked = offered({{linkedX, {linkedY, x, y}}, {linkedY, {x, y}}, {x, {y}}});
    QVERIFY(!ticked.isEmpty());
    for (const QString& each : ticked) {
        QFile::remove(each);
    }
    QCOMPARE(filefixture::entries(path(u"music"_qs)).size(), 1);
}

void SameFileTest::referenceListedUnderItsOwnNameIsNotAnotherName()
{
    QVERIFY(write(path(u"z.mp3"_qs), "x"));
    const QString x = path(u"music/x.mp3"_qs);
    const QString y = path(u"music/y.mp3"_qs);
    const QString z = path(u"z.mp3"_qs);
    QCOMPARE(offered({{x, {y}}, {z, {x}}}), QStringList({y, x}));
}

QTEST_GUILESS_MAIN(SameFileTest)
#include "tst_samefile.moc"
