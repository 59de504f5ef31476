#pragma once

// The main window is one class in several files, by topic:
//
//   construction, closing       src/app/mainwindow.cpp
//   folder groups               src/app/mainwindow_groups.cpp
//   a run's start, stop, end    src/app/mainwindow_run.cpp
//   preview player              src/app/mainwindow_player.cpp
//   delete, move, copy          src/app/mainwindow_fileops.cpp
//   discovery, fingerprints     src/fingerprint/mainwindow_fingerprint.cpp
//   comparison                  src/compare/mainwindow_compare.cpp
//   results tree                src/results/mainwindow_results.cpp
//   settings, About, help       src/settings/mainwindow_settings.cpp

#include "app/comparisonmode.h"
#include "compare/audioinfomap.h"
#include "compare/comparisonworklist.h"
#include "compare/duplicatemap.h"
#include "fingerprint/fingerprintrecord.h"

#include <QElapsedTimer>
#include <QFuture>
#include <QFutureWatcher>
#include <QIcon>
#include <QList>
#include <QMainWindow>
#include <QMediaPlayer>
#include <QString>
#include <QStringList>
#include <QThreadPool>

#include <memory>
#include <optional>
#include <stop_token>
#include <tuple>
#include <utility>

class AboutDialog;
class QAudioOutput;
class QCloseEvent;
class QListWidget;
class QMenu;
class QModelIndex;
class QTreeWidgetItem;
class RunStatus;
class SettingsDialog;
class Ui_MainWindow;
class deleteDialog;

/**
 * The main window: two groups of folders, the run that searches them for duplicates, the tree of
 * results, the preview player, and the buttons and menus that open the dialogs.
 *
 * A run is a chain of parallel stages on the window's thread pool. The GUI thread only starts
 * stages and receives their progress and results. resetAll() is the one place that stops a run.
 *
 * At most one window at a time can run a comparison: the stage functions are static and share the
 * record lists below.
 *
 * Thread: GUI thread only, but for the stage functions.
 */
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit MainWindow(QWidget* parent = nullptr);
    /** Stops a running comparison and waits for its workers. */
    ~MainWindow() override;

    /**
     * Stops every running stage, drops all results, stops the preview and closes an open file
     * operation dialog. The folders and the tree are left as they are.
     * Blocks until the last worker has stopped; a stop flag keeps this short.
     */
    void resetAll();

    // The stage functions: what the parallel framework runs, one item at a time.
    // Thread: Any thread, blocking. The reduce functions are called by one thread at a time.

    /** Map: the audio files under one group's folders. */
    static QStringList find_audio_files_dir(const QStringList& folders);
    /** Reduce: appends one group's files to \a result. */
    static void collectTmp(QList<QStringList>& result, const QStringList& files);
    /** Map: the record of one file; see fingerprint::fingerprintFile(). */
    static FingerprintRecord calcSingleFingerprint(const QString& path);
    /** Reduce: appends \a record, a failed file's too, to \a result. */
    static void collectFingerprint(QList<FingerprintRecord>& result,
                                   const FingerprintRecord& record);
    /** Map: (i, j) -> (i, j, similarity of fingerprintsFirst[i] and fingerprintsSecond[j]). */
    static std::tuple<int, int, int> calcSingleSimilarity(const std::pair<int, int>& pair);
    /** Reduce: enters a pair whose similarity reaches the stored threshold, read anew each time. */
    static void findDuplicateFiles(DuplicateMap& result, const std::tuple<int, int, int>& item);

    /**
     * The records that are compared: Group A's, and those that Group A is compared with. They are
     * static because the stage functions are. Workers only read them, through at(), and only while
     * a comparison runs; the GUI thread writes them only while none runs.
     */
    static QList<FingerprintRecord> fingerprintsFirst;
    static QList<FingerprintRecord> fingerprintsSecond;

public Q_SLOTS:
    // The order is the slots' index in the meta-object; a new slot belongs at the end.
    void newComparison();                             // mainwindow_groups.cpp
    void changeSettings();                            // mainwindow_settings.cpp
    void helpOnline();                                // mainwindow_settings.cpp
    void contact();                                   // mainwindow_settings.cpp
    void about();                                     // mainwindow_settings.cpp
    void on_addFolderButtonGroupA_clicked();          // mainwindow_groups.cpp
    void on_removeFolderButtonGroupA_clicked();       // mainwindow_groups.cpp
    void on_addFolderButtonGroupB_clicked();          // mainwindow_groups.cpp
    void on_removeFolderButtonGroupB_clicked();       // mainwindow_groups.cpp
    void calculateFingerprintParallel();              // mainwindow_fingerprint.cpp
    void compareAudioParallel();                      // mainwindow_compare.cpp
    void showComparisonResults();                     // mainwindow_results.cpp
    void compareValueChanged(int value);              // mainwindow_compare.cpp
    void fpValueChanged(int value);                   // mainwindow_fingerprint.cpp
    void on_playButton_clicked();                     // mainwindow_player.cpp
    void on_stopButton_clicked();                     // mainwindow_player.cpp
    void on_audioSlider_sliderMoved(int position);    // mainwindow_player.cpp
    void positionChanged(qint64 progress);            // mainwindow_player.cpp
    void durationChanged(qint64 duration);            // mainwindow_player.cpp
    void setState(QMediaPlayer::PlaybackState state); // mainwindow_player.cpp
    void on_treeWidget_itemDoubleClicked(QTreeWidgetItem* item,
                                         int column);              // mainwindow_player.cpp
    void on_compareButton_clicked();                               // mainwindow_run.cpp
    void noDuplicateFilesFound();                                  // mainwindow_results.cpp
    void on_deleteFilesButtonMainwindow_clicked();                 // mainwindow_fileops.cpp
    void deleteDialogFinished(int result);                         // mainwindow_fileops.cpp
    void on_moveFilesButtonMainwindow_clicked();                   // mainwindow_fileops.cpp
    void on_copyFilesButtonMainwindow_clicked();                   // mainwindow_fileops.cpp
    void on_comparisonModeSelector_currentIndexChanged(int index); // mainwindow_groups.cpp
    void settingsDialogFinished(int result);                       // mainwindow_settings.cpp
    void aboutDialogFinished(int result);                          // mainwindow_settings.cpp

protected:
    /** Closes at once and cancels nothing; the destructor stops a running comparison. */
    void closeEvent(QCloseEvent* event) override;

private:
    // Construction (mainwindow.cpp)
    void setShortcuts();
    void connectActions();
    void connectStages();

    // Folder groups (mainwindow_groups.cpp)
    void setUpGroups();
    ComparisonMode comparisonMode() const;
    void addFolder(QListWidget* list);
    static void removeCurrentFolder(QListWidget* list);

    // The run (mainwindow_run.cpp)
    void stopStages();
    void endRun();
    /** Wraps \a function for a later call, which does nothing if the run is then over. */
    template <typename Function> auto inThisRun(Function function)
    {
        return [this, run = runNumber, function = std::move(function)](const auto&... arguments) {
            if (run == runNumber) {
                function(arguments...);
            }
        };
    }

    // Fingerprints (mainwindow_fingerprint.cpp)
    void startFingerprintRuns(const QStringList& listA, const QStringList& listB);
    void fingerprintRunFinished();

    // Comparison (mainwindow_compare.cpp)
    void refuseComparison(qsizetype fileCount);
    void startComparison(const std::optional<QList<compare::IndexPair>>& pairs,
                         qsizetype fileCount);

    // Results (mainwindow_results.cpp)
    QList<QTreeWidgetItem*> resultRows(qsizetype& duplicateCount);
    void setUpResults();
    void fillResultMenu(QMenu& menu, const QModelIndex& row);
    QStringList selectedResults() const;

    // Delete, move, copy (mainwindow_fileops.cpp)
    void openDeleteDialog(const QString& operation);
    void discardDeleteDialog();

    // Preview player (mainwindow_player.cpp)
    void setUpPlayer();
    void connectPlayer();
    void resetPlayer();
    void updateDurationInfo(qint64 positionSeconds);
    void mediaStatusChanged(QMediaPlayer::MediaStatus status);
    void showPlayIcon(const QIcon& icon);

    // The members, in the order in which they are destroyed from the end.
    QThreadPool threadPool;
    QFutureWatcher<QList<QStringList>> filesWatcher;
    std::unique_ptr<Ui_MainWindow> ui;
    AudioInfoMap audioInfoMap;
    QFutureWatcher<DuplicateMap> duplicatesWatcher;
    QFuture<QList<QStringList>> filesFuture;
    QFuture<QList<FingerprintRecord>> fingerprintFuture1;
    QFuture<QList<FingerprintRecord>> fingerprintFuture2;
    QFuture<DuplicateMap> duplicatesFuture;
    QFutureWatcher<QList<FingerprintRecord>> fingerprintWatcher1;
    QFutureWatcher<QList<FingerprintRecord>> fingerprintWatcher2;
    QMediaPlayer* player = nullptr;
    QAudioOutput* audioOutput = nullptr;
    int playbackState = QMediaPlayer::StoppedState;
    QIcon playIcon;
    QIcon pauseIcon;
    QString state;
    deleteDialog* activeDeleteDialog = nullptr;
    bool deleteDialogOpen = false;
    DuplicateMap duplicates;
    SettingsDialog* settingsDialog = nullptr;
    bool settingsDialogOpen = false;
    AboutDialog* aboutDialog = nullptr;
    bool aboutDialogOpen = false;
    /** The loaded medium's duration in whole seconds. */
    qint64 durationSeconds = 0;

    /**
     * Counts the stops of runs. What is delivered later than the call that asked for it (a stage's
     * end, a timer) is wrapped by inThisRun() and does nothing in another run.
     */
    quint64 runNumber = 0;
    /** How many of the two fingerprint runs are still to finish before the comparison starts. */
    int pendingFingerprintRuns = 0;
    /** How often a file that was just loaded may still be restarted; 0 once it is played. */
    int startsLeft = 0;
    QElapsedTimer sinceStart;
    RunStatus* runStatus = nullptr;
    /** A long work list while a worker builds it. Errors: no value if memory is short. */
    QFuture<std::optional<QList<compare::IndexPair>>> pairsFuture;
    /**
     * Stops the workers in the middle of their item. Static, as the stage functions are; replaced
     * only while no worker runs.
     */
    static std::stop_source runStop;
};
