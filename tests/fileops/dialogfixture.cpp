#include "dialogfixture.h"

#include <QTest>

DialogFixture::DialogFixture(const QString& operation)
    : m_operation(operation)
    , m_dialog(std::make_unique<deleteDialog>())
{
    // What whoever opens the dialog does.
    m_dialog->operation = operation;
    button(QStringLiteral("deleteButton"))->setVisible(operation == QStringLiteral("delete"));
    button(QStringLiteral("moveButton"))->setVisible(operation == QStringLiteral("move"));
    button(QStringLiteral("copyButton"))->setVisible(operation == QStringLiteral("copy"));
    find<QWidget>(QStringLiteral("dirSelector"))->setVisible(operation != QStringLiteral("delete"));
    m_dialog->show();
}

QStringList DialogFixture::rows() const
{
    QStringList result;
    for (int row = 1; row < list()->count(); ++row) {
        const QListWidgetItem* item = list()->item(row);
        result.append(
            (item->checkState() == Qt::Checked ? QStringLiteral("[x] ") : QStringLiteral("[ ] ")) +
            item->text());
    }
    return result;
}

void DialogFixture::addFiles(const QStringList& paths)
{
    QList<DuplicateRow> rows;
    for (const QString& path : paths) {
        rows.append({path});
    }
    m_dialog->addRows(rows);
}

void DialogFixture::setTicked(int row, bool ticked)
{
    list()->item(row)->setCheckState(ticked ? Qt::Checked : Qt::Unchecked);
}

void DialogFixture::click(const QString& buttonName) const
{
    QPushButton* target = button(buttonName);
    QVERIFY(target->isVisible());
    QVERIFY(target->isEnabled());
    QTest::mouseClick(target, Qt::LeftButton);
}

void DialogFixture::waitForIdle() const
{
    pool()->waitForDone();
    QCoreApplication::processEvents();
}
