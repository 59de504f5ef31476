#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace cli {

/** What is written: for people, for programs, for spreadsheets. */
enum class Format {
    Tree,
    Json,
    Csv,
};

/** What the command line asks for. */
struct Options
{
    /** Group A. */
    QStringList folders;
    /** Group B; without one, the files of Group A are compared with each other. */
    QStringList against;
    /** In percent; no value: the stored setting. */
    std::optional<int> threshold;
    int threadCount = 1;
    Format format = Format::Tree;
    /** Empty: standard output. */
    QString outputFile;
    /** In seconds; no value: files of any length. */
    std::optional<int> leastDuration;
    bool allPairs = false;
    /** Empty: none. */
    QString storeFile;
    bool quiet = false;
    bool verbose = false;
};

/** A command line, taken apart. */
struct CommandLine
{
    enum class Request {
        Search,
        ShowText,
        WrongUsage,
    };

    Request request = Request::Search;
    /** For a search. */
    Options options;
    /** What to show, or what is wrong, the usage line included. */
    QString text;
};

/**
 * Takes \a arguments apart, the program's name included.
 * Errors: in the result. Thread: any thread, with an application object.
 */
CommandLine parseCommandLine(const QStringList& arguments);

} // namespace cli
