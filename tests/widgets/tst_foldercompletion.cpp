#include "widgets/foldercompletion.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QCompleter>
#include <QLineEdit>
#include <QProcess>
#include <QSemaphore>
#include <QStringListModel>
#include <QTest>
#include <QThreadPool>

#include <cstdio>
#include <cstdlib>
#include <cstring>

using namespace Qt::StringLiterals;

namespace {

constexpr int kHangGuardMs = 60000;
constexpr auto kEndDuringListing = "--end-during-listing";

/** A disk whose folder /slow answers when it is let. Outlives the threads that wait for it. */
struct SlowDisk
{
    QStringList list(const QString& folder)
    {
        if (folder == u"/slow/"_s) {
            asked.release();
            answers.acquire();
            answered.release();
        }
        return {folder + u"music"_s};
    }
    QSemaphore asked;
    QSemaphore answers;
    QSemaphore answered;
};

SlowDisk& disk()
{
    static auto* const slowDisk = new SlowDisk;
    return *slowDisk;
}

QStringList listSlowly(const QString& folder)
{
    return disk().list(folder);
}

/** What a person sees who types: an active window with the field. */
std::unique_ptr<QLineEdit> newField()
{
    auto field = std::make_unique<QLineEdit>();
    folderCompletion::completes(field.get(), &listSlowly);
    field->show();
    field->activateWindow();
    return field;
}

/** The program of another process: ends while a folder is listed. */
int endDuringListing(QApplication& application)
{
    const auto field = newField();
    QTest::keyClicks(field.get(), u"/slow/"_s);
    disk().asked.acquire();
    QMetaObject::invokeMethod(&application, &QCoreApplication::quit, Qt::QueuedConnection);
    return QApplication::exec();
}

} // namespace

class TestFolderCompletion : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fieldGoesWhileAFolderIsListed();
    void programEndsWhileAFolderIsListed();
    void foldersThatThePathHasLeftAreNotOffered();
};

void TestFolderCompletion::fieldGoesWhileAFolderIsListed()
{
    auto field = newField();
    QTest::keyClicks(field.get(), u"/slow/"_s);
    disk().asked.acquire();
    field.reset();
    QCOMPARE(disk().answered.available(), 0);
    // Nor does what waits for the pool that all share.
    QVERIFY(QThreadPool::globalInstance()->waitForDone(0));
    disk().answers.release();
    disk().answered.acquire();
    QCoreApplication::processEvents();
}

void TestFolderCompletion::programEndsWhileAFolderIsListed()
{
    QProcess program;
    program.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    program.start(QCoreApplication::applicationFilePath(),
                  {QString::fromLatin1(kEndDuringListing)});
    QVERIFY(program.waitForFinished(kHangGuardMs));
    QCOMPARE(program.exitStatus(), QProcess::NormalExit);
    QCOMPARE(program.exitCode(), EXIT_SUCCESS);
}

void TestFolderCompletion::foldersThatThePathHasLeftAreNotOffered()
{
    const auto field = newField();
    QVERIFY(QTest::qWaitForWindowActive(field.get()));
    const auto* model = qobject_cast<QStringListModel*>(field->completer()->model());
    QStringList offered;
    connect(model, &QAbstractItemModel::modelReset, this,
            [&offered, model] { offered += model->stringList(); });
    const auto typeSlash = [&field](const QString& folder) {
        field->setText(folder);
        QTest::keyClick(field.get(), Qt::Key_Slash);
    };
    typeSlash(u"/slow"_s);
    disk().asked.acquire();
    typeSlash(u"/quick"_s);
    QTRY_COMPARE_WITH_TIMEOUT(offered, QStringList(u"/quick/music"_s), kHangGuardMs);
    disk().answers.release();
    disk().answered.acquire();
    typeSlash(u"/next"_s);
    QTRY_COMPARE_WITH_TIMEOUT(offered, QStringList({u"/quick/music"_s, u"/next/music"_s}),
                              kHangGuardMs);
}

int main(int argc, char* argv[])
{
    QApplication application(argc, argv);
    if (argc == 2 && std::strcmp(argv[1], kEndDuringListing) == 0) {
        return endDuringListing(application);
    }
    TestFolderCompletion test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_foldercompletion.moc"
