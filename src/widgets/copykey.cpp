#include "widgets/copykey.h"

#include "widgets/desktop.h"

#include <QAbstractItemView>
#include <QShortcut>

void copyKey::copiesPaths(QAbstractItemView* view, const std::function<QStringList()>& paths)
{
    auto* shortcut = new QShortcut(QKeySequence::Copy, view);
    shortcut->setContext(Qt::WidgetShortcut);
    QObject::connect(shortcut, &QShortcut::activated, view, [paths] {
        const QStringList copied = paths();
        if (!copied.isEmpty()) {
            desktop::copyPaths(copied);
        }
    });
}
