#include "fileops/destinationnames.h"

#include <QDir>
#include <QTest>

using namespace Qt::StringLiterals;

/** The names that moved and copied files get. */
class DestinationNamesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nameIsBuiltFromBaseMarkerNumberAndSuffix_data();
    void nameIsBuiltFromBaseMarkerNumberAndSuffix();
    void directoryGetsASeparatorUnlessItEndsInOne_data();
    void directoryGetsASeparatorUnlessItEndsInOne();
    void filesAreNumberedFromOneInTheirOrder();
    void sourceDirectoryPlaysNoPart();
};

void DestinationNamesTest::nameIsBuiltFromBaseMarkerNumberAndSuffix_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("destination");

    QTest::newRow("plain") << u"/x/song.mp3"_s << u"/d/song-copied-7.mp3"_s;
    QTest::newRow("several dots") << u"/x/a.live.mp3"_s << u"/d/a-copied-7.mp3"_s;
    QTest::newRow("no dot") << u"/x/song"_s << u"/d/song-copied-7."_s;
    QTest::newRow("ends in a dot") << u"/x/song."_s << u"/d/song-copied-7."_s;
    QTest::newRow("begins with a dot") << u"/x/.song.mp3"_s << u"/d/-copied-7.mp3"_s;
    QTest::newRow("dot in the folder only") << u"/x.y/song"_s << u"/d/song-copied-7."_s;
    QTest::newRow("spaces") << u"/x/a b c.mp3"_s << u"/d/a b c-copied-7.mp3"_s;
    QTest::newRow("emoji") << u"/x/\U0001F3B5.mp3"_s << u"/d/\U0001F3B5-copied-7.mp3"_s;
    QTest::newRow("newline") << u"/x/a\nb.mp3"_s << u"/d/a\nb-copied-7.mp3"_s;
    QTest::newRow("percent") << u"/x/%1 %2.mp3"_s << u"/d/%1 %2-copied-7.mp3"_s;
    QTest::newRow("relative") << u"song.mp3"_s << u"/d/song-copied-7.mp3"_s;
}

void DestinationNamesTest::nameIsBuiltFromBaseMarkerNumberAndSuffix()
{
    QFETCH(const QString, source);
    QFETCH(const QString, destination);
    QCOMPARE(fileops::destinationPath(QDir::toNativeSeparators(u"/d"_s), source, u"-copied-"_s, 7),
             QDir::toNativeSeparators(destination));
}

void DestinationNamesTest::directoryGetsASeparatorUnlessItEndsInOne_data()
{
    QTest::addColumn<QString>("directory");
    QTest::addColumn<QString>("destination");

    QTest::newRow("without") << u"/music/kept"_s << u"/music/kept/a-moved-1.mp3"_s;
    QTest::newRow("with") << u"/music/kept/"_s << u"/music/kept/a-moved-1.mp3"_s;
    QTest::newRow("with two") << u"/music/kept//"_s << u"/music/kept//a-moved-1.mp3"_s;
    QTest::newRow("root") << u"/"_s << u"/a-moved-1.mp3"_s;
    QTest::newRow("relative") << u"kept"_s << u"kept/a-moved-1.mp3"_s;
#ifndef Q_OS_WIN
    QTest::newRow("backslash is a letter") << u"/kept\\"_s << u"/kept\\/a-moved-1.mp3"_s;
#endif
}

void DestinationNamesTest::directoryGetsASeparatorUnlessItEndsInOne()
{
    QFETCH(const QString, directory);
    QFETCH(const QString, destination);
    QCOMPARE(fileops::destinationPath(QDir::toNativeSeparators(directory), u"/x/a.mp3"_s,
                                      u"-moved-"_s, 1),
             QDir::toNativeSeparators(destination));
}

void DestinationNamesTest::filesAreNumberedFromOneInTheirOrder()
{
    const QStringList sources = {u"/z/song.mp3"_s, u"/a/song.mp3"_s, u"/m/other.ogg"_s};
    const QString directory = QDir::toNativeSeparators(u"/d"_s);
    const QList<fileops::SourceAndDestination> work =
        fileops::withDestinations(sources, directory, u"-moved-"_s);

    const QString start = directory + QDir::separator();
    const QList<fileops::SourceAndDestination> expected = {
        {sources.at(0), start + u"song-moved-1.mp3"_s},
        {sources.at(1), start + u"song-moved-2.mp3"_s},
        {sources.at(2), start + u"other-moved-3.ogg"_s},
    };
    QCOMPARE(work, expected);
    QCOMPARE(fileops::withDestinations({}, directory, u"-moved-"_s).size(), 0);
}

void DestinationNamesTest::sourceDirectoryPlaysNoPart()
{
    QCOMPARE(fileops::destinationPath(u"/d"_s, u"/a/b/c.mp3"_s, u"-moved-"_s, 1),
             fileops::destinationPath(u"/d"_s, u"/x/c.mp3"_s, u"-moved-"_s, 1));
}

QTEST_GUILESS_MAIN(DestinationNamesTest)
#include "tst_destinationnames.moc"
