#include "stage.h"

#include "actions/actionerror.h"
#include "actions/searchresult.h"
#include "actions/undo.h"
#include "resultfixture.h"

#include <functional>

namespace {

using Action = std::function<actions::Counts(const actions::Listener&, const std::stop_token&)>;

/** Runs \a action and stops it after \a count files. */
Performance perform(const Action& action, int count = -1)
{
    Performance performance;
    std::stop_source stop;
    try {
        performance.counts = action(
            [&](const actions::HandledFile& file) {
                performance.files.append(file);
                if (performance.files.size() == count) {
                    stop.request_stop();
                }
            },
            stop.get_token());
    } catch (const actions::ActionError& error) {
        performance.failure = error.message;
    }
    return performance;
}

} // namespace

QString Performance::reasonOf(const QString& path) const
{
    for (const actions::HandledFile& file : files) {
        if (file.path == path) {
            return file.reason;
        }
    }
    return {};
}

QString Performance::text() const
{
    return failure.isEmpty() ? QStringLiteral("%1 moved, %2 before, %3 left alone")
                                   .arg(counts.moved)
                                   .arg(counts.movedBefore)
                                   .arg(counts.leftAlone)
                             : failure;
}

Stage::Stage()
    : m_target(m_folder.filePath(QStringLiteral("target")))
{
    using resultfixture::writeFile;
    const bool written = writeFile(music(QStringLiteral("one.flac")), "one, whole and large") &&
                         writeFile(music(QStringLiteral("a/one.mp3")), "one, smaller") &&
                         writeFile(music(QStringLiteral("a/b/one.ogg")), "one, small") &&
                         writeFile(music(QStringLiteral("two.flac")), "two, whole and large") &&
                         writeFile(music(QStringLiteral("a/two.mp3")), "two, smaller");
    if (!written) {
        qFatal("no files could be written");
    }
    resultfixture::ageFolders(music({}));
    m_groups = {resultfixture::groupObject(reference(QStringLiteral("one.flac")),
                                           {duplicate(QStringLiteral("a/one.mp3")),
                                            duplicate(QStringLiteral("a/b/one.ogg"))}),
                resultfixture::groupObject(reference(QStringLiteral("two.flac")),
                                           {duplicate(QStringLiteral("a/two.mp3"))})};
}

QString Stage::target(const QString& name) const
{
    return name.isEmpty() ? m_target : m_target + QLatin1Char('/') + name;
}

QStringList Stage::picture() const
{
    return resultfixture::picture(m_folder.filePath(QStringLiteral("music")));
}

QStringList Stage::wholePicture() const
{
    return resultfixture::picture(m_folder.path());
}

QJsonObject Stage::reference(const QString& name) const
{
    return resultfixture::fileObject(music(name));
}

QJsonObject Stage::duplicate(const QString& name) const
{
    return resultfixture::duplicateObject(music(name));
}

QByteArray Stage::result() const
{
    return resultfixture::resultJson({m_folder.filePath(QStringLiteral("music"))}, m_groups);
}

Performance Stage::apply(const actions::ApplyRules& rules) const
{
    const actions::SearchResult result = actions::readSearchResult(this->result());
    return perform([&](const actions::Listener& listener, const std::stop_token& stop) {
        return actions::apply(result, {m_target, journal(), rules}, listener, stop);
    });
}

Performance Stage::applyAndStopAfter(int count) const
{
    const actions::SearchResult result = actions::readSearchResult(this->result());
    return perform(
        [&](const actions::Listener& listener, const std::stop_token& stop) {
            return actions::apply(result, {m_target, journal(), {}}, listener, stop);
        },
        count);
}

Performance Stage::plan() const
{
    const actions::SearchResult result = actions::readSearchResult(this->result());
    return perform([&](const actions::Listener& listener, const std::stop_token& stop) {
        return actions::planApply(result, {m_target, journal(), {}}, listener, stop);
    });
}

Performance Stage::undo() const
{
    return undoAndStopAfter(-1);
}

Performance Stage::undoAndStopAfter(int count) const
{
    return perform(
        [&](const actions::Listener& listener, const std::stop_token& stop) {
            return actions::undo(journal(), listener, stop);
        },
        count);
}
