#include "cli/mergecommand.h"

#include "cli/exitstatus.h"
#include "cli/interruption.h"
#include "cli/message.h"
#include "cli/progressline.h"
#include "search/fingerprintstore.h"
#include "search/storemerge.h"

#include <optional>

namespace cli {

namespace {

/** One run of the command, with the store open. */
class PartMerging
{
public:
    PartMerging(const MergeOptions& options, const Interruption& interruption)
        : m_options(options)
        , m_interruption(interruption)
        , m_progress(!options.quiet)
        , m_store(options.storeFile)
    {
    }

    int run()
    {
        bool hasFailed = false;
        for (m_position = 0; m_position < m_options.parts.size(); ++m_position) {
            if (m_interruption.token().stop_requested()) {
                break;
            }
            try {
                if (!merge(m_options.parts.at(m_position))) {
                    break;
                }
            } catch (const search::StoreError& error) {
                m_progress.clear();
                printMessage(error.message());
                hasFailed = true;
            }
        }
        m_progress.clear();
        if (m_position < m_options.parts.size()) {
            printMessage(QStringLiteral("Interrupted after %1 of %2 stores. The same command "
                                        "continues.")
                             .arg(m_position)
                             .arg(m_options.parts.size()));
            return m_interruption.exitStatus();
        }
        return hasFailed ? Failed : Done;
    }

private:
    /** Returns false if stopped. */
    bool merge(const QString& part)
    {
        show(0, 0);
        const std::optional<qsizetype> count = search::mergeStore(
            m_store, part,
            {[this](qsizetype done, qsizetype all) { show(done, all); }, m_interruption.token()});
        if (count && m_options.verbose) {
            m_progress.clear();
            printMessage(QStringLiteral("Merged: %1: %2 %3")
                             .arg(part)
                             .arg(*count)
                             .arg(*count == 1 ? QStringLiteral("file taken")
                                              : QStringLiteral("files taken")));
        }
        return count.has_value();
    }

    void show(qsizetype done, qsizetype all)
    {
        if (m_progress.isDue()) {
            m_progress.show(QStringLiteral("Merging: store %1 of %2, %3 of %4 files")
                                .arg(m_position + 1)
                                .arg(m_options.parts.size())
                                .arg(done)
                                .arg(all));
        }
    }

    const MergeOptions& m_options;
    const Interruption& m_interruption;
    ProgressLine m_progress;
    search::FingerprintStore m_store;
    qsizetype m_position = 0;
};

} // namespace

int runMerge(const MergeOptions& options)
{
    const Interruption interruption;
    try {
        return PartMerging(options, interruption).run();
    } catch (const search::StoreError& error) {
        printMessage(error.message());
        return Failed;
    }
}

} // namespace cli
