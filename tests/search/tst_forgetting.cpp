#include "search/fingerprintstore.h"
#include "search/forgetting.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <dlfcn.h>
#include <sys/stat.h>

using search::FingerprintStore;

namespace {

/** The path of a folder that is on another file system; empty: none. */
QByteArray mounted;
/** The path of a folder that may not be looked into; empty: none. */
QByteArray locked;

bool isBelow(const QByteArray& path, const QByteArray& folder)
{
    return !folder.isEmpty() && (path == folder || path.startsWith(folder + '/'));
}

using Stat = int(const char*, struct stat*);

} // namespace

extern "C" {

int stat(const char* path, struct stat* status) noexcept
{
    static auto* const original = reinterpret_cast<Stat*>(dlsym(RTLD_NEXT, "stat"));
    const int result = original(path, status);
    if (result == 0 && isBelow(path, mounted)) {
        ++status->st_dev;
    }
    return result;
}

int lstat(const char* path, struct stat* status) noexcept
{
    static auto* const original = reinterpret_cast<Stat*>(dlsym(RTLD_NEXT, "lstat"));
    if (isBelow(path, locked) && path != locked) {
        errno = EACCES;
        return -1;
    }
    return original(path, status);
}

} // extern "C"

/** Which files --forget takes out of the store, and which it must not. */
class TestForgetting : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup();
    void onlyFilesThatAreSurelyGoneAreTakenOut_data();
    void onlyFilesThatAreSurelyGoneAreTakenOut();
    void folderThatIsALinkIsTheOneThatItLeadsTo();
    void storeThatFailsKeepsAll();
};

namespace {

QStringList words(const QString& text)
{
    return text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

QStringList below(const QString& folder, const QStringList& names)
{
    QStringList paths;
    for (const QString& name : names) {
        paths.append(folder + QLatin1Char('/') + name);
    }
    return paths;
}

void makeFile(const QString& path)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
}

/** Makes the files at \a paths and saves them. */
void keep(FingerprintStore& store, const QStringList& paths)
{
    QList<search::StoredFile> files;
    for (const QString& path : paths) {
        makeFile(path);
        files.append({path, {}, {path, {1, 2, 3}, 1000, 44100, 2}, {}});
    }
    store.save(files);
}

/** The paths below \a folder that are kept, from there on. */
QString kept(FingerprintStore& store, const QString& folder)
{
    QStringList paths = store.pathsBelow(folder);
    for (QString& path : paths) {
        path.remove(0, folder.size() + 1);
    }
    paths.sort();
    return paths.join(QLatin1Char(' '));
}

} // namespace

void TestForgetting::cleanup()
{
    mounted.clear();
    locked.clear();
}

void TestForgetting::onlyFilesThatAreSurelyGoneAreTakenOut_data()
{
    QTest::addColumn<QString>("searched"); // a folder
    QTest::addColumn<QString>("listed");   // files that exist and are listed
    QTest::addColumn<QString>("others");   // files and folders that exist and are not listed
    QTest::addColumn<QString>("special");  // a folder, and what is special about it
    QTest::addColumn<QString>("gone");     // kept before, and not after
    QTest::addColumn<QString>("kept");     // kept before and after
    const auto row = [](const char* title, const char* searched, const char* listed,
                        const char* others, const char* special, const char* gone,
                        const char* kept) {
        QTest::newRow(title) << QString::fromLatin1(searched) << QString::fromLatin1(listed)
                             << QString::fromLatin1(others) << QString::fromLatin1(special)
                             << QString::fromLatin1(gone) << QString::fromLatin1(kept);
    };
    row("file beside another", "m", "m/a/1", "", "", "m/a/2", "m/a/1");
    row("file above others", "m", "m/a/1", "", "", "m/2", "m/a/1");
    row("folder", "m", "m/1", "", "", "m/a/2 m/a/b/3", "m/1");
    row("names that look like patterns", "m", "m/1", "", "", "m/%_*?[a]'\"", "m/1");
    row("file that exists and is not listed", "m", "m/1", "m/2", "", "", "m/1 m/2");
    row("link to nothing", "m", "m/1", "m/2@", "", "", "m/1 m/2");
    row("not below the searched folder", "m", "m/1", "", "", "", "m/1 n/1 m0/1 mm/1");
    row("searched folder is empty", "m", "", "m/", "", "", "m/1 m/a/2");
    row("searched folder has no listed file", "m", "", "m/x", "", "", "m/1 m/a/2");
    row("folder is empty", "m", "m/1", "m/disk/", "", "", "m/1 m/disk/2 m/disk/a/3");
    row("folder between others and an empty one", "m", "m/1", "m/a/disk/", "", "m/b/2",
        "m/1 m/a/disk/2");
    row("only other disks beside", "m", "m/disk/1", "", "m/disk mounted", "", "m/disk/1 m/gone/2");
    row("on a disk that is mounted", "m", "m/disk/a/1", "", "m/disk mounted", "m/disk/2 m/disk/b/3",
        "m/disk/a/1");
    row("beside a mounted disk", "m", "m/1 m/disk/1", "", "m/disk mounted", "m/2", "m/1 m/disk/1");
    row("folder not listed to its end", "m", "m/a/1", "", "m/a unlisted", "", "m/a/1 m/a/2");
    row("folder that may not be looked into", "m", "m/a/1", "", "m/a locked", "", "m/a/1 m/a/2");
}

void TestForgetting::onlyFilesThatAreSurelyGoneAreTakenOut()
{
    QFETCH(const QString, searched);
    QFETCH(const QString, listed);
    QFETCH(const QString, others);
    QFETCH(const QString, special);
    QFETCH(const QString, gone);
    QFETCH(QString, kept);
    const QTemporaryDir temporary;
    const QString root = QFileInfo(temporary.path()).canonicalFilePath() + QStringLiteral("/root");
    FingerprintStore store(temporary.filePath(QStringLiteral("store.db")));
    keep(store, below(root, words(gone) + words(kept)));
    QVERIFY(QDir(root).removeRecursively());
    const QStringList files = below(root, words(listed));
    for (const QString& path : files) {
        makeFile(path);
    }
    for (QString path : below(root, words(others))) {
        if (path.endsWith(QLatin1Char('/'))) {
            QVERIFY(QDir().mkpath(path));
        } else if (path.endsWith(QLatin1Char('@'))) {
            path.chop(1);
            QVERIFY(QFile::link(QStringLiteral("nowhere"), path));
        } else {
            makeFile(path);
        }
    }
    const QString specialFolder = root + QLatin1Char('/') + special.section(QLatin1Char(' '), 0, 0);
    const QString kind = special.section(QLatin1Char(' '), 1);
    mounted = kind == u"mounted" ? specialFolder.toUtf8() : QByteArray();
    locked = kind == u"locked" ? specialFolder.toUtf8() : QByteArray();
    const QStringList unlisted = kind == u"unlisted" ? QStringList(specialFolder) : QStringList();

    // A folder that is given twice counts once.
    const QStringList folders = below(root, {searched, searched});
    QCOMPARE(search::forgetGone(store, {folders, files, unlisted}), words(gone).size());
    QStringList expected = words(kept);
    expected.sort();
    QCOMPARE(::kept(store, root), expected.join(QLatin1Char(' ')));
    QCOMPARE(search::forgetGone(store, {folders, files, unlisted}), 0);
}

void TestForgetting::folderThatIsALinkIsTheOneThatItLeadsTo()
{
    const QTemporaryDir temporary;
    const QString root = QFileInfo(temporary.path()).canonicalFilePath();
    QVERIFY(QFile::link(root + QStringLiteral("/music"), root + QStringLiteral("/link")));
    FingerprintStore store(root + QStringLiteral("/store.db"));
    keep(store, below(root, {QStringLiteral("music/a/1"), QStringLiteral("music/a/2")}));
    QVERIFY(QFile::remove(root + QStringLiteral("/music/a/2")));
    QCOMPARE(
        search::forgetGone(
            store, {{root + QStringLiteral("/link")}, {root + QStringLiteral("/link/a/1")}, {}}),
        1);
    QCOMPARE(kept(store, root), QStringLiteral("music/a/1"));
}

void TestForgetting::storeThatFailsKeepsAll()
{
    const QTemporaryDir temporary;
    const QString root = QFileInfo(temporary.path()).canonicalFilePath();
    const QStringList files = below(root, {QStringLiteral("m/1")});
    const QString path = root + QStringLiteral("/store.db");
    FingerprintStore store(path, std::chrono::milliseconds(10));
    keep(store, files + below(root, {QStringLiteral("m/2")}));
    QVERIFY(QFile::remove(root + QStringLiteral("/m/2")));
    {
        // Another program that writes keeps this one from it.
        QSqlDatabase database =
            QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("other"));
        database.setDatabaseName(path);
        QVERIFY(database.open());
        QSqlQuery lock(database);
        QVERIFY(lock.exec(QStringLiteral("BEGIN IMMEDIATE")));
        QVERIFY_EXCEPTION_THROWN(
            search::forgetGone(store, {{root + QStringLiteral("/m")}, files, {}}),
            search::StoreError);
    }
    QSqlDatabase::removeDatabase(QStringLiteral("other"));
    QCOMPARE(kept(store, root), QStringLiteral("m/1 m/2"));
}

QTEST_GUILESS_MAIN(TestForgetting)
#include "tst_forgetting.moc"
