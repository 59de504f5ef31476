#include "results/duplicaterows.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

bool write(const QString& path)
{
    QFile file(path);
    return file.open(QFile::WriteOnly) && file.write("x") == 1;
}

} // namespace

/** Which duplicates the dialog lists, and which of them it must not tick by itself. */
class DuplicateRowsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup()
    {
        m_directory.reset();
    }

    void existingDuplicatesAreListedInKeyOrder();
    void fileListedTwiceGivesTwoRows();
    void referenceUnderItsOwnNameIsNeverTicked();
    void duplicateOfAMissingReferenceIsMarked();
    void hardLinkOfTheReferenceIsAnotherName();
    void linkBesideItsTargetIsTickedWithIt();

    void noPressTakesTheLastCopy_data();
    void noPressTakesTheLastCopy();

private:
    using Lists = QList<std::pair<QString, QStringList>>;

    QString path(const QString& name) const
    {
        return m_directory->filePath(name);
    }
    DuplicateMap mapOf(const Lists& lists) const;
    /** The rows without the folder: "x" or "-" for those that may be ticked, and the path. */
    QStringList rows(const Lists& lists) const;

    std::unique_ptr<QTemporaryDir> m_directory;
};

void DuplicateRowsTest::init()
{
    m_directory = std::make_unique<QTemporaryDir>();
    QVERIFY(QDir(m_directory->path()).mkpath(u"m"_s));
    QVERIFY(QDir(m_directory->path()).mkpath(u"a"_s));
    for (const QString& name : {u"m/x"_s, u"m/y"_s, u"m/z"_s, u"a/q"_s}) {
        QVERIFY(write(path(name)));
    }
    QVERIFY(QFile::link(path(u"m"_s), path(u"link"_s)));
}

DuplicateMap DuplicateRowsTest::mapOf(const Lists& lists) const
{
    DuplicateMap map;
    for (const auto& [reference, duplicates] : lists) {
        for (const QString& duplicate : duplicates) {
            map[path(reference)].append({path(duplicate), 100});
        }
    }
    return map;
}

QStringList DuplicateRowsTest::rows(const Lists& lists) const
{
    QStringList texts;
    for (const DuplicateRow& row : results::duplicateRows(mapOf(lists))) {
        const bool tickable = row.sameFileAs.isEmpty() && row.isReferenceThere;
        texts.append((tickable ? u"x "_s : u"- "_s) + row.path.mid(m_directory->path().size() + 1));
    }
    return texts;
}

void DuplicateRowsTest::existingDuplicatesAreListedInKeyOrder()
{
    QCOMPARE(rows({{u"m/x"_s, {u"m/z"_s, u"m/absent"_s, u"m/y"_s}}, {u"a/q"_s, {u"m/y"_s}}}),
             QStringList({u"x m/y"_s, u"x m/z"_s, u"x m/y"_s}));
    QCOMPARE(rows({}), QStringList());
}

void DuplicateRowsTest::fileListedTwiceGivesTwoRows()
{
    QCOMPARE(rows({{u"m/x"_s, {u"m/z"_s}}, {u"m/y"_s, {u"m/z"_s}}}),
             QStringList({u"x m/z"_s, u"x m/z"_s}));
}

void DuplicateRowsTest::referenceUnderItsOwnNameIsNeverTicked()
{
    QCOMPARE(rows({{u"m/x"_s, {u"m/y"_s}}, {u"m/z"_s, {u"m/x"_s}}}),
             QStringList({u"x m/y"_s, u"- m/x"_s}));
}

void DuplicateRowsTest::duplicateOfAMissingReferenceIsMarked()
{
    QVERIFY(QFile::remove(path(u"m/x"_s)));
    const QList<DuplicateRow> found =
        results::duplicateRows(mapOf({{u"m/x"_s, {u"m/y"_s}}, {u"a/q"_s, {u"m/z"_s}}}));
    QCOMPARE(found.size(), 2);
    QVERIFY(found.at(0).isReferenceThere); // a/q comes first
    QVERIFY(!found.at(1).isReferenceThere);
    QCOMPARE(found.at(1).reference, path(u"m/x"_s));
}

void DuplicateRowsTest::hardLinkOfTheReferenceIsAnotherName()
{
    QCOMPARE(::link(qPrintable(path(u"m/x"_s)), qPrintable(path(u"a/hard"_s))), 0);
    QCOMPARE(rows({{u"m/x"_s, {u"a/hard"_s, u"m/y"_s}}}), QStringList({u"- a/hard"_s, u"x m/y"_s}));
}

void DuplicateRowsTest::linkBesideItsTargetIsTickedWithIt()
{
    QCOMPARE(rows({{u"a/q"_s, {u"link/y"_s, u"m/y"_s}}}), QStringList({u"x link/y"_s, u"x m/y"_s}));
}

void DuplicateRowsTest::noPressTakesTheLastCopy_data()
{
    QTest::addColumn<Lists>("lists");
    QTest::addColumn<QStringList>("left");
    const QStringList all = {u"a/q"_s, u"m/x"_s, u"m/y"_s, u"m/z"_s};
    QTest::newRow("a folder and a link to it: two presses")
        << Lists{{u"link/x"_s, {u"m/y"_s}}, {u"link/y"_s, {u"m/x"_s}}} << all;
    QTest::newRow("every name in one group")
        << Lists{{u"link/x"_s, {u"link/y"_s, u"m/x"_s, u"m/y"_s}}}
        << QStringList{u"a/q"_s, u"m/x"_s, u"m/z"_s};
    // q is like y, and y like z, but q is not like z.
    QTest::newRow("a chain through another name")
        << Lists{{u"a/q"_s, {u"link/y"_s}}, {u"m/y"_s, {u"link/z"_s}}}
        << QStringList{u"a/q"_s, u"m/x"_s, u"m/y"_s};
    QTest::newRow("the reference has gone") << Lists{{u"m/absent"_s, {u"m/x"_s, u"m/y"_s}}} << all;
}

void DuplicateRowsTest::noPressTakesTheLastCopy()
{
    QFETCH(const Lists, lists);
    QFETCH(const QStringList, left);
    for (int press = 0; press < 3; ++press) {
        for (const DuplicateRow& row : results::duplicateRows(mapOf(lists))) {
            if (row.sameFileAs.isEmpty() && row.isReferenceThere) {
                QFile::remove(row.path);
            }
        }
    }
    QStringList found;
    for (const QString& folder : {u"a/"_s, u"m/"_s}) {
        for (const QString& name : QDir(path(folder)).entryList(QDir::Files, QDir::Name)) {
            found.append(folder + name);
        }
    }
    // A link in the linked folder is removed with what it leads to.
    QCOMPARE(found, left);
}

QTEST_GUILESS_MAIN(DuplicateRowsTest)
#include "tst_duplicaterows.moc"
