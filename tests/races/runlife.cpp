// The life of a run, for a build that finds races: the window's own code and the libraries over
// stand-ins for the widgets. Each round starts, ends, cancels, restarts and destroys at every
// boundary between the stages and in the middle of a copy, with 1, 2 and 8 workers.
//
// Usage: runlife [rounds, 20 unless given]
// Prints a line per round; exits with 1 on a wrong result. What races is reported by the sanitizer.

#include "app/mainwindow.h"
#include "fileops/deletedialog.h"
#include "support/occupiedpool.h"
#include "support/tune.h"
#include "ui_deletedialog.h"
#include "ui_mainwindow.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLoggingCategory>
#include <QSettings>
#include <QTemporaryDir>
#include <QThread>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <sched.h>

namespace {

/** What the machine is said to have. */
int processorCount = 1;

constexpr int kRounds = 20;
constexpr qint64 kHangGuardMs = 120'000;
/** What a run has begun with: listing, fingerprints, comparison, results; and what comes after. */
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

/** A window, and what is done to it. */
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
        form().comparisonModeSelector->setCurrentIndex(mode);
        form().folderListGroupA->addItem(m_collection.groupA());
        (mode == 0 ? form().folderListGroupB : form().folderListGroupA)
            ->addItem(m_collection.groupB());
        processorCount = threads;
        m_window->on_compareButton_clicked();
        require(pool()->maxThreadCount() == threads, "the pool has another number of threads");
    }
    /** Lets the stages before \a stage run and speak, one after the other, and \a stage begin. */
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
        while (!form().duplicateFoundLabel->isVisible()) {
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
        case 1:
            m_window->on_comparisonModeSelector_currentIndexChanged(1);
            m_window->on_comparisonModeSelector_currentIndexChanged(0);
            break;
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
     * Copies what was found, several times over, by the dialog of its own, and moves on before all
     * is copied: closes the dialog, opens another, or lets the window go.
     */
    void copyFound(int action)
    {
        m_window->on_copyFilesButtonMainwindow_clicked();
        constexpr int kOperations = 3;
        constexpr int kMoment = 50;
        // The slots of the dialog are private: they are called as the form does.
        auto* dialog = static_cast<deleteDialog*>(QDialog::last);
        for (int i = 0; i < kOperations; ++i) {
            const QString target = m_targets.filePath(QString::number(m_targetCount++));
            QDir().mkpath(target);
            dialog->ui->dirLabel->setText(target);
            QMetaObject::invokeMethod(dialog, "on_copyButton_clicked");
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
    void letTheStageFinish() const
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
    }
    static Ui_MainWindow& form()
    {
        return *Ui_MainWindow::current;
    }
    QThreadPool* pool() const
    {
        return m_window->findChild<QThreadPool*>(QString(), Qt::FindDirectChildrenOnly);
    }
    static QString pairs()
    {
        const auto nameOf = [](const QTreeWidgetItem* row) {
            return row->text(0).section(u'/', -1);
        };
        QStringList names;
        for (const QTreeWidgetItem* row : form().treeWidget->rows()) {
            names.append(nameOf(row));
            for (const QTreeWidgetItem* child : row->children()) {
                names.append(nameOf(child));
            }
        }
        names.sort(); // within a group, either file may be the reference
        return names.join(u' ');
    }

    const Collection& m_collection;
    QTemporaryDir m_targets;
    int m_targetCount = 0;
    std::unique_ptr<MainWindow> m_window;
};

/** Everything once; the moments that are left to chance are \a random's. */
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
                    life.letTheStageFinish();
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
 * Answers in the place of the system, which the toolkit asks how many threads a pool should have: a
 * run sizes its pool before it starts, and nobody may do so later.
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
    const QCoreApplication application(argc, argv);
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
