#include "model/WatcherSource.h"

#include "convert/InterruptedWork.h"
#include "convert/WorkFolder.h"
#include "core/MediaFamilies.h"
#include "core/RenamePolicy.h"

#include <utility>

namespace quorvalent {

namespace {

LeftWork leftWork(std::function<void(const InterruptedConversion &)> onInterruption)
{
    return {.isIt = [](std::string_view name) { return WorkFolder::isWorkFolderName(name); },
            .putRight =
                [onInterruption = std::move(onInterruption)](const std::filesystem::path &folder) {
                    if (const std::optional<InterruptedConversion> told = restoreInterruptedWork(folder))
                        onInterruption(*told);
                }};
}

} // namespace

WatcherSource::WatcherSource(JobSourceHandlers handlers, NewNameHandler onNewName, Look isWhatItsNameSays)
    : m_onRename(std::move(handlers.onRename))
    , m_isWhatItsNameSays(std::move(isWhatItsNameSays))
    , m_looks(QStringLiteral("quorvalent.look"), SerialQueue::Priority::Utility)
    , m_watcher([this](const RenameJob &job) { sift(job); }, std::move(handlers.onProblem), {},
                std::move(onNewName), std::move(handlers.onMoved),
                leftWork(std::move(handlers.onInterruption)))
{}

WatcherSource::~WatcherSource()
{
    m_watcher.stop(); // reports nothing from here on
    m_looks.close();
}

void WatcherSource::start(std::vector<std::filesystem::path> folders, std::function<void()> onWatching)
{
    m_watcher.start(std::move(folders), std::move(onWatching));
}

// On the watcher's thread.
void WatcherSource::sift(const RenameJob &job)
{
    const bool asksForMedia = mediaExtensions().contains(pathExtension(job.newURL).toLower());
    if (!asksForMedia || !RenameProtection::reason(job)) {
        m_onRename(job);
        return;
    }
    m_looks.post([this, job] {
        if (m_isWhatItsNameSays(job.newURL))
            m_watcher.complete(job.identity());
        else
            m_onRename(job);
    });
}

} // namespace quorvalent
