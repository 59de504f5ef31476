#include "cli/keepcandidates.h"

#include "search/storedpath.h"

namespace cli {

search::KeepCandidate KeepCandidates::fileAt(const QString& path)
{
    const QString folder = path.left(path.lastIndexOf(QLatin1Char('/')) + 1);
    auto known = m_folders.constFind(folder);
    if (known == m_folders.cend()) {
        known = m_folders.insert(folder, search::folderWithoutLinks(folder));
    }
    return {path, *known, std::get<1>(m_audioInfo.value(path)), m_facts.value(path)};
}

} // namespace cli
