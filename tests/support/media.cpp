#include "support/media.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

#include <filesystem>

namespace testmedia {

namespace {

constexpr int kNoTimeLimit = -1;

/** A path as ffmpeg takes it, whatever characters it has. */
QString url(const QString& path)
{
    return QStringLiteral("file:") + path;
}

QStringList tuneInput(const Tune& tune)
{
    return {QStringLiteral("-f"),  QStringLiteral("s16le"),
            QStringLiteral("-ar"), QString::number(tune.sampleRateHz),
            QStringLiteral("-ac"), QString::number(tune.channels),
            QStringLiteral("-i"),  QStringLiteral("pipe:0")};
}

void require(bool condition, const QString& what)
{
    if (!condition) {
        qFatal("%s", qUtf8Printable(what));
    }
}

/** The name of what ffmpeg makes of these; another ffmpeg may make something else. */
QString keptName(const QString& suffix, const QStringList& arguments, const QByteArray& input)
{
    static const qint64 version =
        QFileInfo(QStandardPaths::findExecutable(QStringLiteral("ffmpeg")))
            .lastModified()
            .toMSecsSinceEpoch();
    QCryptographicHash hash(QCryptographicHash::Sha256);
    hash.addData(QByteArray::number(version));
    hash.addData(arguments.join(u'\n').toUtf8() + '\n');
    hash.addData(input);
    return QString::fromLatin1(hash.result().toHex()) + u'.' + suffix;
}

/**
 * Makes the file at \a path with ffmpeg, or copies what another test made of the same \a arguments
 * and \a input: encoding takes half the time of the tests of reading. QUORVEL_TEST_MEDIA names the
 * folder of what is kept.
 */
void makeOrCopy(const QString& path, const QStringList& arguments, const QByteArray& input)
{
    const QDir keptMedia(qEnvironmentVariable("QUORVEL_TEST_MEDIA"));
    // Not if it is made of a file of the test, whose content is not part of the arguments.
    const bool readsFiles = !arguments.filter(QDir::tempPath()).isEmpty();
    if (!qEnvironmentVariableIsSet("QUORVEL_TEST_MEDIA") || readsFiles) {
        runFfmpeg(arguments + QStringList{url(path)}, input);
        return;
    }
    require(keptMedia.mkpath(QStringLiteral(".")), keptMedia.path());
    const QString kept = keptMedia.filePath(keptName(QFileInfo(path).suffix(), arguments, input));
    if (!QFile::exists(kept)) {
        runFfmpeg(arguments + QStringList{url(path)}, input);
        // Several tests may make the same at once: each under a name of its own first.
        const QString unfinished =
            kept + QStringLiteral(".%1").arg(QCoreApplication::applicationPid());
        require(QFile::copy(path, unfinished), unfinished);
        std::filesystem::rename(unfinished.toStdString(), kept.toStdString());
        return;
    }
    QFile::remove(path);
    require(QFile::copy(kept, path), path);
}

/** Input and streams of a film with a picture like \a options of ffmpeg, and the tune before it. */
QStringList movingPicture(const QString& options)
{
    return {QStringLiteral("-f"),   QStringLiteral("lavfi"),
            QStringLiteral("-i"),   QStringLiteral("testsrc2=") + options,
            QStringLiteral("-map"), QStringLiteral("1:v"),
            QStringLiteral("-map"), QStringLiteral("0:a")};
}

} // namespace

void runFfmpeg(const QStringList& arguments, const QByteArray& input)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    const QStringList quietly = {QStringLiteral("-v"), QStringLiteral("error"),
                                 QStringLiteral("-y")};
    process.start(QStringLiteral("ffmpeg"), quietly + arguments);
    require(process.waitForStarted(),
            QStringLiteral("The ffmpeg program could not be started: ") + process.errorString());
    process.write(input);
    process.closeWriteChannel();
    process.waitForFinished(kNoTimeLimit);
    require(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0,
            QStringLiteral("ffmpeg %1: %2")
                .arg(arguments.join(u' '), QString::fromUtf8(process.readAll())));
}

MediaFolder::MediaFolder()
{
    require(folder.isValid(), folder.errorString());
}

MediaFolder::~MediaFolder()
{
    // The toolkit does not see names that are not valid UTF-8, and would leave them behind.
    std::error_code ignored;
    std::filesystem::remove_all(folder.path().toStdString(), ignored);
}

QString MediaFolder::path() const
{
    return folder.path();
}

QString MediaFolder::filePath(const QString& name) const
{
    const QString path = folder.filePath(name);
    require(QDir().mkpath(QFileInfo(path).path()), path);
    return path;
}

QString MediaFolder::write(const QString& name, const QByteArray& content) const
{
    return writeSparse(name, content, content.size());
}

QString MediaFolder::writeSparse(const QString& name, const QByteArray& content, qint64 size) const
{
    QFile file(filePath(name));
    require(file.open(QIODevice::WriteOnly) && file.write(content) == content.size() &&
                file.resize(size),
            file.fileName() + QStringLiteral(": ") + file.errorString());
    return file.fileName();
}

QString MediaFolder::makeTune(const QString& name, const Tune& tune,
                              const QStringList& outputArguments) const
{
    const QString path = filePath(name);
    makeOrCopy(path, tuneInput(tune) + outputArguments, samplesOf(tune));
    return path;
}

QString MediaFolder::makeFilm(const QString& name, const Tune& tune,
                              const QStringList& outputArguments) const
{
    const QString path = filePath(name);
    makeOrCopy(path,
               tuneInput(tune) +
                   movingPicture(QStringLiteral("s=176x144:r=10:d=%1").arg(tune.seconds)) +
                   outputArguments,
               samplesOf(tune));
    return path;
}

QString MediaFolder::makeLargeFilm(const QString& name, int width, int height, const Tune& tune,
                                   const QStringList& outputArguments) const
{
    const QString path = filePath(name);
    makeOrCopy(path,
               tuneInput(tune) + movingPicture(QStringLiteral("s=%1x%2").arg(width).arg(height)) +
                   outputArguments,
               samplesOf(tune));
    return path;
}

QString MediaFolder::makePicture(const QString& name, int width, int height,
                                 const QStringList& outputArguments) const
{
    const QString path = filePath(name);
    makeOrCopy(path,
               QStringList{QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                           QStringLiteral("testsrc2=s=%1x%2").arg(width).arg(height),
                           QStringLiteral("-frames:v"), QStringLiteral("1")} +
                   outputArguments,
               {});
    return path;
}

QString MediaFolder::addCover(const QString& name, const QString& mediaPath,
                              const QString& picturePath, const QStringList& outputArguments) const
{
    const QString path = filePath(name);
    runFfmpeg(QStringList{QStringLiteral("-i"), url(mediaPath), QStringLiteral("-i"),
                          url(picturePath), QStringLiteral("-map"), QStringLiteral("0:a"),
                          QStringLiteral("-map"), QStringLiteral("1:v"), QStringLiteral("-c"),
                          QStringLiteral("copy"), QStringLiteral("-disposition:v"),
                          QStringLiteral("attached_pic")} +
              outputArguments + QStringList{url(path)});
    return path;
}

QString MediaFolder::join(const QString& name, const QStringList& paths) const
{
    QByteArray joined;
    for (const QString& path : paths) {
        joined.append(contentOf(path));
    }
    return write(name, joined);
}

QString MediaFolder::truncate(const QString& name, const QString& path, double fraction) const
{
    const QByteArray content = contentOf(path);
    return write(name, content.first(
                           static_cast<qsizetype>(static_cast<double>(content.size()) * fraction)));
}

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    require(file.open(QIODevice::ReadOnly), path + QStringLiteral(": ") + file.errorString());
    return file.readAll();
}

} // namespace testmedia
