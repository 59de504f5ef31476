#pragma once

#include "cli/commandline.h"

#include <QStringList>

/** The command lines of the commands that move files. */
namespace cli {

constexpr auto kApplyUsage = "Usage: quorvel-cli apply [options] --move-to FOLDER RESULT";
constexpr auto kUndoUsage = "Usage: quorvel-cli undo [options] JOURNAL";

/**
 * Parses \a arguments: the program's name, and what follows the command's.
 * Requires: an application object. Errors: throws InvalidUsage. Thread: Any thread.
 */
CommandLine parseApply(const QStringList& arguments);
CommandLine parseUndo(const QStringList& arguments);

} // namespace cli
