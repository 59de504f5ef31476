#pragma once

#include <QObject>

/** Draws nothing. */
class RowDelegate : public QObject
{
public:
    using QObject::QObject;
};
