#pragma once

#include "actions/apply.h"

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <stop_token>

/** What a run did and reported. */
struct Performance
{
    actions::Counts counts;
    QList<actions::HandledFile> files;
    /** Why it ended; empty if it did not fail. */
    QString failure;

    /** Why the file \a path was left alone; empty if it was not. */
    QString reasonOf(const QString& path) const;
    /** "2 moved, 1 before, 0 left alone", or the failure. */
    QString text() const;
};

/**
 * A folder "music" with the recordings "one" and "two", each a reference and a duplicate or two, and
 * what moves the duplicates from it:
 *
 *     music/one.flac      music/a/one.mp3, music/a/b/one.ogg
 *     music/two.flac      music/a/two.mp3
 */
class Stage
{
public:
    Stage();

    QString music(const QString& name) const
    {
        return m_folder.filePath(QStringLiteral("music/") + name);
    }
    /** Beside the music; what is moved to it has \a name. */
    QString target(const QString& name = {}) const;
    QString besides(const QString& name) const
    {
        return m_folder.filePath(name);
    }
    /** The place of the music's file \a name when it has been moved. */
    QString moved(const QString& name) const
    {
        return target() + music(name);
    }
    QString journal() const
    {
        return m_folder.filePath(QStringLiteral("found.json.journal"));
    }

    /** All that is in the music; see resultfixture::picture(). */
    QStringList picture() const;
    /** Everything on the stage, the music, the target and the journal. */
    QStringList wholePicture() const;

    /** Moves what is moved to another folder from now on. */
    void setTarget(const QString& folder)
    {
        m_target = folder;
    }
    QJsonObject reference(const QString& name) const;
    QJsonObject duplicate(const QString& name) const;
    /** The result as of the stage's beginning; another one with setGroups(). */
    QByteArray result() const;
    void setGroups(const QList<QJsonObject>& groups)
    {
        m_groups = groups;
    }

    Performance apply(const actions::ApplyRules& rules = {}) const;
    Performance plan() const;
    Performance undo() const;
    /** As apply(), but stops after \a count files. */
    Performance applyAndStopAfter(int count) const;
    Performance undoAndStopAfter(int count) const;

private:
    QTemporaryDir m_folder;
    QString m_target;
    QList<QJsonObject> m_groups;
};
