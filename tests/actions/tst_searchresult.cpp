#include "actions/actionerror.h"
#include "actions/applyrules.h"
#include "actions/searchresult.h"

#include "resultfixture.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>

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
    for (const QString& name : {u"a.flac"_qs, u"b.mp3"_qs, u"c.mp3"_qs}) {
        QVERIFY(resultfixture::writeFile(path(name), name.toUtf8()));
    }
    m_reference = fileObject(path(u"a.flac"_qs));
    m_duplicate = duplicateObject(path(u"b.mp3"_qs), 97);
}

void SearchResultTest::fileThatIsListedTwiceIsOneDuplicate()
{
    const QJsonObject third = fileObject(path(u"c.mp3"_qs));
    const SearchResult result = actions::readSearchResult(resultfixture::resultJson(
        {m_folder.path()}, {groupObject(m_reference, {m_duplicate}),
                            groupObject(third, {with(m_duplicate, u"similarity"_qs, 91)})}));
    QCOMPARE(result.searchedFolders, QStringList(m_folder.path()));
    QCOMPARE(result.references.size(), 2);
    QCOMPARE(result.duplicates.size(), 1);
    const actions::Duplicate& duplicate = result.duplicates.constFirst();
    QCOMPARE(duplicate.file.path, path(u"b.mp3"_qs));
    QCOMPARE(duplicate.file.sizeBytes, 5);
    QCOMPARE(duplicate.file.modifiedMs, m_duplicate[u"modifiedMs"_qs].toInteger());
    QCOMPARE(duplicate.resemblances.size(), 2);
    QCOMPARE(duplicate.resemblances.at(0).reference, path(u"a.flac"_qs));
    QCOMPARE(duplicate.resemblances.at(0).similarity, 97);
    QCOMPARE(duplicate.resemblances.at(1).reference, path(u"c.mp3"_qs));
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
    row("no path", u"path"_qs, none);
    row("empty path", u"path"_qs, QString());
    row("path is a number", u"path"_qs, 7);
    row("relative path", u"path"_qs, u"b.mp3"_qs);
    row("path that goes up", u"path"_qs, u"/music/../etc/b.mp3"_qs);
    row("path with an empty part", u"path"_qs, u"/music//b.mp3"_qs);
    row("path with a null character", u"path"_qs, u"/music/b.mp3"_qs + QChar(u'\0'));
    row("no size", u"sizeBytes"_qs, none);
    row("negative size", u"sizeBytes"_qs, -1);
    row("fraction of a size", u"sizeBytes"_qs, 1.5);
    row("size as text", u"sizeBytes"_qs, u"5"_qs);
    row("size beyond exact numbers", u"sizeBytes"_qs, 1e300);
    row("no time", u"modifiedMs"_qs, none);
    row("no duration", u"durationMs"_qs, none);
    row("no decoded length", u"decodedMs"_qs, none);
    row("no word on being partial", u"partial"_qs, none);
    row("partial as a number", u"partial"_qs, 0);
    row("no word on features", u"featureless"_qs, none);
    row("no similarity", u"similarity"_qs, none);
    row("similarity above 100", u"similarity"_qs, 101);
    row("similarity below 0", u"similarity"_qs, -1);
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
    QVERIFY2(refusal.contains(u"groups[0].duplicates[0]."_qs + key), qPrintable(refusal));
}

void SearchResultTest::wrongHeadIsRefused_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char* name, const QByteArray& json, const QString& reason) {
        QTest::newRow(name) << json << reason;
    };
    const QString damaged = u"The result is not a JSON object"_qs;
    const QString otherVersion = u"Search again."_qs;
    row("nothing", {}, damaged);
    row("no JSON", "path,similarity\n", damaged);
    row("cut off", R"({"version": 2, "folders": ["/m"], "groups": [)", damaged);
    row("a list", "[]", damaged);
    row("no version", "{}", otherVersion);
    row("earlier version", R"({"version": 1, "groups": []})", otherVersion);
    row("later version", R"({"version": 3, "groups": []})", otherVersion);
    row("no folders", R"({"version": 2, "against": [], "groups": []})", u"folders"_qs);
    row("empty folders", R"({"version": 2, "folders": [], "against": [], "groups": []})",
        u"folders"_qs);
    row("relative folder", R"({"version": 2, "folders": ["m"], "against": [], "groups": []})",
        u"folders"_qs);
    row("against is no list", R"({"version": 2, "folders": ["/m"], "against": 1, "groups": []})",
        u"against"_qs);
    row("no groups", R"({"version": 2, "folders": ["/m"], "against": []})", u"groups"_qs);
    row("group is a number", R"({"version": 2, "folders": ["/m"], "against": [], "groups": [1]})",
        u"groups[0]"_qs);
    row("no reference",
        R"({"version": 2, "folders": ["/m"], "against": [], "groups": [{"duplicates": []}]})",
        u"groups[0].reference"_qs);
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
    const QString similarity = u"similarity"_qs;
    row("90 percent", similarity, 90, false, {});
    row("89 percent", similarity, 89, false, u"only 89 %"_qs);
    row("30 s", u"durationMs"_qs, 30'000, false, {});
    row("less than 30 s", u"durationMs"_qs, 29'999, false, u"shorter than 30 s"_qs);
    row("reference of less", u"durationMs"_qs, 29'999, true, u"shorter than 30 s"_qs);
    row("less than 30 s decoded", u"decodedMs"_qs, 29'999, false, u"shorter than 30 s"_qs);
    row("stated length not known", u"durationMs"_qs, -1, false, {});
    row("decoded length not known", u"decodedMs"_qs, -1, false, {});
    row("featureless", u"featureless"_qs, true, false, u"nothing to hear"_qs);
    row("featureless reference", u"featureless"_qs, true, true, u"nothing to hear"_qs);
    row("partial", u"partial"_qs, true, false, {});
    row("partial reference", u"partial"_qs, true, true, u"could not be read whole"_qs);
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
