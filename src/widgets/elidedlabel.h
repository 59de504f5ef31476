#pragma once

#include <QLabel>

/**
 * A label of one line of plain text that can be narrower than its text: it elides the end then, and
 * shows the whole as a tooltip. text() is always the whole.
 * Thread: GUI thread only.
 */
class ElidedLabel : public QLabel
{
    Q_OBJECT

public:
    explicit ElidedLabel(QWidget* parent = nullptr);

    QSize minimumSizeHint() const override;

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
};
