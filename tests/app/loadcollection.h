#pragma once

#include "support/media.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

/**
 * A collection of many small files, a tenth of them broken in different ways, in two groups: "a"
 * with a hundredth of the files (but at least kSmallestGroup) and "b" with the others. A few tunes
 * are encoded, the rest is written by this program, the same in each run.
 *
 * Every fourth sound file of "b" has the tune of files of "a".
 */
class LoadCollection
{
public:
    static constexpr int kSmallestGroup = 20;

    explicit LoadCollection(int fileCount);

    QString groupA() const
    {
        return m_folder.filePath(QStringLiteral("a"));
    }
    QString groupB() const
    {
        return m_folder.filePath(QStringLiteral("b"));
    }
    int brokenCount() const
    {
        return m_brokenCount;
    }
    /** How many pairs of files are compared. */
    qint64 pairCount() const;

private:
    void encodeTunes();
    void fillGroup(const QString& group, int fileCount, bool sharesTunes);
    void writeSound(const QString& name, int tune, int format) const;
    void writeBroken(const QString& name, int kind) const;

    testmedia::MediaFolder m_folder;
    QList<QByteArray> m_sounds; ///< kTunes tunes, each in every format.
    int m_brokenCount = 0;
};
