#include "actions/references.h"

#include "actions/filestate.h"
#include "fileops/samefile.h"

#include <algorithm>

namespace actions {

namespace {

bool canBeRead(const ResultFile& file)
{
    return actions::canBeRead(file.path, file.sizeBytes, file.modifiedMs);
}

/** Why \a file is not the regular file that the search found; empty if it is. */
QString changeOf(const ResultFile& file)
{
    const FileState state = stateOf(file.path);
    switch (state.kind) {
    case FileState::Kind::Nothing:
        return QStringLiteral("no longer there");
    case FileState::Kind::Folder:
    case FileState::Kind::Other:
        return QStringLiteral("a link, or not a file");
    case FileState::Kind::Unknown:
        return QStringLiteral("cannot be looked at");
    case FileState::Kind::RegularFile:
        break;
    }
    const bool isSame =
        state.sizeBytes == file.sizeBytes && milliseconds(state.modified) == file.modifiedMs;
    return isSame ? QString() : QStringLiteral("changed since the search");
}

} // namespace

References::References(const SearchResult& result)
    : m_files(result.references)
    , m_kept(result.references.keys())
{
    for (const ResultFile& file : m_files) {
        m_bySize.insert(file.sizeBytes, file.path);
    }
}

QString References::objection(const ResultFile& duplicate, const ResultFile& reference,
                              const TargetFolder& target)
{
    if (m_files.contains(duplicate.path)) {
        return QStringLiteral("the reference of other files");
    }
    const QString change = changeOf(duplicate);
    if (!change.isEmpty()) {
        return change;
    }
    if (!canBeRead(reference)) {
        return QStringLiteral("its reference is missing, changed since the search, or cannot be "
                              "read: %1")
            .arg(reference.path);
    }
    const QString sameFile = m_kept.nameOf(duplicate.path);
    if (!sameFile.isEmpty() || fileops::isSameFile(duplicate.path, reference.path)) {
        return QStringLiteral("another name of a reference: %1")
            .arg(sameFile.isEmpty() ? reference.path : sameFile);
    }
    if (target.contains(reference.path)) {
        return QStringLiteral("its reference is in the folder to move to: %1").arg(reference.path);
    }
    return {};
}

QList<ResultFile> References::readableOfSize(qint64 sizeBytes) const
{
    QList<ResultFile> files = allOfSize(sizeBytes, {});
    files.removeIf([](const ResultFile& file) { return !canBeRead(file); });
    return files;
}

QList<ResultFile> References::allOfSize(qint64 sizeBytes, const QString& path) const
{
    QList<ResultFile> files;
    const auto [first, last] = m_bySize.equal_range(sizeBytes);
    std::for_each(first, last, [&](const QString& each) { files.append(file(each)); });
    if (m_files.contains(path)) {
        files.append(file(path));
    }
    return files;
}

bool canAllBeRead(const QList<ResultFile>& files)
{
    return std::all_of(files.cbegin(), files.cend(),
                       [](const ResultFile& file) { return canBeRead(file); });
}

} // namespace actions
