#pragma once

#include "steprunner.h"

#include <QDir>
#include <QList>
#include <QString>

class QWidget;

/**
 * The steps of the demonstration, in the order in which they make sense. \a window is the main
 * window; pictures are saved in the folder \a pictures.
 */
namespace demonstration {

/** Adds \a folderA and \a folderB, finds the duplicates, prints them and takes a picture. */
QList<Step> findDuplicates(QWidget* window, const QString& folderA, const QString& folderB,
                           const QDir& pictures);

/** Plays one of the duplicates found, takes a picture while it plays, and stops it. */
QList<Step> playDuplicate(QWidget* window, const QDir& pictures);

/** Opens the dialog of each file operation, takes its picture and closes it. */
QList<Step> showFileOperations(QWidget* window, const QDir& pictures);

/** Opens the settings and the About dialog, takes their pictures and closes them. */
QList<Step> showInformation(QWidget* window, const QDir& pictures);

} // namespace demonstration
