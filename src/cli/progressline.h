#pragma once

#include <QElapsedTimer>
#include <QString>

namespace cli {

/**
 * A line of progress on standard error, rewritten in place.
 * Thread: Reentrant: one object per thread.
 */
class ProgressLine
{
public:
    /** Shows nothing if not \a wanted, or if standard error is not a terminal. */
    explicit ProgressLine(bool wanted);
    /** Clears the line. */
    ~ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    /** Whether the line is empty or was shown 200 ms ago or more. False if nothing is shown. */
    bool isDue() const;
    /** Shows \a text, cut to the width of the terminal. */
    void show(const QString& text);
    /** Clears the line, so that other text can be written. */
    void clear();

private:
    bool m_enabled;
    bool m_shown = false;
    QElapsedTimer m_sinceShown;
};

/** Returns \a seconds as "1:23:45", or "23:45" below an hour. */
QString timeText(double seconds);

} // namespace cli
