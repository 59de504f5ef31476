#pragma once

#include <QString>

#include <functional>
#include <optional>
#include <stop_token>

namespace search {

class FingerprintStore;

/** How stores are merged. */
struct MergeOptions
{
    /** If set, called after each few thousand files with their number, and with that of all. */
    std::function<void(qsizetype, qsizetype)> progress;
    /** A requested stop is answered after the next few thousand files. */
    std::stop_token stop;
};

/**
 * Takes into \a store all that the store in the file \a part has, in one transaction: of a file that
 * both have, the newest state, by the time of the last change of anything, then of the content. If
 * these are equal, what \a store has stays. Facts and failures belong to the state. A \a part that
 * is \a store itself, under any name, has nothing to add.
 *
 * Only reads \a part, which must be a store of this version. Another program that writes to it
 * waits.
 *
 * Returns the number of files taken; no value if stopped, and nothing is taken then.
 * Requires: the thread that made \a store. Errors: throws StoreError; nothing is taken then.
 * Thread: Any thread, blocking.
 */
std::optional<qsizetype> mergeStore(FingerprintStore& store, const QString& part,
                                    const MergeOptions& options = {});

} // namespace search
