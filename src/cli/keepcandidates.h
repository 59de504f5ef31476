#pragma once

#include "compare/audioinfomap.h"
#include "fingerprint/filefacts.h"
#include "search/keeporder.h"

#include <QHash>
#include <QString>

namespace cli {

/** What the rules see of the files of a search. */
class KeepCandidates
{
public:
    /** Requires: the arguments outlive the object. Thread: Reentrant: one object per thread. */
    KeepCandidates(const AudioInfoMap& audioInfo,
                   const QHash<QString, fingerprint::FileFacts>& facts)
        : m_audioInfo(audioInfo)
        , m_facts(facts)
    {
    }

    /** The file at \a path. Resolves the links of each folder once. */
    search::KeepCandidate fileAt(const QString& path);

private:
    const AudioInfoMap& m_audioInfo;
    const QHash<QString, fingerprint::FileFacts>& m_facts;
    /** Folder as in a path -> the same with all links resolved. */
    QHash<QString, QString> m_folders;
};

} // namespace cli
