#pragma once

#include <QElapsedTimer>
#include <QString>

namespace cli {

/**
 * One line on the terminal behind standard error that tells how far a search is, written over
 * again and again.
 * Thread: one at a time.
 */
class ProgressLine
{
public:
    /** Writes nothing unless \a wanted, and unless standard error is a terminal. */
    explicit ProgressLine(bool wanted);
    /** Takes the line away. */
    ~ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    /** Whether a text would be shown now: a few are, each second. */
    bool isDue() const;
    /** Shows \a text, as much of it as fits into the terminal's width. */
    void show(const QString& text);
    /** Takes the line away, so that something else can be written. */
    void clear();

private:
    bool m_enabled;
    bool m_shown = false;
    QElapsedTimer m_sinceShown;
};

/** \a seconds as "1:23:45", or "23:45" below an hour. */
QString timeText(double seconds);

} // namespace cli
