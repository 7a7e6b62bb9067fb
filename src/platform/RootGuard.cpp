#include "platform/RootGuard.h"

#include <sys/inotify.h>

#include <utility>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t itselfMask = IN_MOVE_SELF | IN_DELETE_SELF;
constexpr std::uint32_t nameMask = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_ATTRIB;

bool isFolder(const fs::path &path)
{
    std::error_code ignored;
    return fs::is_directory(path, ignored);
}

bool isLink(const fs::path &path)
{
    std::error_code ignored;
    return fs::is_symlink(path, ignored);
}

} // namespace

RootGuard::RootGuard(std::vector<fs::path> roots, std::function<void()> onChange, AddWatch addWatch)
    : m_roots(std::move(roots))
    , m_onChange(std::move(onChange))
    , m_inotify([this](const InotifyEvent &event) { onEvent(event); }, std::move(addWatch))
    , m_mounts(m_roots, [this] { m_onChange(); })
{}

bool RootGuard::start()
{
    if (!m_inotify.open())
        return false;
    rearm();
    return true;
}

void RootGuard::rearm()
{
    for (const auto &[watch, names] : std::exchange(m_names, {}))
        m_inotify.remove(watch);
    for (const fs::path &root : m_roots)
        guard(root);
}

void RootGuard::guard(const fs::path &root)
{
    fs::path folder = root.root_path();
    for (const fs::path &part : root.relative_path()) {
        const fs::path next = folder / part;
        const bool isLast = next == root;
        // The name has to be watched before it is looked at: what happens in between is then told.
        if (isLast || isLink(next))
            watchName(folder, part.native());
        else
            watchItself(folder);
        if (!isFolder(next)) {
            watchName(folder, part.native());
            if (!isFolder(next))
                return;
        }
        folder = next;
    }
    watchItself(root);
}

void RootGuard::watchName(const fs::path &folder, const std::string &name)
{
    const int watch = m_inotify.add(folder, itselfMask | nameMask | IN_MASK_ADD | IN_ONLYDIR);
    if (watch >= 0)
        m_names[watch].insert(name);
}

void RootGuard::watchItself(const fs::path &folder)
{
    const int watch = m_inotify.add(folder, itselfMask | IN_MASK_ADD | IN_ONLYDIR);
    if (watch >= 0)
        m_names.try_emplace(watch);
}

void RootGuard::onEvent(const InotifyEvent &event)
{
    const auto watched = m_names.find(event.watch);
    const bool isOfName = watched != m_names.end() && watched->second.contains(event.name);
    const bool isOfFolder = watched != m_names.end() && (event.mask & (itselfMask | IN_UNMOUNT)) != 0;
    if (isOfName || isOfFolder || (event.mask & IN_Q_OVERFLOW) != 0)
        m_onChange();
}

} // namespace quorvalent
