#include "watch/RenameWatcher.h"

#include "platform/Error.h"

#include <utility>

namespace quorvalent {

RenameWatcher::RenameWatcher(RenameHandler onRename, ProblemHandler onError, WatchTiming timing,
                             NewNameHandler onNewName, MovedHandler onMoved)
    : m_onRename(std::move(onRename))
    , m_onError(std::move(onError))
    , m_timing(timing)
    , m_onNewName(std::move(onNewName))
    , m_onMoved(std::move(onMoved))
    // A listing of a large tree takes a core for a while; the user's own work comes first.
    , m_queue(QStringLiteral("quorvalent.watch"), SerialQueue::Priority::Utility)
{}

RenameWatcher::~RenameWatcher()
{
    m_queue.close([this] { unwatch(); });
}

void RenameWatcher::start(std::vector<std::filesystem::path> paths, std::function<void()> onWatching)
{
    m_queue.post([this, paths = std::move(paths), onWatching = std::move(onWatching)]() mutable {
        watch(std::move(paths), onWatching);
    });
}

void RenameWatcher::stop()
{
    m_queue.sync([this] { unwatch(); });
}

void RenameWatcher::complete(const QString &identity)
{
    m_queue.post([this, identity] {
        scan();
        m_processing.remove(identity);
    });
}

void RenameWatcher::locate(const QString &identity)
{
    m_queue.post([this, identity] {
        if (m_onMoved)
            m_onMoved(identity, Listing::take(m_roots, [](const QString &) {}).placeOf(identity));
    });
}

void RenameWatcher::watch(std::vector<std::filesystem::path> paths, const std::function<void()> &onWatching)
{
    unwatch();
    m_roots = std::move(paths);
    m_files = Listing::take(m_roots, m_onError);
    if (m_roots.empty())
        return;
    m_stream = EventStream::create(m_roots, m_timing.latency,
                                   {[this] { scheduleScan(); }, m_onError,
                                    [this](const std::filesystem::path &from,
                                           const std::filesystem::path &to) { tellNewName(from, to); }});
    if (m_stream == nullptr)
        return;
    const bool isWatching = m_stream->start();
    if (!isWatching)
        m_onError(QStringLiteral("Impossible de surveiller ces dossiers."));
    // What changed between the listing and the stream brings no event of its own.
    scheduleScan();
    if (isWatching && onWatching)
        onWatching();
}

void RenameWatcher::unwatch()
{
    m_pendingScan.cancel();
    m_stream.reset();
    m_roots.clear();
    m_files = {};
}

void RenameWatcher::scheduleScan()
{
    m_pendingScan = DelayedTask(m_timing.quiet, [this] { scan(); });
}

void RenameWatcher::scan()
{
    m_files.refresh(m_roots, m_onError, [this](const RenameJob &job) {
        if (m_processing.contains(job.identity()))
            return;
        m_processing.insert(job.identity());
        m_onRename(job);
    });
}

void RenameWatcher::tellNewName(const std::filesystem::path &from, const std::filesystem::path &to) const
{
    if (!m_onNewName)
        return;
    try {
        if (m_processing.contains(FileStamp::read(to).identity))
            return;
    } catch (const Error &) {
        return; // it is not there any more
    }
    m_onNewName(from, to);
}

} // namespace quorvalent
