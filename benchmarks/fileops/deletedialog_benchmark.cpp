// Prints how long the file operation dialog takes to open with many rows, and to follow its ticks.
// Usage: QT_QPA_PLATFORM=offscreen deletedialog_benchmark [rows]   (20,000 by default)

#include "fileops/deletedialog.h"
#include "results/duplicaterows.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QListWidget>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTextStream>

namespace {

constexpr int kDefaultRows = 20'000;

template <typename Step> void report(const QString& what, const Step& step)
{
    QElapsedTimer timer;
    timer.start();
    step();
    QTextStream(stdout) << what << ": " << static_cast<double>(timer.nsecsElapsed()) / 1e6
                        << " ms\n";
}

QStringList makeFiles(const QTemporaryDir& directory, int count)
{
    QStringList paths;
    for (int i = 0; i < count; ++i) {
        paths.append(directory.filePath(QStringLiteral("track %1 of a record.mp3").arg(i)));
        QFile file(paths.constLast());
        if (!file.open(QFile::WriteOnly)) {
            qFatal("cannot write %s", qPrintable(paths.constLast()));
        }
    }
    return paths;
}

/** As many duplicates as references, which is the most to look at. */
DuplicateMap pairsOf(const QStringList& paths)
{
    DuplicateMap duplicates;
    for (qsizetype i = 1; i < paths.size(); i += 2) {
        duplicates[paths.at(i - 1)].append({paths.at(i), 100});
    }
    return duplicates;
}

} // namespace

int main(int argc, char** argv)
{
    const QApplication application(argc, argv);
    const int count = argc > 1 ? QByteArray(argv[1]).toInt() : kDefaultRows;
    const QTemporaryDir directory;
    const QStringList paths = makeFiles(directory, 2 * count);
    QTextStream(stdout) << count << " rows\n";

    deleteDialog dialog;
    dialog.operation = QStringLiteral("delete");
    QList<DuplicateRow> rows;
    report(QStringLiteral("  asking the file system"),
           [&] { rows = results::duplicateRows(pairsOf(paths)); });
    report(QStringLiteral("  opening: rows"), [&] { dialog.addRows(rows); });
    report(QStringLiteral("  opening: show"), [&] {
        dialog.show();
        QApplication::processEvents();
    });
    auto* list = dialog.findChild<QListWidget*>(QStringLiteral("filesList"));
    report(QStringLiteral("  unticking All"), [&] {
        list->item(0)->setCheckState(Qt::Unchecked);
        QApplication::processEvents();
    });
    report(QStringLiteral("  ticking All"), [&] {
        list->item(0)->setCheckState(Qt::Checked);
        QApplication::processEvents();
    });
    report(QStringLiteral("  unticking one"),
           [&] { list->item(count / 2)->setCheckState(Qt::Unchecked); });
    report(QStringLiteral("  deleting all but one"), [&] {
        auto* button = dialog.findChild<QPushButton*>(QStringLiteral("deleteButton"));
        button->click();
        while (list->count() > 2) {
            QApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
    });
    return 0;
}
