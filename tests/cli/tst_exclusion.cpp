#include "cli/exclusion.h"

#include <QTest>

using cli::Exclusion;

/** The patterns of --exclude: what each of them matches, and what not. */
class TestExclusion : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void patternMatchesAsInShells_data();
    void patternMatchesAsInShells();
    void anyOfSeveralPatternsExcludes();
    void unusablePatternIsKnown_data();
    void unusablePatternIsKnown();
};

void TestExclusion::patternMatchesAsInShells_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QString>("matching");
    QTest::addColumn<QString>("others");
    // The paths are separated by spaces; a folder ends in a slash.
    const auto row = [](const char* pattern, const char* matching, const char* others) {
        QTest::newRow(pattern) << QString::fromUtf8(pattern) << QString::fromUtf8(matching)
                               << QString::fromUtf8(others);
    };
    // Names, at any depth.
    row("x.mp3", "x.mp3 a/x.mp3 a/b/x.mp3 x.mp3/", "X.mp3 ax.mp3 x.mp3a x.mp3/a xymp3");
    row("*.mp3", "x.mp3 a/b/x.mp3 .mp3", "x.mp3a x.MP3 x.mp3/a");
    row("a*", "a ab b/ab", "ba a/b");
    row("?", "x a/x \xC3\xA9 \xF0\x9F\x8E\xB5", "xx");
    row("[a-c]x", "ax bx d/cx", "dx -x x");
    row("[!a-c]x", "dx -x", "ax x");
    row("[^a]x", "bx", "ax");
    row("[]]x", "]x", "[x");
    row("[!]]x", "ax", "]x");
    row("[\\]a]", "] a", "\\");
    row("[a\\-c]", "a - c", "b");
    row("[\xF0\x9F\x8E\xB5\xC3\xA9]", "\xF0\x9F\x8E\xB5 \xC3\xA9", "x");
    row("a[b", "a[b", "ab");
    row("\\*", "*", "x");
    row("a\\", "a\\", "a");
    row("a.b+(c)|d", "a.b+(c)|d", "aXb+(c)|d d");
    // Folders alone.
    row("a/", "a/ b/a/", "a b/a ab/");
    row("a*//", "a/ ab/", "a");
    // Paths, from the searched folder on.
    row("/a", "a a/", "b/a ab");
    row("a/b", "a/b a/b/", "c/a/b a/b/c b");
    row("a/*", "a/b a/b/", "a a/b/c b/a/c");
    row("a/?b", "a/xb", "a//b a/b");
    row("a/[!x]b", "a/yb", "a/xb a//b");
    row("*/b", "a/b", "b c/a/b");
    row("**/b", "b a/b c/a/b", "ab a/bc");
    row("a/**", "a/b a/b/c", "a b/a/c");
    row("a/**/d", "a/d a/b/d a/b/c/d", "ad a/bd b/a/d");
    row("a/b**", "a/b a/bc a/b/c", "a/c");
    row("/a/b/", "a/b/", "a/b c/a/b/");
}

void TestExclusion::patternMatchesAsInShells()
{
    QFETCH(const QString, pattern);
    QFETCH(const QString, matching);
    QFETCH(const QString, others);
    QVERIFY(Exclusion::isUsable(pattern));
    const Exclusion exclusion({pattern});
    for (const bool expected : {true, false}) {
        for (QString path : (expected ? matching : others).split(QLatin1Char(' '))) {
            const bool isFolder = path.endsWith(QLatin1Char('/'));
            path.chop(isFolder ? 1 : 0);
            QVERIFY2(exclusion.matches(path, isFolder) == expected, qPrintable(path));
        }
    }
}

void TestExclusion::anyOfSeveralPatternsExcludes()
{
    const Exclusion exclusion({QStringLiteral("a"), QStringLiteral("b/c")});
    QVERIFY(exclusion.matches(QStringLiteral("x/a"), false));
    QVERIFY(exclusion.matches(QStringLiteral("b/c"), false));
    QVERIFY(!exclusion.matches(QStringLiteral("c"), false));
}

void TestExclusion::unusablePatternIsKnown_data()
{
    QTest::addColumn<QString>("pattern");
    for (const char* pattern : {"", "/", "//", "[z-a]"}) {
        QTest::newRow(*pattern == '\0' ? "nothing" : pattern) << QString::fromLatin1(pattern);
    }
}

void TestExclusion::unusablePatternIsKnown()
{
    QFETCH(const QString, pattern);
    QVERIFY(!Exclusion::isUsable(pattern));
}

QTEST_GUILESS_MAIN(TestExclusion)
#include "tst_exclusion.moc"
