#pragma once

#include <QObject>

/** Draws nothing. */
class ElidedTextDelegate : public QObject
{
public:
    using QObject::QObject;
};
