#pragma once

#include <QByteArray>
#include <QProcess>
#include <QRegularExpression>

/** A terminal that a process writes its standard error to. */
class Terminal
{
public:
    Terminal();
    ~Terminal();
    Q_DISABLE_COPY_MOVE(Terminal)

    /** Makes this the standard error of \a process, which is not started yet. */
    void attachTo(QProcess& process) const;
    /** Everything that has been written so far. */
    QByteArray text();
    /**
     * Waits until the last line of progress matches \a pattern; false if \a process ends before, or
     * after five minutes.
     */
    bool waitForProgress(const QProcess& process, const QRegularExpression& pattern);

private:
    int m_reader;
    int m_writer;
    QByteArray m_text;
};
