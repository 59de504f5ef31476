#include "fileops/exclusiverename.h"

#include "filefixture.h"

#include <QFile>
#include <QTest>

#include <fcntl.h>
#include <memory>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

using filefixture::entries;
using filefixture::read;
using filefixture::write;

/** The last step of a move, when both names exist: which of them is removed. */
class ExclusiveRenameTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup()
    {
        m_directory.reset();
    }

    void sourceGoesWhenItCan();
    void destinationStaysWhenTheSourceHasVanished();
    void sourceThatWasReplacedStaysAndTheCopyGoes();
    void destinationThatWasReplacedIsNotTouched();
    void nameIsThatOfItsOwnFileOnly();

private:
    fileops::NameIn name(const QString& fileName) const
    {
        return {AT_FDCWD, QFile::encodeName(m_directory->filePath(fileName))};
    }
    struct stat status(const QString& fileName) const
    {
        struct stat file = {};
        ::lstat(name(fileName).name.constData(), &file);
        return file;
    }
    bool finishMove() const
    {
        return fileops::finishMove(name(u"a"_s), m_source, name(u"b"_s), m_destination);
    }

    std::unique_ptr<filefixture::OpenFolder> m_directory;
    struct stat m_source = {};
    struct stat m_destination = {};
};

void ExclusiveRenameTest::init()
{
    m_directory = std::make_unique<filefixture::OpenFolder>();
    QVERIFY(write(m_directory->filePath(u"a"_s), "moved"));
    QVERIFY(write(m_directory->filePath(u"b"_s), "moved"));
    m_source = status(u"a"_s);
    m_destination = status(u"b"_s);
}

void ExclusiveRenameTest::sourceGoesWhenItCan()
{
    QVERIFY(finishMove());
    QCOMPARE(entries(m_directory->path()), QStringList(u"b"_s));
}

void ExclusiveRenameTest::destinationStaysWhenTheSourceHasVanished()
{
    QVERIFY(QFile::remove(m_directory->filePath(u"a"_s)));
    QVERIFY(finishMove());
    QCOMPARE(entries(m_directory->path()), QStringList(u"b"_s));
}

void ExclusiveRenameTest::sourceThatWasReplacedStaysAndTheCopyGoes()
{
    // As an editor saves: the new content under another name, then renamed over the old.
    QVERIFY(write(m_directory->filePath(u"new"_s), "edited"));
    QCOMPARE(::rename(name(u"new"_s).name.constData(), name(u"a"_s).name.constData()), 0);
    QVERIFY(!finishMove());
    QCOMPARE(entries(m_directory->path()), QStringList(u"a"_s));
    QCOMPARE(read(m_directory->filePath(u"a"_s)), "edited");
}

void ExclusiveRenameTest::destinationThatWasReplacedIsNotTouched()
{
    QVERIFY(write(m_directory->filePath(u"new"_s), "foreign"));
    QCOMPARE(::rename(name(u"new"_s).name.constData(), name(u"b"_s).name.constData()), 0);
    m_source.st_ino += 1'000'000; // so that the source cannot be removed
    QVERIFY(!finishMove());
    QCOMPARE(entries(m_directory->path()), QStringList({u"a"_s, u"b"_s}));
    QCOMPARE(read(m_directory->filePath(u"b"_s)), "foreign");
}

void ExclusiveRenameTest::nameIsThatOfItsOwnFileOnly()
{
    QVERIFY(QFile::link(m_directory->filePath(u"a"_s), m_directory->filePath(u"link"_s)));
    QVERIFY(fileops::isNameOf(name(u"a"_s), m_source));
    QVERIFY(!fileops::isNameOf(name(u"b"_s), m_source));
    QVERIFY(!fileops::isNameOf(name(u"link"_s), m_source));
    QVERIFY(!fileops::isNameOf(name(u"absent"_s), m_source));
    // Two devices use the same inode numbers.
    ++m_source.st_dev;
    QVERIFY(!fileops::isNameOf(name(u"a"_s), m_source));
}

QTEST_GUILESS_MAIN(ExclusiveRenameTest)
#include "tst_exclusiverename.moc"
