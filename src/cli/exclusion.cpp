#include "cli/exclusion.h"

#include <QStringView>

#include <algorithm>

namespace cli {

namespace {

constexpr QChar kSlash = u'/';

/** The length of the character at \a at: two code units for those beyond the first 65,536. */
qsizetype characterLength(QStringView text, qsizetype at)
{
    return text[at].isHighSurrogate() && at + 1 < text.size() ? 2 : 1;
}

bool isNegation(QChar character)
{
    return character == u'!' || character == u'^';
}

/** The length of the set at the beginning of \a glob, brackets included; 0 if it has no end. */
qsizetype setLength(QStringView glob)
{
    qsizetype at = 1;
    if (at < glob.size() && isNegation(glob[at])) {
        ++at;
    }
    // A bracket in the first place is one of the set.
    if (at < glob.size() && glob[at] == u']') {
        ++at;
    }
    for (; at < glob.size(); ++at) {
        if (glob[at] == u'\\') {
            ++at;
        } else if (glob[at] == u']') {
            return at + 1;
        }
    }
    return 0;
}

/** The regular expression of \a set, with its brackets. */
QString setExpression(QStringView set)
{
    const QStringView members = set.sliced(1).chopped(1);
    const bool isNegated = isNegation(members.front());
    QString expression = isNegated ? QStringLiteral("(?!/)[^") : QStringLiteral("(?!/)[");
    for (qsizetype at = isNegated ? 1 : 0; at < members.size();) {
        if (members[at] == u'-') { // of a range
            expression += QLatin1Char('-');
            ++at;
            continue;
        }
        at += members[at] == u'\\' && at + 1 < members.size() ? 1 : 0;
        const qsizetype length = characterLength(members, at);
        expression += QRegularExpression::escape(members.sliced(at, length));
        at += length;
    }
    return expression + QLatin1Char(']');
}

/** The regular expression of the stars at \a at in \a glob; moves \a at behind them. */
QString starExpression(QStringView glob, qsizetype& at)
{
    const qsizetype begin = at;
    while (at < glob.size() && glob[at] == u'*') {
        ++at;
    }
    if (at - begin == 1) {
        return QStringLiteral("[^/]*");
    }
    const bool isPart =
        (begin == 0 || glob[begin - 1] == kSlash) && at < glob.size() && glob[at] == kSlash;
    if (!isPart) {
        return QStringLiteral(".*");
    }
    ++at;
    return QStringLiteral("(?:.*/)?");
}

QString expressionOf(QStringView glob)
{
    QString expression;
    for (qsizetype at = 0; at < glob.size();) {
        const QChar character = glob[at];
        const qsizetype set = character == u'[' ? setLength(glob.sliced(at)) : 0;
        if (character == u'*') {
            expression += starExpression(glob, at);
        } else if (set > 0) {
            expression += setExpression(glob.sliced(at, set));
            at += set;
        } else if (character == u'?') {
            expression += QLatin1String("[^/]");
            ++at;
        } else {
            at += character == u'\\' && at + 1 < glob.size() ? 1 : 0;
            const qsizetype length = characterLength(glob, at);
            expression += QRegularExpression::escape(glob.sliced(at, length));
            at += length;
        }
    }
    return expression;
}

} // namespace

Exclusion::Exclusion(const QStringList& patterns)
{
    for (const QString& pattern : patterns) {
        m_patterns.push_back(parsed(pattern));
    }
}

bool Exclusion::isUsable(const QString& pattern)
{
    const Pattern result = parsed(pattern);
    return !result.expression.pattern().isEmpty() && result.expression.isValid();
}

Exclusion::Pattern Exclusion::parsed(const QString& pattern)
{
    QStringView glob = pattern;
    const bool isForFolders = glob.endsWith(kSlash);
    while (glob.endsWith(kSlash)) {
        glob.chop(1);
    }
    const bool isForPath = glob.contains(kSlash);
    if (glob.startsWith(kSlash)) {
        glob = glob.sliced(1);
    }
    if (glob.isEmpty()) {
        return {};
    }
    return {QRegularExpression(QRegularExpression::anchoredPattern(expressionOf(glob)),
                               QRegularExpression::DotMatchesEverythingOption),
            isForPath, isForFolders};
}

bool Exclusion::matches(const QString& pathBelow, bool isFolder) const
{
    const QString name = pathBelow.mid(pathBelow.lastIndexOf(kSlash) + 1);
    return std::any_of(m_patterns.cbegin(), m_patterns.cend(), [&](const Pattern& pattern) {
        return (isFolder || !pattern.isForFolders) &&
               pattern.expression.match(pattern.isForPath ? pathBelow : name).hasMatch();
    });
}

} // namespace cli
