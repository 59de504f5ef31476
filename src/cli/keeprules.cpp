#include "cli/keeprules.h"

#include "cli/optionparser.h"

#include <QFileInfo>

#include <algorithm>
#include <array>

namespace cli {

namespace {

using search::KeepRule;

struct RuleName
{
    KeepRule::Kind kind;
    QLatin1String name;
};

constexpr std::array kRuleNames = {
    RuleName{KeepRule::Kind::Complete, QLatin1String("complete")},
    RuleName{KeepRule::Kind::Lossless, QLatin1String("lossless")},
    RuleName{KeepRule::Kind::SampleRate, QLatin1String("sample-rate")},
    RuleName{KeepRule::Kind::BitRate, QLatin1String("bit-rate")},
    RuleName{KeepRule::Kind::Size, QLatin1String("size")},
    RuleName{KeepRule::Kind::Oldest, QLatin1String("oldest")},
    RuleName{KeepRule::Kind::Under, QLatin1String("under=")}};

/** The parts of \a list between its commas. */
QStringList partsOf(const QString& list)
{
    QStringList parts{QString()};
    bool isEscaped = false;
    for (const QChar character : list) {
        if (!isEscaped && character == QLatin1Char('\\')) {
            isEscaped = true;
            continue;
        }
        if (!isEscaped && character == QLatin1Char(',')) {
            parts.append(QString());
        } else {
            parts.last() += character;
        }
        isEscaped = false;
    }
    if (isEscaped) {
        throw InvalidUsage{QStringLiteral("--keep ends with a backslash, which takes the next "
                                          "character as it is.")};
    }
    return parts;
}

KeepRule underRule(const QString& folder)
{
    // An empty name would mean the current folder.
    if (folder.isEmpty()) {
        throw InvalidUsage{QStringLiteral("--keep under= takes the name of a folder.")};
    }
    const QFileInfo info(asFileName(folder));
    if (!info.isDir()) {
        throw InvalidUsage{(info.exists() ? QStringLiteral("--keep under=: Not a folder: %1")
                                          : QStringLiteral("--keep under=: No such folder: %1"))
                               .arg(folder)};
    }
    return {KeepRule::Kind::Under, info.canonicalFilePath()};
}

KeepRule ruleOf(const QString& text)
{
    const auto* const named =
        std::find_if(kRuleNames.begin(), kRuleNames.end(), [&text](const RuleName& each) {
            return each.kind == KeepRule::Kind::Under ? text.startsWith(each.name)
                                                      : text == each.name;
        });
    if (named == kRuleNames.end()) {
        throw InvalidUsage{QStringLiteral("--keep takes %1, with commas between, not '%2'.")
                               .arg(keepRuleNames(), text)};
    }
    return named->kind == KeepRule::Kind::Under ? underRule(text.mid(named->name.size()))
                                                : KeepRule{named->kind};
}

} // namespace

QList<KeepRule> parseKeepRules(const QStringList& lists)
{
    if (lists.isEmpty()) {
        return {};
    }
    QList<KeepRule> rules{KeepRule{KeepRule::Kind::Complete}};
    for (const QString& list : lists) {
        const QStringList parts = partsOf(list);
        for (const QString& part : parts) {
            const KeepRule rule = ruleOf(part);
            if (!rules.contains(rule)) {
                rules.append(rule);
            }
        }
    }
    return rules;
}

QStringList keepRuleTexts(const QList<KeepRule>& rules)
{
    QStringList texts;
    for (const KeepRule& rule : rules) {
        const auto* const named =
            std::find_if(kRuleNames.begin(), kRuleNames.end(),
                         [&rule](const RuleName& each) { return each.kind == rule.kind; });
        texts.append(named->name + rule.folder);
    }
    return texts;
}

QString keepRuleNames()
{
    QStringList names;
    for (const RuleName& each : kRuleNames) {
        names.append(each.name);
    }
    return names.join(QLatin1String(", ")) + QLatin1String("FOLDER");
}

} // namespace cli
