#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

namespace {

QString sourcePath(const QString& relative)
{
    return QStringLiteral(QUORVEL_SOURCE_DIR "/") + relative;
}

QString contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

/** Paths below the source folder's \a folder, of files that match \a pattern. */
QStringList filesBelow(const QString& folder, const QString& pattern)
{
    QStringList paths;
    QDirIterator files(sourcePath(folder), {pattern}, QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        paths.append(files.next());
    }
    paths.sort();
    return paths;
}

QStringList codeBelow(const QString& folder)
{
    return filesBelow(folder, QStringLiteral("*.h")) + filesBelow(folder, QStringLiteral("*.cpp"));
}

} // namespace

class TestSourceLayout : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everySlotOfTheWindowIsInTheFileThatTheHeaderNames();
    void partsOfTheWindowAreNamedInItsHeader();
    void onlyPartsOfTheWindowIncludeHeadersOfTheApp();
    void onlyTheFingerprintFolderIncludesFFmpegAndChromaprint();
    void continuationsAreNotAttachedToRunningFutures();
    void testsDoNotSleepWithoutAReason();
};

void TestSourceLayout::everySlotOfTheWindowIsInTheFileThatTheHeaderNames()
{
    QHash<QString, QString> parts;
    for (const QString& path :
         filesBelow(QStringLiteral("src"), QStringLiteral("mainwindow*.cpp"))) {
        parts.insert(QFileInfo(path).fileName(), contents(path));
    }
    QString header = contents(sourcePath(QStringLiteral("src/app/mainwindow.h")));
    header = header.section(QStringLiteral("public Q_SLOTS:"), 1)
                 .section(QStringLiteral("protected:"), 0, 0);
    static const QRegularExpression slot(
        QStringLiteral("void (\\w+)\\([^)]*\\);\\s*// (mainwindow\\w*\\.cpp)"));
    int count = 0;
    for (auto matches = slot.globalMatch(header); matches.hasNext(); ++count) {
        const QRegularExpressionMatch match = matches.next();
        const QString definition = QStringLiteral("void MainWindow::%1(").arg(match.captured(1));
        QVERIFY2(parts.value(match.captured(2)).contains(definition), qPrintable(definition));
    }
    QCOMPARE(count, 30);
    QCOMPARE(header.count(QStringLiteral("void ")), count);
}

void TestSourceLayout::partsOfTheWindowAreNamedInItsHeader()
{
    const QString header = contents(sourcePath(QStringLiteral("src/app/mainwindow.h")));
    for (const QString& path :
         filesBelow(QStringLiteral("src"), QStringLiteral("mainwindow*.cpp"))) {
        const QString relative = QDir(QStringLiteral(QUORVEL_SOURCE_DIR)).relativeFilePath(path);
        QVERIFY2(header.contains(relative), qPrintable(relative));
    }
}

void TestSourceLayout::onlyPartsOfTheWindowIncludeHeadersOfTheApp()
{
    static const QRegularExpression include(QStringLiteral("#\\s*include\\s*[<\"](\\.\\./)*app/"));
    QStringList offenders;
    for (const QString& path : codeBelow(QStringLiteral("src"))) {
        static const QRegularExpression allowed(
            QStringLiteral("/src/app/|/mainwindow_\\w+\\.cpp$"));
        if (!path.contains(allowed) && contents(path).contains(include)) {
            offenders.append(path);
        }
    }
    QCOMPARE(offenders, QStringList());
}

void TestSourceLayout::onlyTheFingerprintFolderIncludesFFmpegAndChromaprint()
{
    static const QRegularExpression include(
        QStringLiteral("#\\s*include\\s*[<\"](libav|libsw|chromaprint)"));
    QStringList offenders;
    for (const QString& path : codeBelow(QStringLiteral("src"))) {
        const bool allowed = path.contains(QStringLiteral("/src/fingerprint/")) &&
                             path.endsWith(QStringLiteral(".cpp"));
        if (!allowed && contents(path).contains(include)) {
            offenders.append(path);
        }
    }
    QCOMPARE(offenders, QStringList());
}

void TestSourceLayout::continuationsAreNotAttachedToRunningFutures()
{
    // See widgets/whenfinished.h.
    static const QRegularExpression attaching(
        QStringLiteral("(\\.|->)(then|onCanceled|onFailed)\\b"));
    QStringList offenders;
    for (const QString& path : codeBelow(QStringLiteral("src"))) {
        if (contents(path).contains(attaching)) {
            offenders.append(path);
        }
    }
    QCOMPARE(offenders, QStringList());
}

void TestSourceLayout::testsDoNotSleepWithoutAReason()
{
    // The reason is on the same line, after the word that starts it.
    static const QRegularExpression sleep(
        QStringLiteral("\\b(qSleep|qWait|msleep|usleep|nanosleep|sleep_for|sleep)\\s*\\("));
    QStringList offenders;
    for (const QString& path : filesBelow(QStringLiteral("tests"), QStringLiteral("*.cpp"))) {
        if (path.endsWith(QStringLiteral("tst_sourcelayout.cpp"))) {
            continue;
        }
        const QStringList lines = contents(path).split(u'\n');
        for (const QString& line : lines) {
            if (line.contains(sleep) && !line.contains(QStringLiteral("// unavoidable:"))) {
                offenders.append(QFileInfo(path).fileName() + QStringLiteral(": ") +
                                 line.trimmed());
            }
        }
    }
    QCOMPARE(offenders, QStringList());
}

QTEST_GUILESS_MAIN(TestSourceLayout)
#include "tst_sourcelayout.moc"
