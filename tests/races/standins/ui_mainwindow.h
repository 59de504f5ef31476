#pragma once

#include "widgets.h"

/** The widgets that the window's run uses, under their names in the form. */
class Ui_MainWindow
{
public:
    void setupUi(QObject* window)
    {
        current = this;
        for (QAction** action : {&actionNew_Comparison, &actionSettings, &actionExit,
                                 &actionHelp_Online, &actionContact, &actionAbout}) {
            *action = new QAction(window);
        }
        for (QListWidget** list : {&folderListGroupA, &folderListGroupB}) {
            *list = new QListWidget(window);
        }
        for (QLabel** label : {&label_A, &duplicateFoundLabel, &audioDurationLabel}) {
            *label = new QLabel(window);
        }
        for (QWidget** widget : {&centralwidget, &folderListParentB, &stopButton}) {
            *widget = new QWidget(window);
        }
        comparisonModeSelector = new QComboBox(window);
        progressBar = new QProgressBar(window);
        treeWidget = new QTreeWidget(window);
        audioSlider = new QSlider(window);
        statusbar = new QStatusBar(window);
    }

    /** The form of the window that was built last. */
    static inline Ui_MainWindow* current = nullptr;

    QWidget* centralwidget = nullptr;
    QAction* actionNew_Comparison = nullptr;
    QAction* actionSettings = nullptr;
    QAction* actionExit = nullptr;
    QAction* actionHelp_Online = nullptr;
    QAction* actionContact = nullptr;
    QAction* actionAbout = nullptr;
    QListWidget* folderListGroupA = nullptr;
    QListWidget* folderListGroupB = nullptr;
    QLabel* label_A = nullptr;
    QLabel* duplicateFoundLabel = nullptr;
    QLabel* audioDurationLabel = nullptr;
    QWidget* folderListParentB = nullptr;
    QWidget* stopButton = nullptr;
    QComboBox* comparisonModeSelector = nullptr;
    QProgressBar* progressBar = nullptr;
    QTreeWidget* treeWidget = nullptr;
    QSlider* audioSlider = nullptr;
    QStatusBar* statusbar = nullptr;
};
