/*
 * Collections full of links, whose duplicates are deleted and moved with the boxes as they come:
 * afterwards every recording still has a file, and every reference is still there. Where one row
 * that is not ticked by itself is ticked by hand, nothing is lost but its file.
 */
#include "campaign.h"
#include "compare/duplicatemap.h"
#include "fileops/dialogfixture.h"
#include "fileops/samefile.h"
#include "fingerprint/audiofilediscovery.h"
#include "fingerprint/filelists.h"
#include "linkedtree.h"
#include "results/duplicatefilter.h"
#include "results/duplicaterows.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace {

constexpr int kThreshold = 70;
constexpr int kMostPresses = 3;

/** Which recordings are alike: each is like itself, and in some cases others are, too. */
class Likeness
{
public:
    explicit Likeness(fuzz::Random& random)
        : m_chains(fuzz::pick(random, 3) == 0)
        , m_hub(static_cast<char>('A' + fuzz::pick(random, 3)))
    {
    }

    /** With chains, two recordings are unlike each other, and both are like the third. */
    bool isAlike(char first, char second) const
    {
        return first == second || (m_chains && (first == m_hub || second == m_hub));
    }

private:
    bool m_chains;
    char m_hub;
};

/** What a search finds whose files are read, and whose pairs are compared, in any order. */
DuplicateMap search(const QStringList& groupA, const QStringList& groupB, bool withinGroup,
                    const Likeness& likeness, fuzz::Random& random)
{
    fingerprint::FileLists files = fingerprint::listsToFingerprint(
        fingerprint::findAudioFiles(groupA), fingerprint::findAudioFiles(groupB));
    std::shuffle(files.first.begin(), files.first.end(), random);
    std::shuffle(files.second.begin(), files.second.end(), random);
    const QStringList& others = withinGroup ? files.first : files.second;
    QList<std::pair<QString, QString>> pairs;
    for (qsizetype i = 0; i < files.first.size(); ++i) {
        for (qsizetype j = withinGroup ? i + 1 : 0; j < others.size(); ++j) {
            pairs.emplaceBack(files.first.at(i), others.at(j));
        }
    }
    std::shuffle(pairs.begin(), pairs.end(), random);
    DuplicateMap duplicates;
    for (const auto& [reference, match] : std::as_const(pairs)) {
        const bool alike = likeness.isAlike(fuzz::recordingAt(reference), fuzz::recordingAt(match));
        compare::addIfDuplicate(duplicates, reference, match, alike ? 100 : 0, kThreshold);
    }
    return results::filterForDisplay(duplicates);
}

QStringList existingReferences(const DuplicateMap& duplicates)
{
    QStringList existing;
    for (const QString& reference : duplicates.keys()) {
        if (QFileInfo(reference).isFile()) {
            existing.append(reference);
        }
    }
    return existing;
}

/** Opens the dialog, presses its button once or twice, and closes it. */
class Session
{
public:
    Session(const fuzz::LinkedTree& tree, const DuplicateMap& duplicates, const Likeness& likeness)
        : m_tree(tree)
        , m_duplicates(duplicates)
        , m_likeness(likeness)
    {
    }

    void run(const QString& target, fuzz::Random& random) const
    {
        const bool move = fuzz::pick(random, 3) == 0;
        DialogFixture dialog(move ? QStringLiteral("move") : QStringLiteral("delete"));
        dialog.directory()->setText(target);
        const QList<DuplicateRow> rows = results::duplicateRows(m_duplicates);
        dialog.dialog()->addRows(rows);
        requireTicksWithoutLinks(dialog, rows);
        for (quint64 presses = 1 + fuzz::pick(random, 2); presses > 0; --presses) {
            if (fuzz::pick(random, 6) == 0) {
                m_tree.removeAny(random);
            }
            if (dialog.list()->count() > 0 && fuzz::pick(random, 3) == 0) {
                dialog.setTicked(0, false);
                dialog.setTicked(0, true);
            }
            press(dialog, fuzz::pick(random, 8) == 0 && m_tree.mayChangeBehindMount()
                              ? tickByHand(dialog, random)
                              : QString());
        }
    }

private:
    /** Where no file has two names, every duplicate whose reference is there arrives ticked. */
    void requireTicksWithoutLinks(const DialogFixture& dialog,
                                  const QList<DuplicateRow>& rows) const
    {
        const bool complete = existingReferences(m_duplicates).size() == m_duplicates.size();
        fuzz::require(!m_tree.isPlain() || !complete ||
                          dialog.rows().filter(QStringLiteral("[x]")).size() == rows.size(),
                      "a file of its own is not ticked");
    }

    /** Ticks any row that is not ticked; its path, or nothing. */
    static QString tickByHand(DialogFixture& dialog, fuzz::Random& random)
    {
        QList<int> unticked;
        for (int row = 1; row < dialog.list()->count(); ++row) {
            if (dialog.list()->item(row)->checkState() == Qt::Unchecked) {
                unticked.append(row);
            }
        }
        if (unticked.isEmpty()) {
            return {};
        }
        const int row = unticked.at(
            static_cast<qsizetype>(fuzz::pick(random, static_cast<quint64>(unticked.size()))));
        dialog.setTicked(row, true);
        return dialog.list()->item(row)->text();
    }

    /** Presses the button; \a byHand is the row that was ticked by hand, if any. */
    void press(const DialogFixture& dialog, const QString& byHand) const
    {
        QStringList references = existingReferences(m_duplicates);
        references.removeIf(
            [&byHand](const QString& each) { return fileops::isSameFile(each, byHand); });
        const QHash<char, int> before = m_tree.recordings();
        const char given = byHand.isEmpty() ? '\0' : fuzz::recordingAt(byHand);
        dialog.start();
        dialog.waitForIdle();
        for (const QString& reference : references) {
            fuzz::require(QFileInfo(reference).isFile(),
                          "a reference is gone: " + reference.toUtf8());
        }
        const QHash<char, int> after = m_tree.recordings();
        for (auto recording = before.cbegin(); recording != before.cend(); ++recording) {
            const bool left = std::any_of(after.keyBegin(), after.keyEnd(), [&](char other) {
                return m_likeness.isAlike(recording.key(), other);
            });
            const bool wasGiven = recording.key() == given && *recording == 1;
            fuzz::require(left || wasGiven,
                          QByteArray("no file is left of recording ") + recording.key());
        }
    }

    const fuzz::LinkedTree& m_tree;
    const DuplicateMap& m_duplicates;
    const Likeness& m_likeness;
};

void runCase(const QString& base, quint64 seed, quint64 number)
{
    fuzz::Random random = fuzz::randomFor(seed, number);
    const QTemporaryDir target(base + QStringLiteral("/target-XXXXXX"));
    const fuzz::LinkedTree tree(QStringLiteral("%1/%2-%3").arg(base).arg(seed).arg(number), random);
    const Likeness likeness(random);
    const bool withinGroup = fuzz::pick(random, 2) == 0;
    const QStringList groupA = tree.someFolders(random);
    const QStringList groupB = withinGroup ? QStringList() : tree.someFolders(random);
    const DuplicateMap duplicates = search(groupA, groupB, withinGroup, likeness, random);

    const Session session(tree, duplicates, likeness);
    for (quint64 left = 1 + fuzz::pick(random, kMostPresses); left > 0; --left) {
        session.run(target.path(), random);
        if (fuzz::pick(random, 4) == 0) {
            tree.removeAny(random);
        }
    }
}

} // namespace

int main(int argumentCount, char** arguments)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    // The platform remarks on every window.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    const QApplication application(argumentCount, arguments);
    const fuzz::Options options = fuzz::parseOptions(QCoreApplication::arguments());
    for (const char* way : {"bind", "overlay", "bindfs", "mergerfs"}) {
        if (!fuzz::waysToMount().contains(way)) {
            std::printf("no folders that are shown twice by %s: not possible here\n", way);
        }
    }
    const QTemporaryDir folder(fuzz::folderTemplate());
    fuzz::Harness harness;
    harness.name = QStringLiteral("lastcopy");
    harness.casesPerProcess = 500;
    harness.runCase = [&folder](quint64 seed, quint64 number) {
        runCase(folder.path(), seed, number);
    };
    return fuzz::run(harness, options);
}
