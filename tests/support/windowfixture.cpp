#include "support/windowfixture.h"

#include <QLabel>
#include <QSettings>
#include <QTest>
#include <QThreadPool>
#include <QTreeWidget>

WindowFixture::WindowFixture()
{
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_settings.path());
    QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
}

WindowFixture::~WindowFixture() = default;

void WindowFixture::open()
{
    m_window = std::make_unique<MainWindow>();
    m_window->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
}

void WindowFixture::destroy()
{
    m_window.reset();
}

bool WindowFixture::click(const char* buttonName) const
{
    return driver::click(m_window.get(), QString::fromLatin1(buttonName));
}

void WindowFixture::choose(const char* actionName) const
{
    if (!driver::choose(m_window.get(), QString::fromLatin1(actionName))) {
        qFatal("%s cannot be chosen", actionName);
    }
}

void WindowFixture::setMode(int index) const
{
    driver::setMode(m_window.get(), index);
}

bool WindowFixture::addFolder(char group, const QString& folder) const
{
    return driver::addFolder(m_window.get(), group, folder);
}

void WindowFixture::listFolder(char group, const QString& folder) const
{
    driver::listFolder(m_window.get(), group, folder);
}

QStringList WindowFixture::folders(char group) const
{
    return driver::folders(m_window.get(), group);
}

QThreadPool* WindowFixture::pool() const
{
    return m_window->findChild<QThreadPool*>(QString(), Qt::FindDirectChildrenOnly);
}

bool WindowFixture::waitForResult() const
{
    const auto* label = find<QLabel>("duplicateFoundLabel");
    return QTest::qWaitFor([label] { return label->isVisible(); }, kHangGuardMs);
}

bool WindowFixture::findDuplicates() const
{
    return click("compareButton") && waitForResult();
}

QString WindowFixture::countText() const
{
    const auto* label = find<QLabel>("duplicateFoundLabel");
    return label->isVisible() ? label->text() : QString();
}

QString WindowFixture::treeText(const QString& prefix) const
{
    const auto line = [&prefix](const QTreeWidgetItem* item, int depth) {
        QStringList cells;
        for (int column = 0; column < item->columnCount(); ++column) {
            cells.append(item->text(column));
        }
        cells.first().remove(prefix);
        return QString(qsizetype{4} * depth, u' ') + cells.join(u" | ") + u'\n';
    };
    QString text;
    const auto* tree = find<QTreeWidget>("treeWidget");
    for (int i = 0; i < tree->topLevelItemCount(); ++i) {
        const QTreeWidgetItem* reference = tree->topLevelItem(i);
        text += line(reference, 0);
        QStringList children;
        for (int k = 0; k < reference->childCount(); ++k) {
            children.append(line(reference->child(k), 1));
        }
        children.sort(); // their order is that in which the workers found them
        text += children.join(QString());
    }
    return text;
}

QStringList WindowFixture::unorderedPairs(const QString& prefix) const
{
    QStringList pairs;
    const auto* tree = find<QTreeWidget>("treeWidget");
    for (int i = 0; i < tree->topLevelItemCount(); ++i) {
        const QTreeWidgetItem* reference = tree->topLevelItem(i);
        for (int k = 0; k < reference->childCount(); ++k) {
            QStringList pair{reference->text(0).remove(prefix),
                             reference->child(k)->text(0).remove(prefix)};
            pair.sort();
            pairs.append(pair.join(u" = "));
        }
    }
    pairs.sort();
    return pairs;
}
