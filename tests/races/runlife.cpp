// The life of a run, for a build that finds races: the whole window over a player without a
// backend. Each round starts, ends, cancels, restarts and destroys at every boundary between the
// stages and in the middle of a copy, with 1, 2 and 8 workers.
//
// Usage: runlife [rounds, default 20]
// Prints a line per round; exits with 1 on a wrong result. The sanitizer reports the races.

#include "app/mainwindow.h"
#include "fileops/deletedialog.h"
#include "support/occupiedpool.h"
#include "support/tune.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QLoggingCategory>
#include <QPushButton>
#include <QSettings>
#include <QTemporaryDir>
#include <QThread>
#include <QTreeWidget>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <sched.h>

namespace {

/** The number of processors that the toolkit finds. */
int processorCount = 1;

constexpr int kRounds = 20;
constexpr qint64 kHangGuardMs = 120'000;
/** Listing, fingerprints, pairs, comparison, and after the last of them. */
constexpr int kStages = 5;
constexpr auto kExpected = "3.wav 6.wav";

void require(bool condition, const char* what)
{
    if (!condition) {
        std::printf("FAILED: %s\n", what);
        std::exit(1);
    }
}

/** Two groups: in each three tunes, of which one is the same; a broken file; an empty one. */
class Collection
{
public:
    Collection()
    {
        QDir().mkpath(groupA());
        QDir().mkpath(groupB());
        constexpr double kSeconds = 3;
        constexpr int kSampleRateHz = 11025;
        for (const int name : {1, 2, 3, 4, 5, 6}) {
            const auto seed = static_cast<unsigned>(name == 6 ? 3 : name);
            write((name <= 3 ? groupA() : groupB()) + QStringLiteral("/%1.wav").arg(name),
                  testmedia::wavFile(testmedia::samplesOf({seed, kSeconds, kSampleRateHz, 1}),
                                     kSampleRateHz, 1));
        }
        for (const QString& group : {groupA(), groupB()}) {
            write(group + QStringLiteral("/broken.mp3"), "not music");
            write(group + QStringLiteral("/empty.ogg"), {});
        }
    }
    QString groupA() const
    {
        return m_folder.filePath(QStringLiteral("a"));
    }
    QString groupB() const
    {
        return m_folder.filePath(QStringLiteral("b"));
    }

private:
    static void write(const QString& path, const QByteArray& content)
    {
        QFile file(path);
        require(file.open(QFile::WriteOnly) && file.write(content) == content.size(), "media");
    }
    QTemporaryDir m_folder;
};

/** A window, and the actions of a person in it. */
class Life
{
public:
    explicit Life(const Collection& collection)
        : m_collection(collection)
    {
        build();
    }

    void start(int threads, int mode)
    {
        m_window->newComparison();
        find<QComboBox>("comparisonModeSelector")->setCurrentIndex(mode);
        find<QListWidget>("folderListGroupA")->addItem(m_collection.groupA());
        find<QListWidget>(mode == 0 ? "folderListGroupB" : "folderListGroupA")
            ->addItem(m_collection.groupB());
        processorCount = threads;
        m_window->on_compareButton_clicked();
        require(pool()->maxThreadCount() == threads, "the pool has another number of threads");
    }
    /** Runs the stages before \a stage one after the other, and starts \a stage. */
    void advanceTo(int stage) const
    {
        for (int passed = 0; passed < stage; ++passed) {
            pool()->waitForDone();
            const support::OccupiedPool occupied(pool());
            QCoreApplication::processEvents();
        }
    }
    void finish() const
    {
        QElapsedTimer guard;
        guard.start();
        const auto* count = find<QLabel>("duplicateFoundLabel");
        while (!count->isVisible()) {
            require(guard.elapsed() < kHangGuardMs, "the run hangs");
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
        }
        require(pairs() == QLatin1String(kExpected), "the run finds something else");
    }
    void end(int action)
    {
        switch (action) {
        case 0:
            m_window->newComparison();
            break;
        case 1: {
            auto* modes = find<QComboBox>("comparisonModeSelector");
            const int mode = modes->currentIndex();
            modes->setCurrentIndex(1 - mode);
            modes->setCurrentIndex(mode);
            break;
        }
        case 2:
            m_window->on_compareButton_clicked(); // cancels, and starts again
            finish();
            break;
        default:
            m_window.reset();
            QCoreApplication::processEvents();
            build();
            break;
        }
    }
    /**
     * Copies the duplicates several times over, and moves on before all are copied: closes the
     * dialog, opens another, or destroys the window.
     */
    void copyFound(int action)
    {
        m_window->on_copyFilesButtonMainwindow_clicked();
        constexpr int kOperations = 3;
        constexpr int kMoment = 50;
        deleteDialog* dialog = copyDialog();
        for (int i = 0; i < kOperations; ++i) {
            const QString target = m_targets.filePath(QString::number(m_targetCount++));
            QDir().mkpath(target);
            dialog->findChild<QLineEdit*>(QStringLiteral("dirLabel"))->setText(target);
            dialog->findChild<QPushButton*>(QStringLiteral("copyButton"))->click();
            turn(i);
        }
        switch (action) {
        case 0:
            dialog->accept();
            break;
        case 1:
            m_window->on_moveFilesButtonMainwindow_clicked();
            break;
        case 2:
            turn(kMoment);
            break;
        default:
            end(action);
            break;
        }
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    void waitForStage() const
    {
        pool()->waitForDone();
    }
    /** Delivers events for \a ms while the workers work. */
    static void turn(qint64 ms)
    {
        QElapsedTimer timer;
        for (timer.start(); timer.elapsed() < ms;) {
            QCoreApplication::processEvents();
        }
    }

private:
    void build()
    {
        m_window = std::make_unique<MainWindow>();
        m_window->show();
    }
    template <typename T> T* find(const char* name) const
    {
        T* object = m_window->findChild<T*>(QString::fromLatin1(name));
        require(object != nullptr, name);
        return object;
    }
    static deleteDialog* copyDialog()
    {
        const QWidgetList windows = QApplication::topLevelWidgets();
        for (QWidget* window : windows) {
            auto* dialog = qobject_cast<deleteDialog*>(window);
            if (dialog != nullptr && dialog->operation == QLatin1String("copy")) {
                return dialog;
            }
        }
        require(false, "no dialog that copies");
        return nullptr;
    }
    QThreadPool* pool() const
    {
        return m_window->findChild<QThreadPool*>(QString(), Qt::FindDirectChildrenOnly);
    }
    QString pairs() const
    {
        QStringList names;
        for (QTreeWidgetItemIterator row(find<QTreeWidget>("treeWidget")); *row != nullptr; ++row) {
            names.append((*row)->text(0).section(u'/', -1));
        }
        names.sort(); // within a group, either file may be the reference
        return names.join(u' ');
    }

    const Collection& m_collection;
    QTemporaryDir m_targets;
    int m_targetCount = 0;
    std::unique_ptr<MainWindow> m_window;
};

/** Every action once at every stage, and some at moments that \a random draws. */
void runRound(Life& life, std::mt19937& random)
{
    constexpr int kActions = 4;
    constexpr int kRandomMoments = 10;
    constexpr unsigned kLongestMs = 400;
    for (const int threads : {1, 2, 8}) {
        for (const int mode : {0, 1}) {
            life.start(threads, mode);
            life.finish();
        }
        for (int action = 0; action < kActions; ++action) {
            life.start(threads, 0);
            life.finish();
            life.copyFound(action);
        }
        for (int stage = 0; stage < kStages; ++stage) {
            for (int action = 0; action < kActions; ++action) {
                life.start(threads, 0);
                life.advanceTo(stage);
                if (random() % 2 == 0) {
                    life.waitForStage();
                }
                life.end(action);
            }
        }
        for (int i = 0; i < kRandomMoments; ++i) {
            life.start(threads, static_cast<int>(random() % 2));
            Life::turn(random() % kLongestMs);
            life.end(i % kActions);
        }
    }
}

} // namespace

/**
 * Replaces the system's function, by which the toolkit counts the processors: a run sizes its pool
 * before it starts, and it must not be resized later.
 */
extern "C" int sched_getaffinity(pid_t /*process*/, size_t size, cpu_set_t* processors) noexcept
{
    CPU_ZERO_S(size, processors);
    for (int i = 0; i < processorCount; ++i) {
        CPU_SET_S(static_cast<size_t>(i), size, processors);
    }
    return 0;
}

int main(int argc, char* argv[])
{
    const QApplication application(argc, argv);
    const QTemporaryDir settings;
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, settings.path());
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    const int rounds = argc > 1 ? std::atoi(argv[1]) : kRounds;
    const Collection collection;
    std::mt19937 random(1);
    for (int round = 1; round <= rounds; ++round) {
        Life life(collection);
        runRound(life, random);
        std::printf("round %d of %d\n", round, rounds);
        std::fflush(stdout);
    }
    return 0;
}
