#pragma once

#include "actions/applyrules.h"
#include "search/durationrange.h"
#include "search/keeporder.h"
#include "search/shard.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace cli {

/** Output formats: for people, for programs, for spreadsheets. */
enum class Format {
    Tree,
    Json,
    Csv,
};

/** The options of the commands that find files and fingerprint them. */
struct FileOptions
{
    /** Group A of a search. */
    QStringList folders;
    int threadCount = 1;
    /** Patterns of an Exclusion. */
    QStringList excluded;
    /** Endings of files to search besides those of the window: lower case, no dot. */
    QStringList moreEndings;
    /** Whether files of every audio ending that FFmpeg knows are searched. */
    bool everyEnding = false;
    /** Empty: none. */
    QString storeFile;
    bool quiet = false;
    bool verbose = false;
};

/** The lengths in seconds of the shortest part that is listed. */
inline constexpr int kDefaultPartLength = 20;
inline constexpr int kLeastPartLength = 8;

/** The options of a search. */
struct Options : FileOptions
{
    /** Group B; without one, the files of Group A are compared with each other. */
    QStringList against;
    /** In percent; no value: the stored setting. */
    std::optional<int> threshold;
    Format format = Format::Tree;
    /** Empty: standard output. */
    QString outputFile;
    search::DurationRange durations;
    bool allPairs = false;
    /** Which file of a group is its reference; none: the one whose path is first. */
    QList<search::KeepRule> keep;
    /** Whether parts that files have in common are listed, too. */
    bool parts = false;
    /** The length of the shortest such part in seconds. */
    int leastPartLength = kDefaultPartLength;
    /** Whether files that are gone are taken out of the store. */
    bool forget = false;
    /** Whether the store is searched in place of the files. */
    bool trustStore = false;
};

/** The options of the command that only fingerprints. */
struct FingerprintOptions : FileOptions
{
    search::Shard shard;
};

/** The options of the command that merges stores. */
struct MergeOptions
{
    QString storeFile;
    QStringList parts;
    bool quiet = false;
    bool verbose = false;
};

/** The options of the command that moves duplicates. */
struct ApplyOptions
{
    /** "-": standard input. */
    QString resultFile;
    QString folder;
    QString journalFile;
    actions::ApplyRules rules;
    /** Without it, only what would be done is shown. */
    bool reallyMove = false;
    bool quiet = false;
    bool verbose = false;
};

/** The options of the command that moves duplicates back. */
struct UndoOptions
{
    QString journalFile;
    bool quiet = false;
    bool verbose = false;
};

/** A parsed command line. */
struct CommandLine
{
    enum class Request {
        Search,
        Fingerprint,
        Merge,
        Apply,
        Undo,
        ShowText,
        WrongUsage,
    };

    Request request = Request::Search;
    /** For a search. */
    Options options = {};
    FingerprintOptions fingerprint = {};
    MergeOptions merge = {};
    ApplyOptions apply = {};
    UndoOptions undo = {};
    /** The text to show, or the error with the usage line. */
    QString text = {};
};

/**
 * Parses \a arguments, the program's name included. The first one after that may be a command;
 * without one, it is a search.
 * Requires: an application object. Errors: in the result. Thread: Any thread.
 */
CommandLine parseCommandLine(const QStringList& arguments);

} // namespace cli
