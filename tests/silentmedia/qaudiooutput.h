#pragma once

#include <QObject>

/** An output that nothing is heard from. */
class QAudioOutput : public QObject
{
public:
    using QObject::QObject;
};
