#include "cli/applycommand.h"

#include "actions/actionerror.h"
#include "actions/apply.h"
#include "actions/searchresult.h"
#include "actions/undo.h"
#include "cli/exitstatus.h"
#include "cli/interruption.h"
#include "cli/message.h"
#include "cli/progressline.h"
#include "cli/report.h"

#include <QFile>
#include <QLocale>

#include <cstdio>
#include <functional>
#include <stop_token>
#include <utility>

namespace cli {

namespace {

using actions::ActionError;
using actions::Counts;
using actions::HandledFile;
using Outcome = HandledFile::Outcome;

/** A result of a million files has half of it. */
constexpr qint64 kMostResultBytes = qint64{1} << 30;

QByteArray contentOf(const QString& resultFile)
{
    const bool isStandardInput = resultFile == QLatin1String("-");
    QFile file(resultFile);
    const bool isOpen =
        isStandardInput ? file.open(stdin, QFile::ReadOnly) : file.open(QFile::ReadOnly);
    const QByteArray content = isOpen ? file.read(kMostResultBytes + 1) : QByteArray();
    if (!isOpen || file.error() != QFile::NoError) {
        throw ActionError{QStringLiteral("The result cannot be read from %1: %2")
                              .arg(isStandardInput ? QStringLiteral("standard input") : resultFile,
                                   file.errorString())};
    }
    if (content.size() > kMostResultBytes) {
        throw ActionError{QStringLiteral("The result is longer than 1 GiB.")};
    }
    return content;
}

QString sizeText(qint64 bytes)
{
    return QLocale::c().formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat);
}

/** The words in which a command reports. */
struct Wording
{
    QString doing; ///< "Moving"
    QString done;  ///< "moved"
    QString end;   ///< After the numbers.
};

/** Prints what became of each file, and the sums. */
class Reporter
{
public:
    Reporter(Wording wording, bool listsMoved, bool quiet)
        : m_wording(std::move(wording))
        , m_listsMoved(listsMoved)
        , m_progress(!quiet)
    {
    }

    void take(const HandledFile& file)
    {
        m_counts.add(file);
        if (file.outcome == Outcome::LeftAlone ||
            (m_listsMoved && file.outcome == Outcome::Moved)) {
            print(linesOf(file));
        }
        if (m_progress.isDue()) {
            m_progress.show(QStringLiteral("%1: %2 files, %3")
                                .arg(m_wording.doing)
                                .arg(m_counts.moved)
                                .arg(sizeText(m_counts.bytes)));
        }
    }

    void printSummary()
    {
        QString text = QStringLiteral("%1 %2, %3; %4 left alone")
                           .arg(m_counts.moved)
                           .arg(m_wording.done, sizeText(m_counts.bytes))
                           .arg(m_counts.leftAlone);
        if (m_counts.movedBefore > 0) {
            text += QStringLiteral("; %1 moved before").arg(m_counts.movedBefore);
        }
        print(text + m_wording.end + QLatin1Char('\n'));
    }

    void clearProgress()
    {
        m_progress.clear();
    }
    bool hasMoved() const
    {
        return m_counts.moved > 0;
    }

private:
    QString linesOf(const HandledFile& file) const
    {
        if (file.outcome == Outcome::LeftAlone) {
            return QStringLiteral("left alone: %1\n    %2\n")
                .arg(printable(file.path), printable(file.reason));
        }
        QString lines = QStringLiteral("%1: %2\n").arg(m_wording.done, printable(file.path));
        if (!file.reference.isEmpty()) {
            lines += QStringLiteral("    to %1\n    %2 % like %3, which stays\n")
                         .arg(printable(file.destination))
                         .arg(file.similarity)
                         .arg(printable(file.reference));
        }
        return lines;
    }

    void print(const QString& text)
    {
        m_progress.clear();
        std::fputs(text.toUtf8().constData(), stdout);
        std::fflush(stdout);
    }

    const Wording m_wording;
    const bool m_listsMoved;
    ProgressLine m_progress;
    Counts m_counts;
};

using Action = std::function<Counts(const actions::Listener&, const std::stop_token&)>;

/** Does \a action, reports, and returns the exit status. */
int report(Reporter& reporter, const Action& action)
{
    const Interruption interruption(Interruption::Patience::Unlimited);
    const actions::Listener listener = [&reporter](const HandledFile& file) {
        reporter.take(file);
    };
    try {
        const Counts counts = action(listener, interruption.token());
        reporter.printSummary();
        if (counts.isInterrupted) {
            printMessage(QStringLiteral("Interrupted. The same command continues."));
            return interruption.exitStatus();
        }
        return counts.leftAlone > 0 ? SomeLeftAlone : Done;
    } catch (const ActionError& error) {
        reporter.clearProgress();
        printMessage(error.message);
        if (reporter.hasMoved()) {
            reporter.printSummary();
        }
        return Failed;
    }
}

} // namespace

int runApply(const ApplyOptions& options)
{
    actions::SearchResult result;
    try {
        result = actions::readSearchResult(contentOf(options.resultFile));
    } catch (const ActionError& error) {
        printMessage(error.message);
        return Failed;
    }
    const auto perform = options.reallyMove ? &actions::apply : &actions::planApply;
    Wording wording = {QStringLiteral("Moving"), QStringLiteral("moved"), {}};
    if (!options.reallyMove) {
        wording = {QStringLiteral("Checking"), QStringLiteral("would be moved"),
                   QStringLiteral("\nNothing was done. With --yes the files are moved.")};
    }
    Reporter reporter(wording, options.verbose || !options.reallyMove, options.quiet);
    return report(reporter, [&](const actions::Listener& listener, const std::stop_token& stop) {
        return perform(result, {options.folder, options.journalFile, options.rules}, listener,
                       stop);
    });
}

int runUndo(const UndoOptions& options)
{
    Reporter reporter({QStringLiteral("Moving back"), QStringLiteral("moved back"), {}},
                      options.verbose, options.quiet);
    return report(reporter, [&](const actions::Listener& listener, const std::stop_token& stop) {
        return actions::undo(options.journalFile, listener, stop);
    });
}

} // namespace cli
