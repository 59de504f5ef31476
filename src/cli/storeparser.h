#pragma once

#include "cli/commandline.h"

#include <QStringList>

/** The command lines of the commands that fill stores. */
namespace cli {

constexpr auto kFingerprintUsage =
    "Usage: quorvel-cli fingerprint [options] --store FILE FOLDER...";
constexpr auto kMergeUsage = "Usage: quorvel-cli merge [options] --into STORE PART...";

/**
 * Parses \a arguments: the program's name, and what follows the command's.
 * Requires: an application object. Errors: throws InvalidUsage. Thread: Any thread.
 */
CommandLine parseFingerprint(const QStringList& arguments);
CommandLine parseMerge(const QStringList& arguments);

} // namespace cli
