#pragma once

#include "platform/Inotify.h"
#include "platform/MountTable.h"

#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace quorvalent {

/// Tells when another folder, or none, may stand at one of the watched roots: it or a folder above it was
/// renamed, deleted or made anew, or a volume came or went. A root that is missing is awaited from the
/// nearest folder that exists. Lives on the thread that created it, which runs an event loop. A part of
/// EventStream.
class RootGuard
{
public:
    /// Roots are absolute paths.
    RootGuard(std::vector<std::filesystem::path> roots, std::function<void()> onChange, AddWatch addWatch);

    /// False, with errno set, when the kernel gives no more inotify instances to this user.
    [[nodiscard]] bool start();
    /// Looks at the paths afresh; after a change.
    void rearm();

private:
    void guard(const std::filesystem::path &root);
    void watchName(const std::filesystem::path &folder, const std::string &name);
    void watchItself(const std::filesystem::path &folder);
    void onEvent(const InotifyEvent &event);

    std::vector<std::filesystem::path> m_roots;
    std::function<void()> m_onChange;
    Inotify m_inotify;
    MountTable m_mounts;
    std::unordered_map<int, std::set<std::string, std::less<>>> m_names; ///< awaited names, by watch
};

} // namespace quorvalent
