#include "fingerprint/audiofilediscovery.h"
#include "support/media.h"

#include <QDir>
#include <QFile>
#include <QSet>
#include <QTest>

#include <dirent.h>
#include <dlfcn.h>
#include <unistd.h>

#include <functional>

using testmedia::MediaFolder;

namespace {

/** How many directory entries were read, and what is to happen before one of them. */
int entriesRead = 0;
int actionAtEntry = -1;
std::function<void()> action;

} // namespace

/** The C library's function: the only place between two entries of a listing that is under way. */
extern "C" dirent64* readdir64(DIR* directory)
{
    using Function = dirent64* (*)(DIR*);
    static const auto original = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "readdir64"));
    if (++entriesRead == actionAtEntry) {
        action();
    }
    return original(directory);
}

/** Folders that change while they are listed, at every moment of the listing. */
class TestChangingFolders : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void listingSurvivesEveryChangeAtEveryMoment_data();
    void listingSurvivesEveryChangeAtEveryMoment();
    void loopOfLinksEndsTheListingAtTheFirstLink();
};

namespace {

constexpr int kFilesPerFolder = 3;

/** What no change touches, and what every change does. */
struct Tree
{
    MediaFolder media;
    QSet<QString> untouched;
    QString root = media.path() + QStringLiteral("/root");
    QString folder = root + QStringLiteral("/middle");

    Tree()
    {
        for (const char* place : {"before", "middle", "middle/below", "zone"}) {
            for (int i = 0; i < kFilesPerFolder; ++i) {
                const QString path = media.write(
                    QStringLiteral("root/%1/%2.mp3").arg(QString::fromLatin1(place)).arg(i), {});
                if (!path.startsWith(folder)) {
                    untouched.insert(path);
                }
            }
        }
    }
};

/** A path beside the tree that does not exist. */
QString elsewhere(const Tree& tree)
{
    return tree.media.path() + QStringLiteral("/elsewhere");
}

void removeFolder(const Tree& tree)
{
    QDir(tree.folder).removeRecursively();
}

void renameFolder(const Tree& tree)
{
    QDir().rename(tree.folder, elsewhere(tree));
}

void replaceByFile(const Tree& tree)
{
    removeFolder(tree);
    QFile file(tree.folder);
    file.open(QFile::WriteOnly);
}

void replaceByLinkToTheRoot(const Tree& tree)
{
    removeFolder(tree);
    QFile::link(tree.root, tree.folder);
}

void addManyFiles(const Tree& tree)
{
    for (int i = 0; i < 200; ++i) {
        tree.media.write(QStringLiteral("root/middle/new%1/new.mp3").arg(i), {});
    }
}

void exchangeFilesForFolders(const Tree& tree)
{
    for (int i = 0; i < kFilesPerFolder; ++i) {
        const QString path = QStringLiteral("%1/%2.mp3").arg(tree.folder).arg(i);
        QFile::remove(path);
        QDir().mkpath(path);
    }
}

using Change = void (*)(const Tree&);

} // namespace

Q_DECLARE_METATYPE(Change)

void TestChangingFolders::listingSurvivesEveryChangeAtEveryMoment_data()
{
    QTest::addColumn<Change>("change");
    QTest::newRow("removed") << &removeFolder;
    QTest::newRow("renamed") << &renameFolder;
    QTest::newRow("replaced by a file") << &replaceByFile;
    QTest::newRow("replaced by a link to the root") << &replaceByLinkToTheRoot;
    QTest::newRow("filled") << &addManyFiles;
    QTest::newRow("files become folders") << &exchangeFilesForFolders;
}

void TestChangingFolders::listingSurvivesEveryChangeAtEveryMoment()
{
    QFETCH(const Change, change);
    bool changed = true;
    for (int moment = 1; changed; ++moment) {
        const Tree tree;
        changed = false;
        entriesRead = 0;
        actionAtEntry = moment;
        action = [&] {
            actionAtEntry = -1; // the change reads folders itself
            changed = true;
            change(tree);
        };
        const QStringList files = fingerprint::findAudioFiles({tree.root});
        actionAtEntry = -1;
        action = nullptr;
        // The last round is that whose moment never came.
        QVERIFY(changed || moment > 20);

        const QSet<QString> listed(files.cbegin(), files.cend());
        QVERIFY2(listed.contains(tree.untouched), qPrintable(files.join(u' ')));
        QCOMPARE(listed.size(), files.size());
        for (const QString& file : files) {
            QVERIFY2(tree.untouched.contains(file) || file.startsWith(tree.folder + u'/'),
                     qPrintable(file));
        }
    }
}

void TestChangingFolders::loopOfLinksEndsTheListingAtTheFirstLink()
{
    const Tree tree;
    const auto link = [&tree](const char* target, const char* name) {
        const QString path = tree.root + u'/' + QString::fromLatin1(name);
        QVERIFY(symlink(target, QFile::encodeName(path).constData()) == 0);
    };
    link(".", "here");
    link("..", "up.mp3");
    link("../middle/below", "zone/down");
    link("../../zone", "middle/below/across");
    // The one loop that is not seen as such: by way of a folder elsewhere that leads back.
    tree.media.write(QStringLiteral("outside/other.mp3"), {});
    link("../../outside", "zone/out");
    const QByteArray back = QFile::encodeName(tree.media.filePath(QStringLiteral("outside/back")));
    QVERIFY(symlink("../root", back.constData()) == 0);
    link("second.mp3", "first.mp3");
    link("first.mp3", "second.mp3");
    entriesRead = 0;
    const QStringList files =
        fingerprint::findAudioFiles({tree.root, tree.root + u'/' + QStringLiteral("here")});
    // Four folders of three files, the second time through the link that was asked for.
    QCOMPARE(files.size(), 2 * 4 * kFilesPerFolder);
    QVERIFY2(entriesRead < 100, qPrintable(QString::number(entriesRead)));
}

QTEST_GUILESS_MAIN(TestChangingFolders)
#include "tst_changingfolders.moc"
