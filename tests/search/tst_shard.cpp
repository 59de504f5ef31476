#include "search/shard.h"
#include "search/storedpath.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class TestShard : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void shardFollowsFromTheName_data();
    void shardFollowsFromTheName();
    void nameIsTheSameThroughALink();
};

/** The numbers are those of another program: of hashlib in Python. */
void TestShard::shardFollowsFromTheName_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QList<int>>("shards");
    QTest::newRow("plain") << u"/music/a.mp3"_s << QList<int>{1, 2, 4, 12, 20764};
    QTest::newRow("letters of two bytes and a space")
        << u"/music/sub folder/ünï 1.flac"_s << QList<int>{1, 2, 5, 2, 36082};
    QTest::newRow("letters of three and four bytes")
        << u"/archive/🎵/日本.ogg"_s << QList<int>{1, 1, 2, 9, 40425};
    QTest::newRow("in the root") << u"/x.wav"_s << QList<int>{1, 1, 3, 15, 76671};
}

void TestShard::shardFollowsFromTheName()
{
    QFETCH(const QString, path);
    QFETCH(const QList<int>, shards);
    QList<int> actual;
    for (const int count : {1, 2, 7, 16, 100000}) {
        actual.append(search::shardOf(path, count));
    }
    QCOMPARE(actual, shards);
}

void TestShard::nameIsTheSameThroughALink()
{
    const QTemporaryDir temporary;
    const QString root = QDir(temporary.path()).canonicalPath();
    QVERIFY(QDir(root).mkdir(u"real"_s));
    QVERIFY(QFile::link(root + u"/real"_s, root + u"/link"_s));
    search::StoredPaths names;
    QCOMPARE(names.of(root + u"/link/a.mp3"_s), root + u"/real/a.mp3"_s);
    QCOMPARE(names.of(root + u"/link/../real/a.mp3"_s), root + u"/real/a.mp3"_s);
}

QTEST_GUILESS_MAIN(TestShard)
#include "tst_shard.moc"
