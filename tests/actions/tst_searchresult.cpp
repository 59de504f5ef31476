#include "actions/actionerror.h"
#include "actions/applyrules.h"
#include "actions/searchresult.h"

#include "resultfixture.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using actions::ActionError;
using actions::SearchResult;
using resultfixture::duplicateObject;
using resultfixture::fileObject;
using resultfixture::groupObject;
using resultfixture::with;

namespace {

/** Why \a json is refused; empty if it is not. */
QString refusalOf(const QByteArray& json)
{
    try {
        actions::readSearchResult(json);
        return {};
    } catch (const ActionError& error) {
        return error.message;
    }
}

} // namespace

/** What is read from the result of a search, and what is left alone because of that. */
class SearchResultTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void fileThatIsListedTwiceIsOneDuplicate();
    void wrongValueIsRefusedWithItsPlace_data();
    void wrongValueIsRefusedWithItsPlace();
    void wrongHeadIsRefused_data();
    void wrongHeadIsRefused();
    void ruleLeavesAlone_data();
    void ruleLeavesAlone();

private:
    QString path(const QString& name) const
    {
        return m_folder.filePath(name);
    }
    QByteArray resultOf(const QJsonObject& reference, const QJsonObject& duplicate) const
    {
        return resultfixture::resultJson({m_folder.path()}, {groupObject(reference, {duplicate})});
    }

    QTemporaryDir m_folder;
    QJsonObject m_reference;
    QJsonObject m_duplicate;
};

void SearchResultTest::initTestCase()
{
    for (const QString& name : {u"a.flac"_s, u"b.mp3"_s, u"c.mp3"_s}) {
        QVERIFY(resultfixture::writeFile(path(name), name.toUtf8()));
    }
    m_reference = fileObject(path(u"a.flac"_s));
    m_duplicate = duplicateObject(path(u"b.mp3"_s), 97);
}

void SearchResultTest::fileThatIsListedTwiceIsOneDuplicate()
{
    const QJsonObject third = fileObject(path(u"c.mp3"_s));
    const SearchResult result = actions::readSearchResult(resultfixture::resultJson(
        {m_folder.path()}, {groupObject(m_reference, {m_duplicate}),
                            groupObject(third, {with(m_duplicate, u"similarity"_s, 91)})}));
    QCOMPARE(result.searchedFolders, QStringList(m_folder.path()));
    QCOMPARE(result.references.size(), 2);
    QCOMPARE(result.duplicates.size(), 1);
    const actions::Duplicate& duplicate = result.duplicates.constFirst();
    QCOMPARE(duplicate.file.path, path(u"b.mp3"_s));
    QCOMPARE(duplicate.file.sizeBytes, 5);
    QCOMPARE(duplicate.file.modifiedMs, m_duplicate[u"modifiedMs"_s].toInteger());
    QCOMPARE(duplicate.resemblances.size(), 2);
    QCOMPARE(duplicate.resemblances.at(0).reference, path(u"a.flac"_s));
    QCOMPARE(duplicate.resemblances.at(0).similarity, 97);
    QCOMPARE(duplicate.resemblances.at(1).reference, path(u"c.mp3"_s));
    QCOMPARE(duplicate.resemblances.at(1).similarity, 91);
}

void SearchResultTest::wrongValueIsRefusedWithItsPlace_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QJsonValue>("value");
    const auto row = [](const char* name, const QString& key, const QJsonValue& value) {
        QTest::newRow(name) << key << value;
    };
    const QJsonValue none = QJsonValue::Undefined;
    row("no path", u"path"_s, none);
    row("empty path", u"path"_s, QString());
    row("path is a number", u"path"_s, 7);
    row("relative path", u"path"_s, u"b.mp3"_s);
    row("path that goes up", u"path"_s, u"/music/../etc/b.mp3"_s);
    row("path with an empty part", u"path"_s, u"/music//b.mp3"_s);
    row("path with a null character", u"path"_s, u"/music/b.mp3"_s + QChar(u'\0'));
    row("no size", u"sizeBytes"_s, none);
    row("negative size", u"sizeBytes"_s, -1);
    row("fraction of a size", u"sizeBytes"_s, 1.5);
    row("size as text", u"sizeBytes"_s, u"5"_s);
    row("size beyond exact numbers", u"sizeBytes"_s, 1e300);
    row("no time", u"modifiedMs"_s, none);
    row("no duration", u"durationMs"_s, none);
    row("no decoded length", u"decodedMs"_s, none);
    row("no word on being partial", u"partial"_s, none);
    row("partial as a number", u"partial"_s, 0);
    row("no word on features", u"featureless"_s, none);
    row("no similarity", u"similarity"_s, none);
    row("similarity above 100", u"similarity"_s, 101);
    row("similarity below 0", u"similarity"_s, -1);
}

void SearchResultTest::wrongValueIsRefusedWithItsPlace()
{
    QFETCH(const QString, key);
    QFETCH(const QJsonValue, value);
    QCOMPARE(refusalOf(resultOf(m_reference, m_duplicate)), QString());
    QJsonObject duplicate = m_duplicate;
    if (value.isUndefined()) {
        duplicate.remove(key);
    } else {
        duplicate.insert(key, value);
    }
    const QString refusal = refusalOf(resultOf(m_reference, duplicate));
    QVERIFY2(refusal.contains(u"groups[0].duplicates[0]."_s + key), qPrintable(refusal));
}

void SearchResultTest::wrongHeadIsRefused_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char* name, const QByteArray& json, const QString& reason) {
        QTest::newRow(name) << json << reason;
    };
    const QString damaged = u"The result is not a JSON object"_s;
    const QString otherVersion = u"Search again."_s;
    row("nothing", {}, damaged);
    row("no JSON", "path,similarity\n", damaged);
    row("cut off", R"({"version": 2, "folders": ["/m"], "groups": [)", damaged);
    row("a list", "[]", damaged);
    row("no version", "{}", otherVersion);
    row("earlier version", R"({"version": 1, "groups": []})", otherVersion);
    row("later version", R"({"version": 3, "groups": []})", otherVersion);
    row("no folders", R"({"version": 2, "against": [], "groups": []})", u"folders"_s);
    row("empty folders", R"({"version": 2, "folders": [], "against": [], "groups": []})",
        u"folders"_s);
    row("relative folder", R"({"version": 2, "folders": ["m"], "against": [], "groups": []})",
        u"folders"_s);
    row("against is no list", R"({"version": 2, "folders": ["/m"], "against": 1, "groups": []})",
        u"against"_s);
    row("no groups", R"({"version": 2, "folders": ["/m"], "against": []})", u"groups"_s);
    row("group is a number", R"({"version": 2, "folders": ["/m"], "against": [], "groups": [1]})",
        u"groups[0]"_s);
    row("no reference",
        R"({"version": 2, "folders": ["/m"], "against": [], "groups": [{"duplicates": []}]})",
        u"groups[0].reference"_s);
}

void SearchResultTest::wrongHeadIsRefused()
{
    QFETCH(const QByteArray, json);
    QFETCH(const QString, reason);
    const QString refusal = refusalOf(json);
    QVERIFY2(refusal.contains(reason), qPrintable(refusal));
}

void SearchResultTest::ruleLeavesAlone_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QJsonValue>("value");
    QTest::addColumn<bool>("ofReference");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char* name, const QString& key, const QJsonValue& value,
                        bool ofReference, const QString& reason) {
        QTest::newRow(name) << key << value << ofReference << reason;
    };
    const QString similarity = u"similarity"_s;
    row("90 percent", similarity, 90, false, {});
    row("89 percent", similarity, 89, false, u"only 89 %"_s);
    row("30 s", u"durationMs"_s, 30'000, false, {});
    row("less than 30 s", u"durationMs"_s, 29'999, false, u"shorter than 30 s"_s);
    row("reference of less", u"durationMs"_s, 29'999, true, u"shorter than 30 s"_s);
    row("less than 30 s decoded", u"decodedMs"_s, 29'999, false, u"shorter than 30 s"_s);
    row("stated length not known", u"durationMs"_s, -1, false, {});
    row("decoded length not known", u"decodedMs"_s, -1, false, {});
    row("featureless", u"featureless"_s, true, false, u"nothing to hear"_s);
    row("featureless reference", u"featureless"_s, true, true, u"nothing to hear"_s);
    row("partial", u"partial"_s, true, false, {});
    row("partial reference", u"partial"_s, true, true, u"could not be read whole"_s);
}

void SearchResultTest::ruleLeavesAlone()
{
    QFETCH(const QString, key);
    QFETCH(const QJsonValue, value);
    QFETCH(const bool, ofReference);
    QFETCH(const QString, reason);
    const SearchResult result = actions::readSearchResult(
        resultOf(ofReference ? with(m_reference, key, value) : m_reference,
                 ofReference ? m_duplicate : with(m_duplicate, key, value)));
    const actions::Duplicate& duplicate = result.duplicates.constFirst();
    const actions::ResultFile& reference = *result.references.cbegin();
    const int similarity = duplicate.resemblances.constFirst().similarity;
    const QString found = actions::reasonToLeave({}, duplicate.file, reference, similarity);
    QCOMPARE(found.isEmpty(), reason.isEmpty());
    QVERIFY2(found.contains(reason), qPrintable(found));
    QCOMPARE(actions::reasonToLeave({89, true, true, true}, duplicate.file, reference, similarity),
             QString());
}

QTEST_GUILESS_MAIN(SearchResultTest)
#include "tst_searchresult.moc"
