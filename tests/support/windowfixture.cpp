#include "support/windowfixture.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QSettings>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>

#include <chrono>

namespace {

QListWidget* folderList(const WindowFixture& fixture, char group)
{
    return fixture.find<QListWidget>(group == 'A' ? "folderListGroupA" : "folderListGroupB");
}

/** Answers the folder dialog once it is up; gives up after a while, so that nothing hangs. */
class FolderDialogAnswer
{
public:
    explicit FolderDialogAnswer(QString folder)
        : m_folder(std::move(folder))
    {
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { answer(); });
        m_timer.start(std::chrono::milliseconds(5));
    }
    bool answered() const
    {
        return m_answered;
    }

private:
    void answer()
    {
        auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        if (dialog == nullptr) {
            return;
        }
        m_answered = true;
        m_timer.stop();
        if (m_folder.isEmpty()) {
            dialog->reject();
            return;
        }
        dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"))->setText(m_folder);
        QMetaObject::invokeMethod(dialog, "accept");
    }

    QString m_folder;
    QTimer m_timer;
    bool m_answered = false;
};

} // namespace

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
    auto* button = find<QAbstractButton>(buttonName);
    if (!button->isVisible() || !button->isEnabled()) {
        return false;
    }
    QTest::mouseClick(button, Qt::LeftButton);
    return true;
}

void WindowFixture::choose(const char* actionName) const
{
    find<QAction>(actionName)->trigger();
}

void WindowFixture::setMode(int index) const
{
    find<QComboBox>("comparisonModeSelector")->setCurrentIndex(index);
}

bool WindowFixture::addFolder(char group, const QString& folder) const
{
    const FolderDialogAnswer answer(folder);
    return click(group == 'A' ? "addFolderButtonGroupA" : "addFolderButtonGroupB") &&
           answer.answered();
}

void WindowFixture::listFolder(char group, const QString& folder) const
{
    folderList(*this, group)->addItem(folder);
}

QStringList WindowFixture::folders(char group) const
{
    QStringList texts;
    const QListWidget* list = folderList(*this, group);
    for (int row = 0; row < list->count(); ++row) {
        texts.append(list->item(row)->text());
    }
    return texts;
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
        children.sort(); // they stand in the order in which the workers found them
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
