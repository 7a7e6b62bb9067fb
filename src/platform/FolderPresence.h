#pragma once

#include "platform/Dispatch.h"
#include "platform/RootGuard.h"

#include <filesystem>
#include <functional>
#include <vector>

namespace quorvalent {

/// Tells which of some folders are missing or cannot be read, and each time that changes. Sleeps while
/// nothing happens to them or above them. Lives on the thread that created it, which runs an event loop.
class FolderPresence
{
public:
    using Handler = std::function<void(const std::vector<std::filesystem::path> &missing)>;

    /// The folders are absolute paths. `onChange` hears of the first look too unless all are there, later on
    /// the same thread. Where the kernel gives no more inotify instances to this user, the first look is all.
    FolderPresence(std::vector<std::filesystem::path> folders, Handler onChange);

private:
    void look();

    const std::vector<std::filesystem::path> m_folders;
    const Handler m_onChange;
    std::vector<std::filesystem::path> m_missing;
    DelayedTask m_look; ///< pending from a change until what came along with it is over
    RootGuard m_guard;
    bool m_isGuarded = false;
};

} // namespace quorvalent
