#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <QTimer>

#include <functional>

/** One thing that a person does, and how it is seen to be done. */
struct Step
{
    /** What is done, for the message when it does not come to its end. */
    QString title;
    std::function<void()> act;
    /** Asked again and again after \c act until it answers true. */
    std::function<bool()> isDone;
};

/**
 * Takes steps one after another, each when the one before is done, out of the running event loop.
 * Thread: GUI thread only.
 */
class StepRunner : public QObject
{
    Q_OBJECT

public:
    explicit StepRunner(QList<Step> steps, QObject* parent = nullptr);
    void start();

Q_SIGNALS:
    /** Every step is done. */
    void finished();
    /** The step \a title was taken and is not done after two minutes. Nothing more is done. */
    void stuck(const QString& title);

private:
    void proceed();
    void takeStep();

    QList<Step> m_steps;
    qsizetype m_current = -1;
    QTimer m_poll;
    QTimer m_hangGuard;
};
