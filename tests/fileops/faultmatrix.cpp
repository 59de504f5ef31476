#include "faultmatrix.h"

#include "filefixture.h"

#include <QCryptographicHash>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QMap>
#include <QProcess>
#include <QProcessEnvironment>

#include <algorithm>
#include <sys/xattr.h>
#include <utility>

using namespace Qt::StringLiterals;

namespace faultmatrix {

namespace {

constexpr int kHangGuardMs = 60'000;
/** Three blocks of the program's own copying, and more than one of the system's. */
constexpr qsizetype kSize = 300'000;

using SourceAndDestination = std::pair<QString, QString>;
/** What the two folders hold: path -> hash of the content. */
using Contents = QMap<QString, QByteArray>;

Contents contentsOf(const Folders& folders)
{
    Contents contents;
    for (const QString& folder : {folders.here, folders.other}) {
        for (const QString& name : filefixture::entries(folder)) {
            const QString path = folder + u'/' + name;
            contents.insert(path, QCryptographicHash::hash(filefixture::read(path),
                                                           QCryptographicHash::Sha256));
        }
    }
    return contents;
}

/** Files made for a case, and what is there before it; they go with this. */
class Stage
{
public:
    Stage(const Scenario& scenario, const Folders& folders, int count)
        : m_folders(folders)
    {
        empty();
        const QString target = scenario.toOtherFileSystem ? folders.other : folders.here;
        bool ok = filefixture::write(target + u"/beside.mp3"_s, "beside");
        for (int i = 0; i < count; ++i) {
            // Files of different sizes have different contents.
            const qsizetype size = count == 1 ? kSize : 1 + i * i * 3001;
            files.append({QStringLiteral("%1/a%2.mp3").arg(folders.here).arg(i),
                          QStringLiteral("%1/b%2.mp3").arg(target).arg(i)});
            ok = ok && filefixture::write(files.last().first, filefixture::noise(size));
            // Where there are such attributes, the calls that keep them fail as well.
            static_cast<void>(::setxattr(QFile::encodeName(files.last().first).constData(),
                                         "user.rating", "5", 1, 0));
            if (scenario.destinationTaken) {
                ok = ok && filefixture::write(files.last().second, "taken");
            }
        }
        before = ok ? contentsOf(folders) : Contents();
        arguments.append(scenario.operation);
        for (const auto& [source, destination] : std::as_const(files)) {
            arguments.append(source);
            if (scenario.operation != u"delete") {
                arguments.append(destination);
            }
        }
    }
    ~Stage()
    {
        empty();
    }
    Q_DISABLE_COPY_MOVE(Stage)

    QList<SourceAndDestination> files;
    Contents before;
    QStringList arguments;

private:
    void empty() const
    {
        for (const QString& path : contentsOf(m_folders).keys()) {
            QFile::remove(path);
        }
    }
    const Folders& m_folders;
};

bool isTrueSuccess(const QString& operation, const SourceAndDestination& file,
                   const Contents& before, const Contents& after)
{
    const auto& [source, destination] = file;
    const bool sourceAsItWas = after.value(source) == before.value(source);
    const bool arrived =
        !before.contains(destination) && after.value(destination) == before.value(source);
    if (operation == u"delete") {
        return !after.contains(source);
    }
    return arrived && (operation == u"move" ? !after.contains(source) : sourceAsItWas);
}

/** Compares what is there with what was, given what was reported of each file that was ended. */
Tally judge(const Scenario& scenario, const Stage& stage, const Contents& after,
            const QList<bool>& reports)
{
    Tally tally;
    tally.cases = 1;
    const QList<QByteArray> hashes = after.values();
    for (auto file = stage.before.cbegin(); file != stage.before.cend(); ++file) {
        const bool askedFor = scenario.operation == u"delete" && reports.value(0) &&
                              file.key() == stage.files.first().first;
        if (!askedFor && !hashes.contains(file.value())) {
            ++tally.lost;
            tally.complaints.append(u"lost: "_s + file.key());
        }
    }
    for (qsizetype i = 0; i < reports.size(); ++i) {
        if (reports.at(i) &&
            !isTrueSuccess(scenario.operation, stage.files.value(i), stage.before, after)) {
            ++tally.falseSuccesses;
            tally.complaints.append(u"false success: "_s + stage.files.value(i).first);
        }
    }
    return tally;
}

/** Files that are neither an earlier one nor one that was asked for. */
int countLeftOver(const Stage& stage, const Contents& after)
{
    int count = 0;
    Contents wanted = stage.before;
    for (const auto& [source, destination] : stage.files) {
        if (!wanted.contains(destination)) {
            wanted.insert(destination, stage.before.value(source));
        }
    }
    for (auto file = after.cbegin(); file != after.cend(); ++file) {
        count += wanted.value(file.key()) == file.value() ? 0 : 1;
    }
    return count;
}

/** Whether the call is what makes sure that a file's content, or its name, has reached the disk. */
bool isFlush(const tracedrun::Call& call)
{
    return call.name == "fsync" || call.name == "fdatasync";
}

bool struck(const tracedrun::Result& result, const tracedrun::Call& call)
{
    for (const tracedrun::Call& made : result.operationCalls()) {
        if (made.name == call.name && made.number == call.number) {
            return made.line.contains("(INJECTED)");
        }
    }
    return false;
}

QList<bool> reportsIn(const QByteArray& output)
{
    QList<bool> reports;
    for (const QByteArray& line : output.split('\n')) {
        if (!line.isEmpty()) {
            reports.append(line == "true");
        }
    }
    return reports;
}

Tally judgeKilled(const Scenario& scenario, const Stage& stage, const Folders& folders,
                  const QByteArray& output, bool killed, const QString& moment)
{
    const Contents after = contentsOf(folders);
    Tally tally = judge(scenario, stage, after, reportsIn(output));
    tally.fired = killed ? 1 : 0;
    tally.leftOver = countLeftOver(stage, after);
    for (QString& complaint : tally.complaints) {
        complaint = scenario.name() + u", killed at "_s + moment + u": "_s + complaint;
    }
    return tally;
}

} // namespace

QString Scenario::name() const
{
    QString text = operation;
    if (operation != u"delete") {
        text += toOtherFileSystem ? u" to another file system"_s : u" on one file system"_s;
    }
    if (destinationTaken) {
        text += u", name taken"_s;
    }
    for (const QString& call : lacking) {
        text += u", no "_s + call.section(u':', 0, 0);
    }
    if (noUnnamedFiles) {
        text += u", no O_TMPFILE"_s;
    }
    return text;
}

QList<Scenario> scenarios()
{
    const QString noExclusiveRename = u"renameat2:error=EINVAL"_s;
    const QString noLink = u"linkat:error=EPERM"_s;
    QList<Scenario> all = {{u"delete"_s, false, false, {}, false}};
    for (const bool toOther : {false, true}) {
        for (const bool taken : {false, true}) {
            all.append({u"move"_s, toOther, taken, {}, false});
            all.append({u"move"_s, toOther, taken, {noExclusiveRename}, false});
            all.append({u"move"_s, toOther, taken, {noExclusiveRename, noLink}, false});
            if (toOther) {
                all.append({u"move"_s, toOther, taken, {}, true});
            }
            all.append({u"copy"_s, toOther, taken, {}, false});
            all.append({u"copy"_s, toOther, taken, {}, true});
            all.append({u"copy"_s, toOther, taken, {noLink}, false});
            all.append({u"copy"_s, toOther, taken, {noLink, noExclusiveRename}, false});
        }
    }
    return all;
}

const QStringList& errors()
{
    static const QStringList names = {u"EACCES"_s, u"ENOSPC"_s, u"EIO"_s,          u"EXDEV"_s,
                                      u"EROFS"_s,  u"EBUSY"_s,  u"ENAMETOOLONG"_s, u"EMFILE"_s};
    return names;
}

QString Fault::inWords() const
{
    return QStringLiteral("%1:error=%2:when=%3%4")
        .arg(QString::fromLatin1(call.name), error)
        .arg(call.number)
        .arg(forGood ? u"+"_s : QString());
}

Tally& Tally::operator+=(const Tally& other)
{
    cases += other.cases;
    fired += other.fired;
    lost += other.lost;
    falseSuccesses += other.falseSuccesses;
    notAsBefore += other.notAsBefore;
    leftOver += other.leftOver;
    complaints += other.complaints;
    return *this;
}

QString Tally::text() const
{
    return QStringLiteral("%1 cases, %2 fired, %3 lost, %4 false successes, %5 failures that "
                          "changed something, %6 left over")
        .arg(cases, 5)
        .arg(fired, 5)
        .arg(lost)
        .arg(falseSuccesses)
        .arg(notAsBefore)
        .arg(leftOver);
}

QStringList lackingIn(const Scenario& scenario, const Folders& folders)
{
    QStringList lacking = scenario.lacking;
    if (scenario.noUnnamedFiles) {
        const Stage stage(scenario, folders, 1);
        const int number =
            tracedrun::run(stage.arguments, lacking).numberOfCall("openat", "O_TMPFILE");
        // Where the name is taken, it does not come to that.
        if (number > 0) {
            lacking.append(u"openat:error=EOPNOTSUPP:when=%1"_s.arg(number));
        }
    }
    return lacking;
}

QList<Fault> faultsOf(const Scenario& scenario, const QStringList& lacking, const Folders& folders)
{
    const Stage stage(scenario, folders, 1);
    const tracedrun::Result result = tracedrun::run(stage.arguments, lacking);
    QList<Fault> faults;
    for (const tracedrun::Call& call : result.operationCalls()) {
        // The tracer accepts one fault for each kind of call.
        const QString name = QString::fromLatin1(call.name) + u':';
        if (std::any_of(lacking.cbegin(), lacking.cend(),
                        [&name](const QString& fault) { return fault.startsWith(name); })) {
            continue;
        }
        for (const QString& error : errors()) {
            faults.append({call, error, false, isFlush(call)});
            faults.append({call, error, true, isFlush(call)});
        }
    }
    return faults;
}

Tally runCase(const Scenario& scenario, const QStringList& lacking, const Fault& fault,
              const Folders& folders)
{
    const Stage stage(scenario, folders, 1);
    const tracedrun::Result result =
        tracedrun::run(stage.arguments, QStringList(lacking) << fault.inWords());
    const Contents after = contentsOf(folders);
    // A fault that stays may keep the answer from being printed, so the status is asked.
    const bool success = result.exitCode == 0;
    Tally tally = judge(scenario, stage, after, {success});
    tally.fired = struck(result, fault.call) && result.exitCode >= 0 ? 1 : 0;
    if (success && fault.concernsFlush) {
        ++tally.falseSuccesses;
        tally.complaints.append(u"success, though not all could be flushed"_s);
    }
    if (!success && fault.forGood) {
        tally.leftOver = countLeftOver(stage, after);
    } else if (!success && after != stage.before) {
        ++tally.notAsBefore;
        tally.complaints.append(u"the failure left something behind"_s);
    }
    if (tally.fired == 0) {
        tally.complaints.append(u"the fault did not strike"_s);
    }
    for (QString& complaint : tally.complaints) {
        complaint = scenario.name() + u", "_s + fault.inWords() + u": "_s + complaint;
    }
    return tally;
}

Course courseOf(const Scenario& scenario, const Folders& folders)
{
    Course course;
    {
        const Stage stage(scenario, folders, kKilledFiles);
        course.calls = tracedrun::run(stage.arguments, {}).operationCalls();
    }
    const Stage stage(scenario, folders, kKilledFiles);
    QProcess driver;
    QElapsedTimer timer;
    timer.start();
    driver.start(QStringLiteral(QUORVEL_FILEOPS_DRIVER), stage.arguments);
    driver.waitForFinished(kHangGuardMs);
    course.microseconds = timer.nsecsElapsed() / 1000;
    return course;
}

Tally killAtCall(const Scenario& scenario, const tracedrun::Call& call, const Folders& folders)
{
    const Stage stage(scenario, folders, kKilledFiles);
    const QString kill = QStringLiteral("%1:signal=KILL:when=%2")
                             .arg(QString::fromLatin1(call.name))
                             .arg(call.number);
    const tracedrun::Result result = tracedrun::run(stage.arguments, {kill});
    return judgeKilled(scenario, stage, folders, result.output, result.killed, kill);
}

Tally killAtTime(const Scenario& scenario, qint64 microseconds, const Folders& folders)
{
    // On a busy machine the driver may end before this process continues.
    constexpr int kMostAttempts = 100;
    for (int attempt = 1;; ++attempt, microseconds /= 2) {
        const Stage stage(scenario, folders, kKilledFiles);
        QProcess driver;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"QUORVEL_ANNOUNCE"_s, u"1"_s);
        driver.setProcessEnvironment(environment);
        driver.setReadChannel(QProcess::StandardError);
        driver.start(QStringLiteral(QUORVEL_FILEOPS_DRIVER), stage.arguments);
        driver.waitForReadyRead(kHangGuardMs);
        QElapsedTimer timer;
        timer.start();
        while (timer.nsecsElapsed() < microseconds * 1000) {
            // Too short a time for the system's clocks of sleeping.
        }
        driver.kill();
        driver.waitForFinished(kHangGuardMs);
        const bool killed = driver.exitStatus() == QProcess::CrashExit;
        if (killed || attempt == kMostAttempts) {
            return judgeKilled(scenario, stage, folders, driver.readAllStandardOutput(), killed,
                               QStringLiteral("%1 us").arg(microseconds));
        }
    }
}

} // namespace faultmatrix
