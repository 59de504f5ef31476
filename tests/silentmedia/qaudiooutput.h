#pragma once

#include <QObject>

/** An output that nothing is heard from. */
class QAudioOutput : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;
};
