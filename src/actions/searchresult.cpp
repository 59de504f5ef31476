#include "actions/searchresult.h"

#include "actions/actionerror.h"
#include "fileops/usablepath.h"

#include <QCryptographicHash>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace actions {

namespace {

/** The version of the result that has sizes, times, and whether files were read whole. */
constexpr qint64 kVersion = 2;
/** 2^53: beyond it JSON's numbers have gaps. */
constexpr qint64 kLargestNumber = qint64{1} << 53;

[[noreturn]] void refuse(const QString& place, const QString& expected)
{
    throw ActionError{QStringLiteral("The result is damaged: %1 is not %2.").arg(place, expected)};
}

/** An object of the document that reports where it is. */
class Object
{
public:
    Object(const QJsonValue& value, QString place)
        : m_object(value.toObject())
        , m_place(std::move(place))
    {
        if (!value.isObject()) {
            refuse(m_place, QStringLiteral("an object"));
        }
    }

    QString placeOf(const QString& key) const
    {
        return m_place.isEmpty() ? key : m_place + QLatin1Char('.') + key;
    }

    qint64 number(const QString& key, qint64 least, qint64 most = kLargestNumber) const
    {
        const qint64 number = m_object.value(key).toInteger(least - 1);
        if (number < least || number > most) {
            refuse(placeOf(key),
                   QStringLiteral("a whole number from %1 to %2").arg(least).arg(most));
        }
        return number;
    }

    bool flag(const QString& key) const
    {
        if (!m_object.value(key).isBool()) {
            refuse(placeOf(key), QStringLiteral("true or false"));
        }
        return m_object.value(key).toBool();
    }

    QString path(const QString& key) const
    {
        return requirePath(m_object.value(key), placeOf(key));
    }

    QJsonArray list(const QString& key) const
    {
        if (!m_object.value(key).isArray()) {
            refuse(placeOf(key), QStringLiteral("a list"));
        }
        return m_object.value(key).toArray();
    }

    QStringList paths(const QString& key) const
    {
        QStringList paths;
        for (const QJsonValue path : list(key)) {
            paths.append(requirePath(path, placeOf(key)));
        }
        return paths;
    }

    QJsonValue value(const QString& key) const
    {
        return m_object.value(key);
    }

private:
    static QString requirePath(const QJsonValue& value, const QString& place)
    {
        if (!isPlainPath(value.toString())) {
            refuse(place, QStringLiteral("an absolute path"));
        }
        return value.toString();
    }

    QJsonObject m_object;
    QString m_place;
};

QString entry(const QString& list, qsizetype index)
{
    return QStringLiteral("%1[%2]").arg(list).arg(index);
}

/** The shorter one of two lengths, of which negative ones are not known. */
qint64 shorterKnown(qint64 first, qint64 second)
{
    return first < 0 || second < 0 ? std::max(first, second) : std::min(first, second);
}

ResultFile readFile(const Object& object)
{
    ResultFile file;
    file.path = object.path(QStringLiteral("path"));
    file.sizeBytes = object.number(QStringLiteral("sizeBytes"), 0);
    file.modifiedMs = object.number(QStringLiteral("modifiedMs"), -kLargestNumber);
    // A file may state any length, a negative one as well.
    file.durationMs = shorterKnown(object.number(QStringLiteral("durationMs"), -kLargestNumber),
                                   object.number(QStringLiteral("decodedMs"), -kLargestNumber));
    file.isPartial = object.flag(QStringLiteral("partial"));
    file.isFeatureless = object.flag(QStringLiteral("featureless"));
    return file;
}

/** Collects the groups; a file that is listed several times becomes one duplicate. */
class Groups
{
public:
    explicit Groups(SearchResult& result)
        : m_result(result)
    {
    }

    void add(const Object& group)
    {
        const ResultFile reference = readFile(Object(group.value(QStringLiteral("reference")),
                                                     group.placeOf(QStringLiteral("reference"))));
        m_result.references.insert(reference.path, reference);
        const QString name = QStringLiteral("duplicates");
        const QJsonArray duplicates = group.list(name);
        for (qsizetype i = 0; i < duplicates.size(); ++i) {
            const Object duplicate(duplicates.at(i), group.placeOf(entry(name, i)));
            const auto similarity =
                static_cast<int>(duplicate.number(QStringLiteral("similarity"), 0, 100));
            add(readFile(duplicate), {reference.path, similarity});
        }
    }

private:
    void add(const ResultFile& file, const Resemblance& resemblance)
    {
        const auto known = m_indices.constFind(file.path);
        if (known != m_indices.cend()) {
            m_result.duplicates[*known].resemblances.append(resemblance);
            return;
        }
        m_indices.insert(file.path, m_result.duplicates.size());
        m_result.duplicates.append({file, {resemblance}});
    }

    SearchResult& m_result;
    QHash<QString, qsizetype> m_indices;
};

void requireVersion(const Object& head)
{
    const qint64 version = head.value(QStringLiteral("version")).toInteger(0);
    if (version != kVersion) {
        throw ActionError{QStringLiteral("This is not the result of a search with --format json of "
                                         "this version of quorvel-cli. Search again.")};
    }
}

} // namespace

bool isPlainPath(const QString& path)
{
    return fileops::isUsable(path) && path.startsWith(QLatin1Char('/')) &&
           QDir::cleanPath(path) == path;
}

SearchResult readSearchResult(const QByteArray& json)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        throw ActionError{QStringLiteral("The result is not a JSON object: %1, at byte %2.")
                              .arg(error.errorString())
                              .arg(error.offset)};
    }
    const Object head(document.object(), QString());
    requireVersion(head);
    SearchResult result;
    result.hash = QCryptographicHash::hash(json, QCryptographicHash::Sha256).toHex();
    result.searchedFolders = head.paths(QStringLiteral("folders"));
    if (!head.value(QStringLiteral("against")).isUndefined()) {
        result.searchedFolders += head.paths(QStringLiteral("against"));
    }
    if (result.searchedFolders.isEmpty()) {
        refuse(QStringLiteral("folders"), QStringLiteral("a list of the folders searched"));
    }
    Groups groups(result);
    const QString name = QStringLiteral("groups");
    const QJsonArray list = head.list(name);
    for (qsizetype i = 0; i < list.size(); ++i) {
        groups.add(Object(list.at(i), entry(name, i)));
    }
    return result;
}

} // namespace actions
