#pragma once

#include "cli/commandline.h"
#include "compare/audioinfomap.h"
#include "compare/duplicatemap.h"
#include "search/fingerprintcollection.h"

#include <QByteArray>
#include <QIODevice>
#include <QList>
#include <QString>

#include <optional>
#include <stop_token>
#include <utility>

namespace cli {

/** What a search found, to be written. */
struct Report
{
    /** Whether files were compared between two groups, or else within one. */
    bool betweenGroups = false;
    int threshold = 0;
    qsizetype fileCount = 0;
    DuplicateMap duplicates;
    /** Of all files compared. */
    AudioInfoMap audioInfo;
    QList<search::FailedFile> failures;
    /** In seconds; what is shorter was left out. No value: files of any length were compared. */
    std::optional<int> leastDuration;
    qsizetype tooShortCount = 0;

    /** The number of entries of all keys. */
    qsizetype duplicateCount() const;
};

/** Where a report goes, piece by piece; takes nothing any more once a stop is requested. */
class ReportSink
{
public:
    explicit ReportSink(QIODevice& device, std::stop_token stop = {})
        : m_device(device)
        , m_stop(std::move(stop))
    {
    }

    /** False when \a piece was not taken, or not whole. */
    bool write(const QByteArray& piece)
    {
        return !m_stop.stop_requested() && m_device.write(piece) == piece.size();
    }

private:
    QIODevice& m_device;
    std::stop_token m_stop;
};

/**
 * Writes \a report in \a format, in UTF-8.
 * Errors: returns false when \a sink does not take it all.
 * Thread: any thread, blocking.
 */
bool writeReport(ReportSink& sink, const Report& report, Format format);

bool writeTree(ReportSink& sink, const Report& report);
bool writeJson(ReportSink& sink, const Report& report);
bool writeCsv(ReportSink& sink, const Report& report);

/**
 * \a text with each control character as "?", those that turn the direction of writing included, to
 * be shown on a terminal: a file's name is other people's, and must not move the cursor, end the
 * line, or pass for another.
 */
QString printable(QString text);

} // namespace cli
