#include "fileops/newfile.h"

#include "filefixture.h"

#include <QFile>
#include <QTest>

#include <fcntl.h>
#include <memory>
#include <unistd.h>

using namespace Qt::StringLiterals;

using filefixture::entries;
using filefixture::read;
using filefixture::write;

/** Files that must not have existed before, and that go again unless they are kept. */
class NewFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_directory = std::make_unique<filefixture::OpenFolder>();
    }
    void cleanup()
    {
        m_directory.reset();
    }

    void takenNameIsNeitherOpenedNorRemoved();
    void linkToAFileIsATakenName();
    void fileGoesUnlessItIsKept();
    void fileThatTookTheNameIsNotRemoved();
    void incompleteFileIsItsOwnersOnly();
    void unnamedFileIsSeenOnceItHasAName();
    void unnamedFileTakesNoNameThatIsTaken();
    void descriptorIsClosedOnce();

private:
    fileops::NameIn name() const
    {
        return {AT_FDCWD, QFile::encodeName(m_directory->filePath(u"new"_s))};
    }
    std::unique_ptr<filefixture::OpenFolder> m_directory;
};

void NewFileTest::takenNameIsNeitherOpenedNorRemoved()
{
    QVERIFY(write(m_directory->filePath(u"new"_s), "old"));
    {
        const fileops::NewFile file(name());
        QVERIFY(!file.isOpen());
    }
    QCOMPARE(read(m_directory->filePath(u"new"_s)), "old");
}

void NewFileTest::linkToAFileIsATakenName()
{
    QVERIFY(QFile::link(m_directory->filePath(u"absent"_s), m_directory->filePath(u"new"_s)));
    {
        const fileops::NewFile file(name());
        QVERIFY(!file.isOpen());
    }
    QCOMPARE(entries(m_directory->path()), QStringList(u"new"_s));
}

void NewFileTest::fileGoesUnlessItIsKept()
{
    {
        const fileops::NewFile file(name());
        QVERIFY(file.isOpen());
        QCOMPARE(entries(m_directory->path()), QStringList(u"new"_s));
    }
    QCOMPARE(entries(m_directory->path()), QStringList());
    {
        fileops::NewFile file(name());
        QVERIFY(file.close());
        file.keep();
    }
    QCOMPARE(entries(m_directory->path()), QStringList(u"new"_s));
}

void NewFileTest::fileThatTookTheNameIsNotRemoved()
{
    {
        const fileops::NewFile file(name());
        QVERIFY(file.isOpen());
        QVERIFY(write(m_directory->filePath(u"other"_s), "foreign"));
        QCOMPARE(::rename(QFile::encodeName(m_directory->filePath(u"other"_s)).constData(),
                          name().name.constData()),
                 0);
    }
    QCOMPARE(read(m_directory->filePath(u"new"_s)), "foreign");
}

void NewFileTest::incompleteFileIsItsOwnersOnly()
{
    const fileops::NewFile file(name());
    QCOMPARE(file.status().st_mode & 07777U, 0600U);
}

void NewFileTest::unnamedFileIsSeenOnceItHasAName()
{
    const fileops::FileDescriptor directory(
        ::open(QFile::encodeName(m_directory->path()).constData(), O_PATH | O_DIRECTORY));
    for (const bool kept : {false, true}) {
        {
            fileops::NewFile file(fileops::NewFile::Unnamed{directory.get()});
            if (file.isUnsupported()) {
                QSKIP("no files without a name here");
            }
            QVERIFY(file.isOpen());
            QCOMPARE(entries(m_directory->path()), QStringList());
            QCOMPARE(file.giveName({directory.get(), "new"}), fileops::RenameOutcome::Done);
            QCOMPARE(entries(m_directory->path()), QStringList(u"new"_s));
            if (kept) {
                file.keep();
            }
        }
        QCOMPARE(entries(m_directory->path()), kept ? QStringList(u"new"_s) : QStringList());
    }
}

void NewFileTest::unnamedFileTakesNoNameThatIsTaken()
{
    QVERIFY(write(m_directory->filePath(u"new"_s), "old"));
    const fileops::FileDescriptor directory(
        ::open(QFile::encodeName(m_directory->path()).constData(), O_PATH | O_DIRECTORY));
    {
        fileops::NewFile file(fileops::NewFile::Unnamed{directory.get()});
        if (file.isUnsupported() || !file.isOpen()) {
            QSKIP("no files without a name here");
        }
        QCOMPARE(file.giveName(name()), fileops::RenameOutcome::Refused);
    }
    QCOMPARE(read(m_directory->filePath(u"new"_s)), "old");
}

void NewFileTest::descriptorIsClosedOnce()
{
    const fileops::FileDescriptor other(
        ::open(QFile::encodeName(m_directory->path()).constData(), O_PATH | O_DIRECTORY));
    const int number = ::dup(other.get());
    QVERIFY(number >= 0);
    {
        fileops::FileDescriptor descriptor(number);
        QVERIFY(descriptor.isOpen());
        QVERIFY(descriptor.close());
        QVERIFY(!descriptor.isOpen());
        // The system gives the number to the next file that is opened.
        QCOMPARE(::dup2(other.get(), number), number);
        QVERIFY(descriptor.close());
    }
    QVERIFY(::fcntl(number, F_GETFD) != -1);
    QCOMPARE(::close(number), 0);
}

QTEST_GUILESS_MAIN(NewFileTest)
#include "tst_newfile.moc"
