#include "cli/report.h"

#include <algorithm>

namespace cli {

qsizetype Report::duplicateCount() const
{
    qsizetype count = 0;
    for (const auto& matches : duplicates) {
        count += matches.size();
    }
    return count;
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
    std::replace_if(
        text.begin(), text.end(),
        [](QChar character) { return character.category() == QChar::Other_Control; },
        QLatin1Char('?'));
    return text;
}

} // namespace cli
