#pragma once

#include "support/media.h"

#include <QString>
#include <QStringList>

namespace testmedia {

/** The same tune in the formats that the preview must play, and what may pass for them. */
class PlayableMedia
{
public:
    static constexpr int kTuneMs = 3000;
    static constexpr int kLongTuneMs = 8000;
    /** How far off durations and positions may be: encoders pad, backends read clocks seldom. */
    static constexpr int kToleranceMs = 300;
    static bool isNear(qint64 valueMs, qint64 expectedMs);

    /** The names of the tune's files, one for each format. */
    static QStringList names();

    /** Makes the files. */
    PlayableMedia();

    /** A file of the folder; by one of names(), it is a tune of kTuneMs. */
    QString path(const QString& name) const;
    /** A tune of kLongTuneMs, long enough to do something while it plays. */
    QString longTune() const;
    /** Makes a copy of the long tune that is cut off at \a durationMs. */
    QString cutLongTune(const QString& name, int durationMs) const;
    /** Makes files that do not play: noise, nothing, text, a folder, and one that is missing. */
    QStringList unplayable() const;
    /** The folder, to add more. */
    const MediaFolder& folder() const
    {
        return m_folder;
    }

private:
    MediaFolder m_folder;
};

} // namespace testmedia
