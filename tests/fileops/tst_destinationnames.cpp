#include "fileops/destinationnames.h"

#include <QDir>
#include <QTest>

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

    QTest::newRow("plain") << u"/x/song.mp3"_qs << u"/d/song-copied-7.mp3"_qs;
    QTest::newRow("several dots") << u"/x/a.live.mp3"_qs << u"/d/a-copied-7.mp3"_qs;
    QTest::newRow("no dot") << u"/x/song"_qs << u"/d/song-copied-7."_qs;
    QTest::newRow("ends in a dot") << u"/x/song."_qs << u"/d/song-copied-7."_qs;
    QTest::newRow("begins with a dot") << u"/x/.song.mp3"_qs << u"/d/-copied-7.mp3"_qs;
    QTest::newRow("dot in the folder only") << u"/x.y/song"_qs << u"/d/song-copied-7."_qs;
    QTest::newRow("spaces") << u"/x/a b c.mp3"_qs << u"/d/a b c-copied-7.mp3"_qs;
    QTest::newRow("emoji") << u"/x/\U0001F3B5.mp3"_qs << u"/d/\U0001F3B5-copied-7.mp3"_qs;
    QTest::newRow("newline") << u"/x/a\nb.mp3"_qs << u"/d/a\nb-copied-7.mp3"_qs;
    QTest::newRow("percent") << u"/x/%1 %2.mp3"_qs << u"/d/%1 %2-copied-7.mp3"_qs;
    QTest::newRow("relative") << u"song.mp3"_qs << u"/d/song-copied-7.mp3"_qs;
}

void DestinationNamesTest::nameIsBuiltFromBaseMarkerNumberAndSuffix()
{
    QFETCH(const QString, source);
    QFETCH(const QString, destination);
    QCOMPARE(
        fileops::destinationPath(QDir::toNativeSeparators(u"/d"_qs), source, u"-copied-"_qs, 7),
        QDir::toNativeSeparators(destination));
}

void DestinationNamesTest::directoryGetsASeparatorUnlessItEndsInOne_data()
{
    QTest::addColumn<QString>("directory");
    QTest::addColumn<QString>("destination");

    QTest::newRow("without") << u"/music/kept"_qs << u"/music/kept/a-moved-1.mp3"_qs;
    QTest::newRow("with") << u"/music/kept/"_qs << u"/music/kept/a-moved-1.mp3"_qs;
    QTest::newRow("with two") << u"/music/kept//"_qs << u"/music/kept//a-moved-1.mp3"_qs;
    QTest::newRow("root") << u"/"_qs << u"/a-moved-1.mp3"_qs;
    QTest::newRow("relative") << u"kept"_qs << u"kept/a-moved-1.mp3"_qs;
#ifndef Q_OS_WIN
    QTest::newRow("backslash is a letter") << u"/kept\\"_qs << u"/kept\\/a-moved-1.mp3"_qs;
#endif
}

void DestinationNamesTest::directoryGetsASeparatorUnlessItEndsInOne()
{
    QFETCH(const QString, directory);
    QFETCH(const QString, destination);
    QCOMPARE(fileops::destinationPath(QDir::toNativeSeparators(directory), u"/x/a.mp3"_qs,
                                      u"-moved-"_qs, 1),
             QDir::toNativeSeparators(destination));
}

void DestinationNamesTest::filesAreNumberedFromOneInTheirOrder()
{
    const QStringList sources = {u"/z/song.mp3"_qs, u"/a/song.mp3"_qs, u"/m/other.ogg"_qs};
    const QString directory = QDir::toNativeSeparators(u"/d"_qs);
    const QList<fileops::SourceAndDestination> work =
        fileops::withDestinations(sources, directory, u"-moved-"_qs);

    const QString start = directory + QDir::separator();
    const QList<fileops::SourceAndDestination> expected = {
        {sources.at(0), start + u"song-moved-1.mp3"_qs},
        {sources.at(1), start + u"song-moved-2.mp3"_qs},
        {sources.at(2), start + u"other-moved-3.ogg"_qs},
    };
    QCOMPARE(work, expected);
    QCOMPARE(fileops::withDestinations({}, directory, u"-moved-"_qs).size(), 0);
}

void DestinationNamesTest::sourceDirectoryPlaysNoPart()
{
    QCOMPARE(fileops::destinationPath(u"/d"_qs, u"/a/b/c.mp3"_qs, u"-moved-"_qs, 1),
             fileops::destinationPath(u"/d"_qs, u"/x/c.mp3"_qs, u"-moved-"_qs, 1));
}

QTEST_GUILESS_MAIN(DestinationNamesTest)
#include "tst_destinationnames.moc"
