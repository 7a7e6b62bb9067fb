#include "platform/EventStream.h"

#include "platform/ComposedText.h"
#include "platform/Error.h"
#include "platform/FolderRules.h"

#include <sys/inotify.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <utility>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
using Clock = std::chrono::steady_clock;

constexpr std::uint32_t changeMask =
    IN_CREATE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE | IN_ATTRIB | IN_CLOSE_WRITE | IN_MODIFY;
constexpr std::uint32_t watchOptions = IN_ONLYDIR | IN_EXCL_UNLINK;

// One portion of a large tree; events and other work of the queue get their turn after it.
constexpr auto readingPortion = 50ms;
// The two halves of a move are queued by one system call.
constexpr auto moveEndDelay = 20ms;
// Retries of a folder that cannot be read double their delay; then only an event in it leads to another look.
constexpr int mostRetries = 5;
// Reading what is not observed takes this part of the time at most.
constexpr int unobservedShare = 20;

constexpr auto watchLimitPath = "/proc/sys/fs/inotify/max_user_watches";
constexpr long long recommendedWatches = 524'288; // what desktop distributions with a high limit ship
constexpr auto instanceLimitPath = "/proc/sys/fs/inotify/max_user_instances";
constexpr long long recommendedInstances = 1024; // eight times the kernel's own default

/// A limit that leaves room: at least twice the present one.
QString betterLimit(const char *path, long long recommended)
{
    long long limit = 0;
    std::ifstream(path) >> limit;
    return QString::number(std::max(recommended, 2 * limit));
}

QString limitReached(const QString &better)
{
    return composed(u"Impossible de surveiller ces dossiers. La limite du système est atteinte ; pour "
                    u"l’augmenter : sudo sysctl {0}"_s,
                    {better});
}

bool isForbidden(int failure)
{
    return failure == EACCES || failure == EPERM;
}

bool isInside(const std::string &path, const std::string &folder)
{
    return path == folder ||
           (path.starts_with(folder) && (folder.ends_with('/') || path[folder.size()] == '/'));
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

std::unique_ptr<EventStream> EventStream::create(const std::vector<fs::path> &roots, Timing timing,
                                                 Handlers handlers, AddWatch addWatch)
{
    std::vector<fs::path> paths = absolute(roots);
    if (paths.empty())
        return nullptr;
    if (!addWatch)
        addWatch = ::inotify_add_watch;
    return std::unique_ptr<EventStream>(
        new EventStream(std::move(paths), timing, std::move(handlers), addWatch));
}

EventStream::EventStream(std::vector<fs::path> roots, Timing timing, Handlers handlers,
                         const AddWatch &addWatch)
    : m_roots(std::move(roots))
    , m_timing(timing)
    , m_handlers(std::move(handlers))
    , m_inotify([this](const InotifyEvent &event) { onEvent(event); }, addWatch)
    , m_guard(
          m_roots, [this] { scheduleRebuild(); }, addWatch)
    , m_reader([this](const std::string &folder, Place place) { return enter(folder, place); },
               timing.freshSpan, m_handlers.isSought)
{}

bool EventStream::start()
{
    if (!m_inotify.open() || !m_guard.start()) {
        m_why = errno == EMFILE ? limitReached(u"fs.inotify.max_user_instances="_s +
                                               betterLimit(instanceLimitPath, recommendedInstances))
                                : u"Impossible de surveiller ces dossiers."_s;
        return false;
    }
    // The roots first: with too few watches each of them has at least its own.
    bool isObserving = false;
    bool isMissing = false;
    for (const fs::path &root : m_roots) {
        const int watch = m_inotify.add(root, changeMask | watchOptions);
        isObserving = isObserving || watch >= 0;
        isMissing = isMissing || (watch < 0 && watch != -ENOSPC);
    }
    if (!isObserving && !isMissing) {
        m_why =
            limitReached(u"fs.inotify.max_user_watches="_s + betterLimit(watchLimitPath, recommendedWatches));
        return false;
    }
    for (const fs::path &root : m_roots)
        readTree(root.native(), Place::Root);
    return true;
}

void EventStream::catchUp()
{
    m_inotify.readAll();
    settleMove();
}

// Two threads at once, while the queue's own does nothing else.
std::optional<int> EventStream::enter(const std::string &folder, Place place)
{
    const std::uint32_t noFollow = place == Place::Root ? 0 : IN_DONT_FOLLOW;
    const int watch = m_inotify.add(folder, changeMask | watchOptions | noFollow);
    // Inside a tree, a folder that has a watch already is read already: roots may lie in one another.
    if (place == Place::Inside && watch >= 0 && m_table.holds(watch))
        return std::nullopt;
    return watch;
}

void EventStream::readTree(const std::string &top, Place place)
{
    if (!m_reader.isBusy())
        m_readingSince = Clock::now();
    m_reader.add(top, place);
    if (!m_reading.isPending())
        m_reading = DelayedTask(0ms, [this] { readOn(); });
}

void EventStream::readOn()
{
    m_reader.step(readingPortion, [this](TreeReader::Folder &&folder) { take(std::move(folder)); });
    if (m_reader.isBusy()) {
        m_reading = DelayedTask(0ms, [this] { readOn(); });
        return;
    }
    m_lastReading = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - m_readingSince);
    forgetWhatWasNotFound();
    m_hasRead = true;
    m_handlers.onRead();
}

void EventStream::take(TreeReader::Folder &&folder)
{
    const std::string &path = folder.contents.path;
    if (folder.watch >= 0) {
        if (const std::string *other = m_table.folderOf(folder.watch); other != nullptr && *other != path) {
            std::error_code ignored;
            if (fs::equivalent(*other, path, ignored))
                return; // one folder reached by two paths counts under the first
            forgetTree(std::string(*other));
        }
        m_table.insert(path, folder.watch);
        m_unobserved.erase(path);
    } else if (!isVanished(folder.failure) && !isForbidden(folder.failure)) {
        m_unobserved.insert(path);
        if (folder.watch == -ENOSPC)
            tellLimit();
    }
    m_toBeFound.erase(path);
    if (folder.failure != 0) {
        takeFailure(folder);
        return;
    }
    m_unread.erase(path);
    if (!tellSought(folder))
        m_handlers.onFolder(std::move(folder.contents));
}

// Whether the folder has to be read anew for it.
bool EventStream::tellSought(const TreeReader::Folder &folder)
{
    if (m_hasRead)
        return false;
    bool isAnyNew = false;
    for (const std::string &name : folder.contents.sought) {
        const std::string item = joined(folder.contents.path, name);
        if (!m_sought.insert(item).second)
            continue;
        m_handlers.onSought(item);
        isAnyNew = true;
    }
    if (isAnyNew)
        readTree(folder.contents.path, folder.place == Place::Root ? Place::Root : Place::Top);
    return isAnyNew;
}

// What is known of a folder that cannot be read stays; it is told at once where time mends nothing, else when
// the next attempt fails as well.
void EventStream::takeFailure(const TreeReader::Folder &folder)
{
    const std::string &path = folder.contents.path;
    const bool isRoot = folder.place == Place::Root;
    const auto tell = [&] {
        if (isRoot)
            m_handlers.onProblem(composed(u"Dossier inaccessible : {0}"_s, {displayText(path)}));
        else
            m_handlers.onProblem(composed(u"Accès impossible : {0}. Vérifiez les autorisations du dossier."_s,
                                          {displayName(path)}));
    };
    if (isVanished(folder.failure)) {
        m_unread.erase(path);
        forgetTree(path);
        if (isRoot)
            tell();
        return;
    }
    const int tries = ++m_unread[path];
    if (isForbidden(folder.failure) ? tries == 1 : tries == 2)
        tell();
    if (isForbidden(folder.failure) || tries > mostRetries || m_retry.isPending())
        return;
    m_retry = DelayedTask(m_timing.retry * (1 << (tries - 1)), [this] { readUnread(); });
}

void EventStream::readUnread()
{
    for (const auto &[path, tries] : m_unread) {
        if (tries <= mostRetries)
            readTree(path,
                     std::ranges::find(m_roots, fs::path(path)) != m_roots.end() ? Place::Root : Place::Top);
    }
}

void EventStream::forgetTree(const std::string &folder)
{
    for (const int watch : m_table.takeTree(folder))
        m_inotify.remove(watch);
    std::erase_if(m_unobserved, [&](const std::string &path) { return isInside(path, folder); });
    std::erase_if(m_unread, [&](const auto &unread) { return isInside(unread.first, folder); });
    m_handlers.onTreeGone(folder);
}

void EventStream::forgetWhatWasNotFound()
{
    const std::set<std::string> lost = std::exchange(m_toBeFound, {});
    for (const std::string &path : lost) {
        const bool isKept =
            std::ranges::any_of(m_unread, [&](const auto &unread) { return isInside(path, unread.first); });
        if (!isKept)
            forgetTree(path);
    }
}

void EventStream::rebuild()
{
    m_guard.rearm();
    for (std::string &folder : m_table.folders())
        m_toBeFound.insert(std::move(folder));
    m_toBeFound.merge(m_unobserved);
    m_unobserved.clear();
    // Watching a folder again answers the watch that it has.
    m_table = {};
    for (const fs::path &root : m_roots)
        readTree(root.native(), Place::Root);
}

void EventStream::readUnobserved()
{
    const std::set<std::string> unobserved = std::exchange(m_unobserved, {});
    std::string top;
    for (const std::string &path : unobserved) {
        m_toBeFound.insert(path);
        if (!top.empty() && isInside(path, top))
            continue;
        top = path;
        readTree(path, Place::Top);
    }
}

void EventStream::onEvent(const InotifyEvent &event)
{
    if ((event.mask & (IN_Q_OVERFLOW | IN_UNMOUNT)) != 0) {
        scheduleRebuild();
        return;
    }
    if ((event.mask & IN_IGNORED) != 0) {
        m_table.erase(event.watch);
        return;
    }
    const std::string *folder = m_table.folderOf(event.watch);
    if (folder == nullptr || event.name.empty())
        return;
    if ((event.mask & IN_ISDIR) != 0)
        onFolderEvent(event, joined(*folder, event.name));
    else if (!FolderRules::isHidden(event.name))
        onFileEvent(event, *folder);
    if (!m_unobserved.empty() && !m_unobservedLook.isPending())
        m_unobservedLook = DelayedTask(std::max(m_timing.latency, unobservedShare * m_lastReading),
                                       [this] { readUnobserved(); });
}

void EventStream::onFolderEvent(const InotifyEvent &event, const std::string &folder)
{
    const bool isDescendedInto = FolderRules::isDescendedInto(event.name);
    if ((event.mask & IN_MOVED_TO) != 0 && m_movedFolder.cookie == event.cookie && isDescendedInto) {
        moveFolder(folder);
        return;
    }
    settleMove();
    if (!isDescendedInto)
        return;
    if ((event.mask & IN_MOVED_FROM) != 0) {
        m_movedFolder = {event.cookie, event.watch, {}, folder};
        m_moveEnd = DelayedTask(moveEndDelay, [this] { settleMove(); });
    } else if ((event.mask & IN_DELETE) != 0) {
        forgetTree(folder);
    } else if ((event.mask & (IN_CREATE | IN_MOVED_TO)) != 0 || m_unread.contains(folder)) {
        m_unread.erase(folder); // its attributes changed: it may be readable now
        readTree(folder, Place::Top);
    }
}

void EventStream::moveFolder(const std::string &to)
{
    const std::string from = std::exchange(m_movedFolder, {}).folderPath;
    m_moveEnd.cancel();
    // What is being read at present bears the former path still.
    if (m_reader.isBusy() || !m_table.moveTree(from, to)) {
        forgetTree(from);
        readTree(to, Place::Top);
        return;
    }
    std::erase_if(m_unread, [&](const auto &unread) { return isInside(unread.first, from); });
    m_handlers.onTreeMoved(from, to);
}

// The other half of the move is outside the watched folders, or hidden.
void EventStream::settleMove()
{
    m_moveEnd.cancel();
    if (m_movedFolder.folderPath.empty())
        return;
    forgetTree(std::exchange(m_movedFolder, {}).folderPath);
}

void EventStream::onFileEvent(const InotifyEvent &event, const std::string &folder)
{
    const auto change = [&] {
        if ((event.mask & IN_MOVED_TO) != 0)
            return NameChange::Arrived;
        if ((event.mask & IN_MOVED_FROM) != 0)
            return NameChange::Left;
        if ((event.mask & IN_CLOSE_WRITE) != 0)
            return NameChange::Closed;
        return (event.mask & IN_MODIFY) != 0 ? NameChange::Written : NameChange::Other;
    }();
    m_handlers.onName(folder, event.name, change);
    if (!m_handlers.onNewName)
        return;
    if (change == NameChange::Left)
        m_movedFrom = {event.cookie, event.watch, std::string(event.name), {}};
    else if (change == NameChange::Arrived && m_movedFrom.cookie == event.cookie &&
             m_movedFrom.watch == event.watch)
        m_handlers.onNewName(fs::path(folder) / m_movedFrom.name, fs::path(folder) / event.name);
}

void EventStream::scheduleRebuild()
{
    // Under a load that overflows the queue again and again, the folders are read half of the time at most.
    if (!m_rebuilding.isPending())
        m_rebuilding = DelayedTask(std::max(m_timing.latency, m_lastReading), [this] { rebuild(); });
}

void EventStream::tellLimit()
{
    if (std::exchange(m_isLimitReached, true))
        return;
    m_handlers.onProblem(composed(
        u"Une partie des dossiers n’est pas surveillée, car la limite du système est atteinte ; pour "
        u"l’augmenter : sudo sysctl fs.inotify.max_user_watches={0}"_s,
        {betterLimit(watchLimitPath, recommendedWatches)}));
}

} // namespace quorvalent
