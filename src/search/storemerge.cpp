#include "search/storemerge.h"

#include "search/fingerprintstore.h"
#include "search/storeconnection.h"

#include <QFile>
#include <QFileInfo>
#include <QUrl>

#include <algorithm>
#include <sys/stat.h>

namespace search {

namespace {

using namespace Qt::StringLiterals;

/** So many files take some 16 MB, and a moment: between two portions a stop is answered. */
constexpr int kFilesOfAPortion = 2000;

constexpr auto kEndOfPortion =
    "SELECT path FROM part.files WHERE path > ? ORDER BY path LIMIT 1 OFFSET ?";
constexpr auto kListNewer =
    "INSERT INTO temp.taken SELECT theirs.path FROM part.files AS theirs "
    "LEFT JOIN main.files AS ours ON ours.path = theirs.path "
    "WHERE theirs.path > ? AND theirs.path <= ? AND (ours.path IS NULL OR "
    "(theirs.changed_ms, theirs.modified_ms) > (ours.changed_ms, ours.modified_ms))";
// A cross join goes through the short list and finds the files in the long one. A trigger removes
// the facts of what is replaced.
constexpr auto kTakeFiles = "INSERT OR REPLACE INTO main.files SELECT theirs.* FROM temp.taken "
                            "CROSS JOIN part.files AS theirs ON theirs.path = taken.path";
constexpr auto kTakeFacts = "INSERT OR REPLACE INTO main.facts SELECT theirs.* FROM temp.taken "
                            "CROSS JOIN part.facts AS theirs ON theirs.path = taken.path";

bool isSameFile(const QString& first, const QString& second)
{
    struct stat one = {};
    struct stat other = {};
    return ::stat(QFile::encodeName(first).constData(), &one) == 0 &&
           ::stat(QFile::encodeName(second).constData(), &other) == 0 &&
           one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

/** A part, attached to the store's connection for reading, as the database "part". */
class AttachedPart
{
public:
    AttachedPart(StoreConnection& store, const QString& fileName)
        : m_store(store)
    {
        QUrl name = QUrl::fromLocalFile(QFileInfo(fileName).absoluteFilePath());
        name.setQuery(u"mode=ro"_s);
        QSqlQuery attaching = m_store.prepared(u"ATTACH ? AS part"_s);
        m_store.execute(attaching, {QString::fromLatin1(name.toEncoded())});
    }
    ~AttachedPart()
    {
        try {
            m_store.execute(u"DETACH part"_s);
        } catch (const StoreError&) {
            // The next part cannot be attached then, which is an error of its own.
        }
    }
    AttachedPart(const AttachedPart&) = delete;
    AttachedPart& operator=(const AttachedPart&) = delete;

private:
    StoreConnection& m_store;
};

/** One call of mergeStore(), with the part attached. */
class Merging
{
public:
    Merging(StoreConnection& store, const MergeOptions& options)
        : m_store(store)
        , m_options(options)
    {
    }

    std::optional<qsizetype> run()
    {
        m_store.execute(u"PRAGMA temp_store = MEMORY"_s);
        m_store.execute(u"CREATE TEMP TABLE IF NOT EXISTS taken "
                        "(path TEXT NOT NULL PRIMARY KEY) WITHOUT ROWID"_s);
        m_store.execute(u"BEGIN IMMEDIATE"_s);
        try {
            if (!takeAll()) {
                m_store.rollBack();
                return std::nullopt;
            }
            m_store.execute(u"COMMIT"_s);
        } catch (const StoreError&) {
            m_store.rollBack();
            throw;
        }
        return m_takenCount;
    }

private:
    /** Returns false if stopped. */
    bool takeAll()
    {
        const qsizetype all = m_store.value(u"SELECT count(*) FROM part.files"_s).toLongLong();
        const QString last = m_store.value(u"SELECT max(path) FROM part.files"_s).toString();
        QString begin = u""_s;
        for (qsizetype done = 0; done < all; done += kFilesOfAPortion) {
            if (m_options.stop.stop_requested()) {
                return false;
            }
            const QVariant end =
                m_store.value(QString::fromLatin1(kEndOfPortion), {begin, kFilesOfAPortion - 1});
            takeUpTo(begin, end.isNull() ? last : end.toString());
            begin = end.toString();
            if (m_options.progress) {
                m_options.progress(std::min(done + kFilesOfAPortion, all), all);
            }
        }
        return !m_options.stop.stop_requested();
    }

    /** Takes the files behind \a begin up to \a end. */
    void takeUpTo(const QString& begin, const QString& end)
    {
        QSqlQuery listing = m_store.prepared(QString::fromLatin1(kListNewer));
        m_store.execute(listing, {begin, end});
        m_takenCount += listing.numRowsAffected();
        m_store.execute(QString::fromLatin1(kTakeFiles));
        m_store.execute(QString::fromLatin1(kTakeFacts));
        m_store.execute(u"DELETE FROM temp.taken"_s);
    }

    StoreConnection& m_store;
    const MergeOptions& m_options;
    qsizetype m_takenCount = 0;
};

} // namespace

std::optional<qsizetype> mergeStore(FingerprintStore& store, const QString& part,
                                    const MergeOptions& options)
{
    StoreConnection& connection = store.connection();
    if (isSameFile(connection.fileName(), part)) {
        return 0;
    }
    // As long as it is open, the part stays as it was checked.
    const StoreConnection checked(part, StoreConnection::Access::ReadOnly, store.patience());
    checked.beginToRead(StoreConnection::Check::Whole);
    try {
        const AttachedPart attached(connection, part);
        return Merging(connection, options).run();
    } catch (const StoreError& error) {
        throw StoreError(u"%1 is not merged. %2"_s.arg(part, error.message()), error.isBusy());
    }
}

} // namespace search
