#include "fileops/keptfiles.h"

namespace fileops {

QString KeptFiles::otherNameOf(const QString& reference, const QString& path)
{
    holdReference(reference);
    const std::optional<FileIdentity> identity = identityOf(path);
    if (!identity) {
        return {};
    }
    if (identity == m_referenceIdentity) {
        return reference;
    }
    QString kept = m_kept.value(*identity);
    if (!kept.isEmpty() && kept != path) {
        return kept;
    }
    m_offered.insert(*identity);
    return {};
}

void KeptFiles::holdReference(const QString& reference)
{
    if (reference == m_reference) {
        return;
    }
    m_reference = reference;
    m_referenceIdentity = identityOf(reference);
    if (m_referenceIdentity && !m_offered.contains(*m_referenceIdentity) &&
        !m_kept.contains(*m_referenceIdentity)) {
        m_kept.insert(*m_referenceIdentity, reference);
    }
}

} // namespace fileops
