#pragma once

#include "fingerprint/fingerprintrecord.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <functional>
#include <optional>

class ElidedLabel;
class QContextMenuEvent;
class QHelpEvent;
class QStatusBar;

/**
 * What the window's status bar shows of a run: its stage and progress while it runs, and at its end
 * how many files were read and how many of them gave no fingerprint. The tooltip of that text names
 * the first of these files, and its context menu copies the paths of all.
 *
 * The texts have labels of their own: a message of the status bar is gone as soon as the pointer is
 * over the menus.
 *
 * The stages come in the order of the functions below. What arrives of an earlier stage than the one
 * that is shown, or when no run is shown, changes nothing.
 *
 * Thread: GUI thread only.
 */
class RunStatus : public QObject
{
    Q_OBJECT

public:
    /** Returns milliseconds from any start on; never goes back. */
    using Clock = std::function<qint64()>;

    /** How often progress is shown at most. */
    static constexpr qint64 kIntervalMs = 100;
    /** How many files without a fingerprint the tooltip names. */
    static constexpr qsizetype kMostNamed = 20;

    /** Adds its labels to \a bar, which must live as long. */
    RunStatus(QStatusBar* bar, QObject* parent);

    /** For tests: measures time by \a clock, from the next stage on. */
    void setClock(const Clock& clock);

    /** Shows that a run lists the files. */
    void listing();

    /** Shows that \a done of \a total files are read, and about how long the others take. */
    void reading(qint64 done, qint64 total);

    /** Keeps how many records there are, and which of them are without a fingerprint. */
    void filesRead(const QList<FingerprintRecord>& first, const QList<FingerprintRecord>& second);

    /** Shows that \a done of \a total pairs are compared, by about how long the others take. */
    void comparing(qint64 done, qint64 total);

    /** Shows what was read, and has it announced behind \a result. */
    void finish(const QString& result);

    /** Warns of a threshold that makes a duplicate of every file, or of none, or ends a warning. */
    void warnOfThreshold(int threshold);

    /** Empties the bar. */
    void clear();

Q_SIGNALS:
    /** The end of a run in words for screen readers, to which this object passes them on. */
    void announced(const QString& text);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    enum class Stage { None, Listing, Reading, Comparing, Ended };

    void begin(Stage stage);
    void showProgress(Stage stage, qint64 done, qint64 total);
    void showLatest();
    QString progressText() const;
    QString endText() const;
    bool showFiles(const QHelpEvent* event);
    bool openMenu(const QContextMenuEvent* event);
    void announce(const QString& text);

    ElidedLabel* m_label;
    ElidedLabel* m_warning;
    Clock m_clock;
    QTimer m_late; ///< Shows what came too soon after the last.

    Stage m_stage = Stage::None;
    qint64 m_stageStart = 0;
    std::optional<qint64> m_lastShown;
    std::optional<int> m_minutesShown;
    qint64 m_done = 0;
    qint64 m_total = 0;
    qsizetype m_filesRead = 0;
    QStringList m_withoutFingerprint; ///< In ascending order.
};
