#pragma once

#include "support/windowfixture.h"

#include <QLabel>
#include <QMediaPlayer>
#include <QPushButton>
#include <QSlider>
#include <QStringList>
#include <QTreeWidget>

/**
 * The window's preview player as a person sees and uses it, with the player itself beside it.
 * Requires: an open window, which outlives this.
 * Thread: GUI thread only.
 */
class PreviewControls
{
public:
    explicit PreviewControls(const WindowFixture& fixture);

    /** Lists \a reference with its \a duplicates below it; returns the reference's row. */
    QTreeWidgetItem* list(const QString& reference, const QStringList& duplicates = {}) const;
    /** Double-clicks a cell with the mouse. */
    void doubleClick(QTreeWidgetItem* row, int column = 0) const;
    /** Lists a file, double-clicks it and waits until its position moves. False if it does not. */
    bool play(const QString& path) const;
    /** Whether the position has passed \a ms within a minute. */
    bool plays(qint64 ms) const;

    /** Takes the slider's handle with the mouse and holds it. False if it could not be taken. */
    bool takeHandle();
    /** Draws the held handle to about \a fraction of the slider's length. */
    void drawHandleTo(double fraction);
    void releaseHandle();
    /** Clicks the slider at about \a fraction of its length. */
    void clickSlider(double fraction) const;
    /** Turns the wheel over the slider by eighths of a degree, of which a notch is mostly 120. */
    void turnWheel(int eighths) const;
    /** The middle of the handle, as a fraction of the slider's length. */
    double handleAt() const;

    /** Whether the play button shows the icon \a name ("play", "pause") of the collection. */
    bool shows(const char* name) const;
    /** The play button's icon is at its size, and the stop button is enabled as given. */
    bool hasButtons(const char* iconName, bool stopEnabled) const;
    /** The path of the loaded file; empty without one. */
    QString loadedPath() const;

    QMediaPlayer* const player;
    QPushButton* const playButton;
    QPushButton* const stopButton;
    QSlider* const slider;
    QLabel* const label;
    QTreeWidget* const tree;

private:
    QRect handle() const;
    QPoint m_grip;
};
