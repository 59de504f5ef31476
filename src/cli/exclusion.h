#pragma once

#include <QRegularExpression>
#include <QString>
#include <QStringList>

#include <vector>

namespace cli {

/**
 * The files and folders that a user excludes from a search, as patterns of shells.
 *
 * A pattern without a slash is that of a name, at any depth. One with a slash at its beginning or
 * in its middle is that of the whole path below the searched folder. One with a slash at its end is
 * that of folders alone. "*" matches any characters but a slash, "?" any one character but a slash,
 * "[a-z]" and "[!a-z]" one that is, or is not, in a set; "**" matches slashes, too, and as a part of
 * a path of its own any number of folders, none included. A backslash takes the next character as
 * it is. Letter case counts.
 *
 * Thread: Any thread.
 */
class Exclusion
{
public:
    /** Requires: each of \a patterns isUsable(). */
    explicit Exclusion(const QStringList& patterns);

    /** False for a pattern without a name, and for one with a set such as "[z-a]". */
    static bool isUsable(const QString& pattern);

    /** Whether a pattern matches the entry at \a pathBelow the searched folder. */
    bool matches(const QString& pathBelow, bool isFolder) const;

private:
    struct Pattern
    {
        QRegularExpression expression;
        bool isForPath = false;
        bool isForFolders = false;
    };

    static Pattern parsed(const QString& pattern);

    std::vector<Pattern> m_patterns;
};

} // namespace cli
