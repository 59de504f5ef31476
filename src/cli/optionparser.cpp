#include "cli/optionparser.h"

#include <algorithm>

namespace cli {

QString asFileName(const QString& name)
{
    return name.startsWith(QLatin1Char(':')) ? QLatin1String("./") + name : name;
}

QStringList asFileNames(QStringList names)
{
    std::transform(names.cbegin(), names.cend(), names.begin(), asFileName);
    return names;
}

OptionParser::OptionParser(const QString& description)
    : quiet(option({QStringLiteral("q"), QStringLiteral("quiet")},
                   QStringLiteral("Show no progress.")))
    , help(option({QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Show this help.")))
{
    m_parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsCompactedShortOptions);
    m_parser.setApplicationDescription(description);
}

void OptionParser::parseOptions(const QStringList& arguments)
{
    if (!m_parser.parse(arguments)) {
        throw InvalidUsage{m_parser.errorText()};
    }
}

int OptionParser::number(const QCommandLineOption& option, int least, int most) const
{
    bool isNumber = false;
    const int value = m_parser.value(option).toInt(&isNumber);
    if (!isNumber || value < least || value > most) {
        throw InvalidUsage{QStringLiteral("--%1 takes a whole number from %2 to %3.")
                               .arg(option.names().constLast())
                               .arg(least)
                               .arg(most)};
    }
    return value;
}

QString OptionParser::fileName(const QCommandLineOption& option) const
{
    const QString name = m_parser.value(option);
    if (m_parser.isSet(option) && name.isEmpty()) {
        throw InvalidUsage{
            QStringLiteral("--%1 takes a file name.").arg(option.names().constLast())};
    }
    return asFileName(name);
}

QString OptionParser::helpText(const QString& usage, const QString& further) const
{
    const QString text = m_parser.helpText();
    return usage + text.mid(text.indexOf(QLatin1Char('\n'))) + further;
}

QCommandLineOption OptionParser::option(const QStringList& names, const QString& description,
                                        const char* value)
{
    return {names, description, QString::fromLatin1(value)};
}

} // namespace cli
