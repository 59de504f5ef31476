/*
 * Settings stores with any content: every read gives an answer, and the first-run defaults are
 * written beside what is there, never over it.
 */
#include "campaign.h"
#include "mutation.h"
#include "settings/settingsstore.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QHash>
#include <QImage>
#include <QSettings>
#include <QTemporaryDir>

namespace {

/** The keys of this program, and every notation of the format. */
const QList<QByteArray>& seeds()
{
    // NOLINTBEGIN(bugprone-suspicious-missing-comma): a long seed goes on in the next line
    static const QList<QByteArray> all = {
        "[General]\nmulticore=true\nsimilarity=70\n",
        "[General]\nmulticore=false\nsimilarity=-5\n",
        "[General]\nsimilarity=85\n",
        "[General]\nmulticore=garbage\nsimilarity=seventy\nother=1\n",
        "similarity=85\nmulticore=1\n",
        "[General]\nsimilarity=\"8\\x35\"\nmulticore=\" true \"\n",
        "[General]\nsimilarity=@Variant(\\0\\0\\0\\x2\\0\\0\\0U)\nmulticore=@Invalid()\n",
        "[General]\nsimilarity=@ByteArray(85)\nmulticore=@ByteArray(\\x1\\xff)\n",
        "[General]\nsimilarity=1, 2, 3\nmulticore=@String(true)\n",
        "[General]\nsimilarity=@Variant(\\0\\0\\0\\t\\0\\0\\0\\x1\\0\\0\\0\\x2\\0\\0\\0U)\n"
        "multicore=@Rect(0 0 1 1)\n",
        "[General]\nsimilarity=@Variant(\\0\\0\\0\\b\\0\\0\\0\\x1\\0\\0\\0\\x2\\0k\\0\\0\\0\\x2)\n"
        "multicore=@Size(1 1)\n",
        "[General]\nsimilarity=@Variant(\\0\\0\\0\\x46\\0\\0\\0\\x1\\x89PNG\\r\\n\\x1a\\n)\n"
        "multicore=@Point(1 1)\n",
        "[General]\nsimilarity=@DateTime(\\0\\0\\0\\x10\\0\\0\\0\\0\\0\\0%"
        "\\x87\\x90\\0\\0\\0\\0\\0)\n",
        "; a comment\n[%General]\nsimilarity=1\n[windows]\nsize=@Size(800 600)\n[General]\n"
        "multicore=true\nsimilarity=99999999999\n",
        "[General]\r\nmulticore=true\r\nsimilarity=70\r\n",
        "\xEF\xBB\xBF[General]\nsimilarity=70\nmulticore=true\n"};
    // NOLINTEND(bugprone-suspicious-missing-comma)
    return all;
}

QByteArray contentOfCase(quint64 seed, quint64 number)
{
    fuzz::Random random = fuzz::randomFor(seed, number);
    if (fuzz::pick(random, 32) == 0) {
        return fuzz::noise(static_cast<qsizetype>(fuzz::pick(random, 200)), random);
    }
    const auto index =
        static_cast<qsizetype>(fuzz::pick(random, static_cast<quint64>(seeds().size())));
    return fuzz::mutated(seeds().at(index), seeds(), random);
}

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QFile::ReadOnly) ? file.readAll() : QByteArray();
}

struct Stored
{
    QHash<QString, QVariant> values;
    QString path;
};

Stored readStore()
{
    const QSettings store(QStringLiteral("tandrik"), QStringLiteral("quorvel"));
    Stored stored;
    stored.path = store.fileName();
    const QStringList keys = store.allKeys();
    for (const QString& key : keys) {
        // A damaged section can list a key that cannot be read: its name is read as another one.
        if (!key.isEmpty() && !key.startsWith(u'/') && !key.endsWith(u'/') &&
            !key.contains(QStringLiteral("//"))) {
            stored.values.insert(key, store.value(key));
        }
    }
    return stored;
}

void checkDefaults(const Stored& before)
{
    const QByteArray bytesBefore = contentOf(before.path);
    settings::writeMissingDefaults();
    const Stored after = readStore();
    for (auto kept = before.values.cbegin(); kept != before.values.cend(); ++kept) {
        fuzz::require(after.values.contains(kept.key()), "lost: " + kept.key().toUtf8());
        fuzz::require(after.values.value(kept.key()).toString() == kept.value().toString(),
                      "written over: " + kept.key().toUtf8());
    }
    const QString similarity = QStringLiteral("similarity");
    const QString multicore = QStringLiteral("multicore");
    if (before.values.contains(similarity) && before.values.contains(multicore)) {
        fuzz::require(contentOf(before.path) == bytesBefore, "a complete store was rewritten");
        return;
    }
    fuzz::require(before.values.contains(similarity) || settings::similarityThreshold() == 70,
                  "no default for similarity");
    fuzz::require(before.values.contains(multicore) || settings::multicoreEnabled(),
                  "no default for multicore");
}

void runCase(const QString& base, quint64 seed, quint64 number)
{
    // The toolkit remembers the files that it has read; each case gets one of its own.
    const QString folder = QStringLiteral("%1/%2").arg(base).arg(number);
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, folder);
    fuzz::require(QDir().mkpath(folder + QStringLiteral("/tandrik")), "no folder could be made");
    QFile file(folder + QStringLiteral("/tandrik/quorvel.conf"));
    const QByteArray content = contentOfCase(seed, number);
    fuzz::require(file.open(QFile::WriteOnly) && file.write(content) == content.size(),
                  "the store could not be written");
    file.close();

    const settings::Values values = settings::read();
    fuzz::require(values.similarityThreshold == settings::similarityThreshold() &&
                      values.multicore == settings::multicoreEnabled(),
                  "two reads, two answers");
    checkDefaults(readStore());
    settings::write({85, false});
    fuzz::require(settings::similarityThreshold() == 85 && !settings::multicoreEnabled(),
                  "what was saved is not what is read");
    fuzz::require(QDir(folder).removeRecursively(), "the folder could not be removed");
}

} // namespace

int main(int argumentCount, char** arguments)
{
    // The toolkit grumbles about nearly every case.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    const QCoreApplication application(argumentCount, arguments);
    const fuzz::Options options = fuzz::parseOptions(QCoreApplication::arguments());
    const QTemporaryDir folder(fuzz::folderTemplate());
    QSettings::setPath(QSettings::NativeFormat, QSettings::SystemScope, folder.path());
    // The program links the interface library, whose types a store can hold.
    const QImage image;
    fuzz::Harness harness;
    harness.name = QStringLiteral("settings");
    harness.runCase = [&folder](quint64 seed, quint64 number) {
        runCase(folder.path(), seed, number);
    };
    harness.contentOf = contentOfCase;
    return fuzz::run(harness, options);
}
