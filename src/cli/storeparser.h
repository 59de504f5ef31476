#pragma once

#include "cli/commandline.h"

#include <QStringList>

/** The command lines of the commands that fill stores. */
namespace cli {

constexpr auto kFingerprintUsage =
    "Usage: quorvel-cli fingerprint [options] --store FILE FOLDER...";

/**
 * Parses \a arguments: the program's name, and what follows the command's.
 * Requires: an application object. Errors: throws InvalidUsage. Thread: Any thread.
 */
CommandLine parseFingerprint(const QStringList& arguments);

} // namespace cli
