#include "search/trustedstore.h"

#include "search/storedpath.h"
#include "search/storedrow.h"

#include <QHash>

#include <utility>

namespace search {

using namespace Qt::StringLiterals;

namespace {

constexpr auto kBelow = "files.path > ? AND files.path < ?";

/** \a folder with a slash at its end. */
QString prefixOf(const QString& folder)
{
    return folder.endsWith(u'/') ? folder : folder + u'/';
}

/** The two names between which all files below the folder are, of which it has the \a prefix. */
QVariantList boundsOf(const QString& prefix)
{
    constexpr char16_t kBehindSlash = u'/' + 1;
    return {prefix, QString(prefix.chopped(1) + QChar(kBehindSlash))};
}

/** A searched folder: the beginnings of its files' names, there and in the store. */
struct Prefixes
{
    explicit Prefixes(const QString& folder)
        : shown(prefixOf(folder))
        , stored(prefixOf(folderWithoutLinks(folder)))
    {
    }

    QString shown;
    QString stored;
};

} // namespace

TrustedStore::TrustedStore(const QString& fileName, std::chrono::milliseconds patience)
    : m_connection(fileName, StoreConnection::Access::ReadOnly, patience)
{
    // A check of the whole file takes as long as reading it. What is read is checked then.
    m_connection.beginToRead(StoreConnection::Check::Tables);
}

bool TrustedStore::hasFilesBelow(const QString& folder) const
{
    return m_connection
        .value(u"SELECT 1 FROM files WHERE "_s + QLatin1String(kBelow) + u" LIMIT 1"_s,
               boundsOf(Prefixes(folder).stored))
        .isValid();
}

fingerprint::Listing TrustedStore::list(const QStringList& folders,
                                        const fingerprint::ListingOptions& options,
                                        const std::stop_token& stop) const
{
    fingerprint::Listing listing;
    QSqlQuery query =
        m_connection.prepared(u"SELECT path FROM files WHERE "_s + QLatin1String(kBelow));
    for (const QString& folder : folders) {
        const Prefixes prefixes(folder);
        m_connection.execute(query, boundsOf(prefixes.stored));
        while (!stop.stop_requested() && m_connection.next(query)) {
            const QString below = query.value(0).toString().mid(prefixes.stored.size());
            switch (fingerprint::treatmentOf(below, options)) {
            case fingerprint::Treatment::Listed:
                listing.files.append(prefixes.shown + below);
                break;
            case fingerprint::Treatment::Noted:
                listing.noted.append(prefixes.shown + below);
                break;
            case fingerprint::Treatment::LeftOut:
                break;
            }
        }
    }
    return listing;
}

Collection TrustedStore::load(const QStringList& folders, const QStringList& files,
                              const std::function<void(const CollectionProgress&)>& progress,
                              const std::stop_token& stop, const DurationRange& durations) const
{
    QHash<QString, qsizetype> missing;
    missing.reserve(files.size());
    for (qsizetype i = 0; i < files.size(); ++i) {
        missing.insert(files.at(i), i);
    }
    Collection collection;
    collection.records.resize(files.size());
    collection.facts.resize(files.size());
    QStringList failures(files.size());
    CollectionProgress done{0, files.size(), 0, 0.0};
    // One statement a folder: a look-up for each of a million files would take minutes. So would
    // reading them in the order of their names, which is not that of the disk.
    QSqlQuery query = m_connection.prepared(selectStoredFiles(
        u"files.rowid IN (SELECT rowid FROM files WHERE "_s + QLatin1String(kBelow) + u')'));
    for (const QString& folder : folders) {
        const Prefixes prefixes(folder);
        m_connection.execute(query, boundsOf(prefixes.stored));
        while (!stop.stop_requested() && m_connection.next(query)) {
            const auto found =
                missing.constFind(prefixes.shown + storedPathIn(query).mid(prefixes.stored.size()));
            if (found == missing.cend()) {
                continue;
            }
            const qsizetype position = *found;
            missing.erase(found);
            if (!isRecordWholeIn(query)) {
                m_connection.failAsDamaged(u"a fingerprint is incomplete"_s);
            }
            StoredFile file = storedFileIn(query, files.at(position));
            if (durations.fitOf(file.record) != DurationRange::Inside) {
                QList<quint32>& words = std::get<1>(file.record);
                words.resize(1);
                words.squeeze();
            }
            collection.records[position] = std::move(file.record);
            collection.facts[position] = std::move(file.facts);
            failures[position] = file.failure;
            ++done.filesDone;
            if (progress) {
                progress(done);
            }
        }
    }
    for (qsizetype i = 0; i < files.size(); ++i) {
        if (!failures.at(i).isNull()) {
            collection.failures.append({files.at(i), failures.at(i)});
        }
    }
    return collection;
}

} // namespace search
