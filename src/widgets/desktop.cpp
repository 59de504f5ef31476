#include "widgets/desktop.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QStringList>

void desktop::copyPaths(const QStringList& paths)
{
    QGuiApplication::clipboard()->setText(paths.join(u'\n'));
}
