#pragma once

#include "cli/commandline.h"
#include "cli/foundfiles.h"
#include "cli/partentries.h"
#include "compare/audioinfomap.h"
#include "compare/duplicatemap.h"
#include "fingerprint/filefacts.h"
#include "search/durationrange.h"
#include "search/fingerprintcollection.h"

#include <QByteArray>
#include <QHash>
#include <QIODevice>
#include <QList>
#include <QString>
#include <QStringList>

#include <stop_token>
#include <utility>

namespace cli {

/** The result of a search. */
struct Report
{
    /** Whether files were compared between two groups, not within one. */
    bool betweenGroups = false;
    /** The searched folders of Group A and of Group B, absolute. */
    QStringList folders;
    QStringList against;
    int threshold = 0;
    /** The rules by which references were chosen; empty if by their paths. */
    QStringList keep;
    qsizetype fileCount = 0;
    DuplicateMap duplicates;
    /** Of all files compared. */
    AudioInfoMap audioInfo;
    /** Of the same files, by path. */
    QHash<QString, fingerprint::FileFacts> facts;
    /** No value: parts were not looked for. */
    std::optional<PartList> parts;
    QList<search::FailedFile> failures;
    QList<fingerprint::SkippedEntry> skipped;
    QList<UnsearchedEnding> notSearched;
    /** Other files were left out. */
    search::DurationRange durations;
    qsizetype tooShortCount = 0;
    qsizetype tooLongCount = 0;

    /** The number of entries of all keys. */
    qsizetype duplicateCount() const;
    /** The number of failures that are whole files, too short for a fingerprint. */
    qsizetype tooShortForFingerprint() const;
    /** The number of files of all endings that were not searched. */
    qsizetype notSearchedCount() const;
    /** The number of files compared of which \a completeness is known. */
    qsizetype countOf(fingerprint::Completeness completeness) const;
};

/** Writes a report piece by piece; refuses all pieces once a stop is requested. */
class ReportSink
{
public:
    explicit ReportSink(QIODevice& device, std::stop_token stop = {})
        : m_device(device)
        , m_stop(std::move(stop))
    {
    }

    /** Returns false if \a piece was not written whole. */
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
 * Errors: returns false if \a sink refuses a piece.
 * Thread: Any thread, blocking.
 */
bool writeReport(ReportSink& sink, const Report& report, Format format);

bool writeTree(ReportSink& sink, const Report& report);
bool writeJson(ReportSink& sink, const Report& report);
bool writeCsv(ReportSink& sink, const Report& report);

/**
 * Returns \a text with each control character, those of writing direction included, as "?". Names
 * come from other people: on a terminal they must not move the cursor, end the line, or look like
 * another name.
 */
QString printable(QString text);

} // namespace cli
