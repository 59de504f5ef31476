/*
 * Collections full of links, hard links, folders listed repeatedly and mounts, whose duplicates are
 * moved and moved back by what quorvel-cli does it with, under any rules, with any interruptions:
 * every recording has a file left, every reference is there, nothing is overwritten, and afterwards
 * everything is as it was.
 */
#include "actions/actionerror.h"
#include "actions/apply.h"
#include "actions/resultfixture.h"
#include "actions/searchresult.h"
#include "actions/undo.h"
#include "campaign.h"
#include "compare/duplicatemap.h"
#include "fingerprint/audiofilediscovery.h"
#include "fingerprint/filelists.h"
#include "linkedtree.h"
#include "results/duplicatefilter.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QSet>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <stop_token>
#include <utility>

namespace {

using fuzz::pick;
using fuzz::Random;
using fuzz::require;

constexpr int kThreshold = 70;

bool chance(Random& random, quint64 oneIn)
{
    return pick(random, oneIn) == 0;
}

/** Any similarity of two files: files of one recording are alike, and of two may be by chance. */
int similarityOf(const QString& first, const QString& second, Random& random)
{
    const bool isSame = fuzz::recordingAt(first) == fuzz::recordingAt(second);
    return isSame ? 85 + static_cast<int>(pick(random, 16)) : 0;
}

/** What a search finds whose files are read in any order. */
DuplicateMap search(const QStringList& groupA, const QStringList& groupB, Random& random)
{
    fingerprint::FileLists files = fingerprint::listsToFingerprint(
        fingerprint::findAudioFiles(groupA), fingerprint::findAudioFiles(groupB));
    std::shuffle(files.first.begin(), files.first.end(), random);
    std::shuffle(files.second.begin(), files.second.end(), random);
    const bool withinGroup = groupB.isEmpty();
    const QStringList& others = withinGroup ? files.first : files.second;
    DuplicateMap duplicates;
    for (qsizetype i = 0; i < files.first.size(); ++i) {
        for (qsizetype j = withinGroup ? i + 1 : 0; j < others.size(); ++j) {
            const QString& first = files.first.at(i);
            const QString& second = others.at(j);
            compare::addIfDuplicate(duplicates, first, second, similarityOf(first, second, random),
                                    kThreshold);
        }
    }
    return chance(random, 4) ? duplicates : results::filterForDisplay(duplicates);
}

QJsonObject anyFacts(QJsonObject file, Random& random)
{
    file.insert(QStringLiteral("durationMs"), chance(random, 4) ? 5'000 : 200'000);
    file.insert(QStringLiteral("partial"), chance(random, 6));
    file.insert(QStringLiteral("featureless"), chance(random, 6));
    return file;
}

QByteArray resultOf(const DuplicateMap& duplicates, const QStringList& folders, Random& random)
{
    QList<QJsonObject> groups;
    for (auto entry = duplicates.cbegin(); entry != duplicates.cend(); ++entry) {
        QList<QJsonObject> matches;
        for (const auto& [path, similarity] : entry.value()) {
            matches.append(anyFacts(resultfixture::duplicateObject(path, similarity), random));
        }
        groups.append(resultfixture::groupObject(
            anyFacts(resultfixture::fileObject(entry.key()), random), matches));
    }
    return resultfixture::resultJson(folders, groups);
}

/** One collection, and all that is done with it. */
class Case
{
public:
    Case(const QString& base, const QString& root, Random& random)
        : m_random(random)
        , m_root(root)
        , m_tree(root, random)
        , m_outside(base + QStringLiteral("/outside-XXXXXX"))
    {
        resultfixture::ageFolders(root);
        const QStringList groupA = m_tree.someFolders(random);
        const QStringList groupB = chance(random, 2) ? QStringList() : m_tree.someFolders(random);
        const DuplicateMap duplicates = search(groupA, groupB, random);
        m_references = duplicates.keys();
        m_result = actions::readSearchResult(resultOf(duplicates, clean(groupA + groupB), random));
        m_request.folder = anyFolder();
        m_request.journalFile = m_outside.filePath(QStringLiteral("journal"));
        m_request.rules = {static_cast<int>(pick(random, 101)), chance(random, 2),
                           chance(random, 2), chance(random, 2)};
    }

    void run()
    {
        const QStringList before = picture();
        const QHash<char, int> recordings = m_tree.recordings();
        if (chance(m_random, 3)) {
            static_cast<void>(plan());
            require(picture() == before, "a plan changed something");
        }
        for (quint64 runs = 1 + pick(m_random, 3); runs > 0; --runs) {
            apply();
            requireEverything(recordings, before);
            if (chance(m_random, 4)) {
                undo(chance(m_random, 2));
                requireEverything(recordings, before);
            }
        }
        undo(false);
        const QStringList after = picture();
        requireSame(before, after);
    }

private:
    /** Without what an overlay keeps for itself. */
    QStringList picture() const
    {
        QStringList lines = resultfixture::picture(m_root);
        lines.removeIf(
            [](const QString& line) { return line.contains(QStringLiteral("/mounted.changes")); });
        return lines;
    }

    static QStringList clean(QStringList folders)
    {
        std::transform(folders.begin(), folders.end(), folders.begin(),
                       [](const QString& folder) { return QDir::cleanPath(folder); });
        return folders;
    }

    /** Mostly outside of the tree; one inside that was searched is refused. */
    QString anyFolder()
    {
        if (chance(m_random, 8)) {
            return m_tree.someFolders(m_random).constFirst() + QStringLiteral("/target");
        }
        if (chance(m_random, 8)) {
            return m_root + QStringLiteral("/target");
        }
        return m_outside.filePath(QStringLiteral("target"));
    }

    actions::Listener stopSometimes(std::stop_source& stop)
    {
        return [this, &stop](const actions::HandledFile&) {
            if (chance(m_random, 10)) {
                stop.request_stop();
            }
        };
    }

    /** Without an effect where it is refused. */
    void apply()
    {
        std::stop_source stop;
        try {
            actions::apply(m_result, m_request, stopSometimes(stop), stop.get_token());
        } catch (const actions::ActionError& error) {
            require(error.message.contains(QStringLiteral("that was searched")),
                    error.message.toUtf8());
            m_refused = true;
        }
    }

    actions::Counts plan() const
    {
        try {
            return actions::planApply(m_result, m_request, [](const actions::HandledFile&) {}, {});
        } catch (const actions::ActionError&) {
            return {};
        }
    }

    void undo(bool stopped)
    {
        if (!QFileInfo::exists(m_request.journalFile)) {
            return;
        }
        std::stop_source stop;
        try {
            actions::undo(m_request.journalFile,
                          stopped ? stopSometimes(stop)
                                  : actions::Listener([](const actions::HandledFile&) {}),
                          stop.get_token());
        } catch (const actions::ActionError& error) {
            require(m_refused, error.message.toUtf8());
        }
    }

    /** Whether \a path leads to the target, under any name. */
    static bool isInTarget(const QString& path)
    {
        return QFileInfo(path).canonicalFilePath().contains(QStringLiteral("/target"));
    }

    void requireEverything(const QHash<char, int>& recordings, const QStringList& before)
    {
        for (const QString& reference : std::as_const(m_references)) {
            require(fuzz::recordingAt(reference) != '\0' && !isInTarget(reference),
                    "a reference is gone: " + reference.toUtf8());
        }
        QSet<char> left;
        for (const QString& line : picture()) {
            const QString path = line.section(QLatin1Char(' '), 0, 0);
            if (QFileInfo(path).isFile() && !isInTarget(path)) {
                left.insert(fuzz::recordingAt(path));
            }
        }
        for (auto recording = recordings.cbegin(); recording != recordings.cend(); ++recording) {
            require(left.contains(recording.key()),
                    QByteArray("no file is left of recording ") + recording.key());
        }
        requireNothingOverwritten(before);
    }

    /** Whatever has a name that was there before is what it was, but for folders' times. */
    void requireNothingOverwritten(const QStringList& before) const
    {
        const QSet<QString> lines(before.cbegin(), before.cend());
        for (const QString& line : picture()) {
            const QString path = line.section(QLatin1Char(' '), 0, 0);
            const bool isFolder = line.section(QLatin1Char(' '), 1, 1).startsWith(u'4');
            require(isFolder || lines.contains(line) || isInTarget(path),
                    "overwritten or new: " + line.toUtf8());
        }
    }

    static void requireSame(const QStringList& before, const QStringList& after)
    {
        for (qsizetype i = 0; i < std::max(before.size(), after.size()); ++i) {
            require(before.value(i) == after.value(i),
                    "before: " + before.value(i).toUtf8() + "\nafter:  " + after.value(i).toUtf8());
        }
    }

    Random& m_random;
    const QString m_root;
    const fuzz::LinkedTree m_tree;
    const QTemporaryDir m_outside;
    QStringList m_references;
    actions::SearchResult m_result;
    actions::ApplyRequest m_request;
    bool m_refused = false;
};

void runCase(const QString& base, quint64 seed, quint64 number)
{
    Random random = fuzz::randomFor(seed, number);
    Case(base, QStringLiteral("%1/%2-%3").arg(base).arg(seed).arg(number), random).run();
}

} // namespace

int main(int argumentCount, char** arguments)
{
    const QCoreApplication application(argumentCount, arguments);
    const fuzz::Options options = fuzz::parseOptions(QCoreApplication::arguments());
    for (const char* way : {"bind", "overlay", "bindfs", "mergerfs"}) {
        if (!fuzz::waysToMount().contains(way)) {
            std::printf("no folders that are shown twice by %s: not possible here\n", way);
        }
    }
    const QTemporaryDir folder(fuzz::folderTemplate());
    // The lock is in the home folder.
    qputenv("HOME", QFile::encodeName(folder.path()));
    fuzz::Harness harness;
    harness.name = QStringLiteral("apply");
    harness.casesPerProcess = 500;
    harness.runCase = [&folder](quint64 seed, quint64 number) {
        runCase(folder.path(), seed, number);
    };
    return fuzz::run(harness, options);
}
