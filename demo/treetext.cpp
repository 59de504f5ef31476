#include "treetext.h"

#include <QTreeWidget>
#include <QTreeWidgetItemIterator>

#include <algorithm>

namespace {

constexpr int kIndentPerLevel = 4;

int depth(const QTreeWidgetItem* item)
{
    int levels = 0;
    for (const QTreeWidgetItem* above = item->parent(); above != nullptr; above = above->parent()) {
        ++levels;
    }
    return levels;
}

QStringList cells(const QTreeWidgetItem* item)
{
    QStringList texts;
    for (int column = 0; column < item->columnCount(); ++column) {
        texts.append(item->text(column));
    }
    texts.first().prepend(QString(qsizetype{depth(item)} * kIndentPerLevel, u' '));
    return texts;
}

QString alignedLines(const QList<QStringList>& rows)
{
    QList<qsizetype> widths;
    for (const QStringList& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (qsizetype column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths.at(column), row.at(column).size());
        }
    }
    QString text;
    for (const QStringList& row : rows) {
        QString line;
        for (qsizetype column = 0; column < row.size(); ++column) {
            line += row.at(column).leftJustified(widths.at(column) + 2);
        }
        while (line.endsWith(u' ')) {
            line.chop(1);
        }
        text += line + u'\n';
    }
    return text;
}

} // namespace

QString treeText(QTreeWidget* tree)
{
    QList<QStringList> rows{cells(tree->headerItem())};
    for (QTreeWidgetItemIterator item(tree); *item != nullptr; ++item) {
        rows.append(cells(*item));
    }
    return alignedLines(rows);
}
