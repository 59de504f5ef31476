#include "cli/report.h"

#include "search/failurereason.h"

#include <algorithm>

namespace cli {

namespace {

/** Whether \a character ends a line, moves the cursor, or changes the direction of writing. */
bool steersTheTerminal(QChar character)
{
    switch (character.category()) {
    case QChar::Other_Control:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        break;
    }
    // Other invisible characters stay: joiners are part of names in many languages.
    switch (character.direction()) {
    case QChar::DirLRE:
    case QChar::DirLRO:
    case QChar::DirRLE:
    case QChar::DirRLO:
    case QChar::DirPDF:
    case QChar::DirLRI:
    case QChar::DirRLI:
    case QChar::DirFSI:
    case QChar::DirPDI:
        return true;
    default:
        return false;
    }
}

} // namespace

qsizetype Report::duplicateCount() const
{
    qsizetype count = 0;
    for (const auto& matches : duplicates) {
        count += matches.size();
    }
    return count;
}

qsizetype Report::tooShortForFingerprint() const
{
    return std::count_if(failures.cbegin(), failures.cend(), [](const search::FailedFile& failure) {
        return search::isTooShort(failure.reason);
    });
}

qsizetype Report::notSearchedCount() const
{
    qsizetype count = 0;
    for (const UnsearchedEnding& ending : notSearched) {
        count += ending.count;
    }
    return count;
}

qsizetype Report::countOf(fingerprint::Completeness completeness) const
{
    return std::count_if(facts.cbegin(), facts.cend(),
                         [completeness](const fingerprint::FileFacts& file) {
                             return file.completeness == completeness;
                         });
}

bool writeReport(ReportSink& sink, const Report& report, Format format)
{
    switch (format) {
    case Format::Tree:
        return writeTree(sink, report);
    case Format::Json:
        return writeJson(sink, report);
    case Format::Csv:
        return writeCsv(sink, report);
    }
    return false;
}

QString printable(QString text)
{
    std::replace_if(text.begin(), text.end(), steersTheTerminal, QLatin1Char('?'));
    return text;
}

} // namespace cli
