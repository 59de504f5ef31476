#pragma once

namespace cli {

/** Exit statuses. A program that a signal interrupts exits with 128 and the signal's number. */
enum ExitStatus {
    Done = 0,
    /** A folder, or one below it, does not exist or was not read; the others were searched. */
    FolderMissing = 1,
    /** The same of apply and undo: some files were left alone. */
    SomeLeftAlone = FolderMissing,
    WrongUsage = 2,
    /** There is no result, or some fingerprints could not be saved to the store. */
    Failed = 3,
};

} // namespace cli
