#include "platform/EventStream.h"

#include "platform/ComposedText.h"
#include "platform/FolderRules.h"
#include "platform/FolderWalk.h"

#include <sys/inotify.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <utility>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;
using namespace Qt::StringLiterals;

constexpr std::uint32_t changeMask =
    IN_CREATE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE | IN_ATTRIB | IN_CLOSE_WRITE;
constexpr std::uint32_t watchOptions = IN_ONLYDIR | IN_EXCL_UNLINK;

constexpr auto limitPath = "/proc/sys/fs/inotify/max_user_watches";
constexpr long long recommendedLimit = 524'288; // what desktop distributions with a high limit ship

/// A limit that leaves room: at least twice the present one.
long long betterLimit()
{
    long long limit = 0;
    std::ifstream(limitPath) >> limit;
    return std::max(recommendedLimit, 2 * limit);
}

/// The roots as the system finds them from any working folder; one that has no such path is left out.
std::vector<fs::path> absolute(const std::vector<fs::path> &roots)
{
    std::vector<fs::path> paths;
    for (const fs::path &root : roots) {
        std::error_code failure;
        const fs::path path = fs::absolute(root, failure);
        if (!failure && !path.empty())
            paths.push_back(FolderRules::tidied(path));
    }
    return paths;
}

} // namespace

std::unique_ptr<EventStream> EventStream::create(const std::vector<fs::path> &roots,
                                                 std::chrono::milliseconds latency, Handlers handlers,
                                                 AddWatch addWatch)
{
    std::vector<fs::path> paths = absolute(roots);
    if (paths.empty())
        return nullptr;
    if (!addWatch)
        addWatch = ::inotify_add_watch;
    return std::unique_ptr<EventStream>(
        new EventStream(std::move(paths), latency, std::move(handlers), addWatch));
}

EventStream::EventStream(std::vector<fs::path> roots, std::chrono::milliseconds latency, Handlers handlers,
                         const AddWatch &addWatch)
    : m_roots(std::move(roots))
    , m_latency(latency)
    , m_handlers(std::move(handlers))
    , m_inotify([this](const InotifyEvent &event) { onEvent(event); }, addWatch)
    , m_guard(
          m_roots,
          [this] {
              m_mustRebuild = true;
              openWindow();
          },
          addWatch)
{}

bool EventStream::start()
{
    if (!m_inotify.open() || !m_guard.start())
        return false;
    watchRoots();
    return m_table.size() > 0 || !m_isLimitReached;
}

void EventStream::watchRoots()
{
    // The roots first: with too few watches each of them has at least its own.
    for (const fs::path &root : m_roots)
        (void)watchFolder(root.native(), Place::Root);
    for (const fs::path &root : m_roots)
        watchTree(root.native(), Place::Root);
}

void EventStream::watchTree(const std::string &top, Place place)
{
    FolderWalk::folders(top, [&](const std::string &folder) {
        return watchFolder(folder, std::exchange(place, Place::Inside));
    });
}

bool EventStream::watchFolder(const std::string &folder, Place place)
{
    const std::uint32_t noFollow = place == Place::Root ? 0 : IN_DONT_FOLLOW;
    const int watch = m_inotify.add(folder, changeMask | watchOptions | noFollow);
    if (watch == -ENOSPC)
        tellLimit();
    if (watch < 0)
        return false;
    if (m_table.holds(watch))
        return place != Place::Inside;
    m_table.insert(folder, watch);
    return true;
}

void EventStream::unwatchTree(const std::string &folder)
{
    for (const int watch : m_table.takeTree(folder))
        m_inotify.remove(watch);
}

void EventStream::rebuild()
{
    m_guard.rearm();
    const WatchTable former = std::exchange(m_table, {});
    watchRoots();
    // Watching a folder again answers the watch it has; what was not found again is left over.
    for (const int watch : former.watches()) {
        if (!m_table.holds(watch))
            m_inotify.remove(watch);
    }
}

void EventStream::onEvent(const InotifyEvent &event)
{
    if ((event.mask & (IN_Q_OVERFLOW | IN_UNMOUNT)) != 0) {
        m_mustRebuild = true;
        openWindow();
        return;
    }
    if ((event.mask & IN_IGNORED) != 0) {
        m_table.erase(event.watch);
        return;
    }
    const std::string *folder = m_table.folderOf(event.watch);
    if (folder == nullptr || FolderRules::isHidden(event.name))
        return;
    if ((event.mask & IN_ISDIR) != 0 && FolderRules::isDescendedInto(event.name) && !event.name.empty())
        followFolder(event, *folder + (folder->ends_with('/') ? "" : "/") + std::string(event.name));
    if ((event.mask & IN_ISDIR) == 0 && m_handlers.onNewName)
        tellNewName(event, *folder);
    openWindow();
}

void EventStream::followFolder(const InotifyEvent &event, const std::string &folder)
{
    // A move away takes the watches of the whole tree; the move's other half, if it ends in a watched folder,
    // brings them back under the new path.
    if ((event.mask & IN_MOVED_FROM) != 0)
        unwatchTree(folder);
    // Attributes: a folder that could not be read may be readable now.
    if ((event.mask & (IN_CREATE | IN_MOVED_TO | IN_ATTRIB)) != 0)
        watchTree(folder, Place::Top);
}

void EventStream::tellNewName(const InotifyEvent &event, const std::string &folder)
{
    if ((event.mask & IN_MOVED_FROM) != 0)
        m_movedFrom = {event.cookie, event.watch, std::string(event.name)};
    else if ((event.mask & IN_MOVED_TO) != 0 && m_movedFrom.cookie == event.cookie &&
             m_movedFrom.watch == event.watch)
        m_handlers.onNewName(fs::path(folder) / m_movedFrom.name, fs::path(folder) / event.name);
}

void EventStream::openWindow()
{
    if (!m_window.isPending())
        m_window = DelayedTask(m_latency, [this] { deliver(); });
}

void EventStream::deliver()
{
    if (std::exchange(m_mustRebuild, false))
        rebuild();
    m_handlers.onBatch();
}

void EventStream::tellLimit()
{
    if (std::exchange(m_isLimitReached, true))
        return;
    const QString message = composed(
        u"Une partie des dossiers n’est pas surveillée, car la limite du système est atteinte ; pour "
        u"l’augmenter : sudo sysctl fs.inotify.max_user_watches={0}"_s,
        {QString::number(betterLimit())});
    m_limitMessage =
        DelayedTask(std::chrono::milliseconds::zero(), [this, message] { m_handlers.onProblem(message); });
}

} // namespace quorvalent
