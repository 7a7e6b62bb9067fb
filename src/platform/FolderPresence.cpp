#include "platform/FolderPresence.h"

#include <sys/inotify.h>

#include <algorithm>
#include <iterator>
#include <system_error>
#include <utility>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

// A folder that is replaced is gone for a moment.
constexpr auto settlingSpan = 200ms;

bool cannotBeRead(const fs::path &folder)
{
    std::error_code failure;
    const fs::directory_iterator first(folder, failure);
    return static_cast<bool>(failure);
}

} // namespace

FolderPresence::FolderPresence(std::vector<fs::path> folders, Handler onChange)
    : m_folders(std::move(folders))
    , m_onChange(std::move(onChange))
    , m_guard(
          m_folders, [this] { m_look = DelayedTask(settlingSpan, [this] { look(); }); }, ::inotify_add_watch)
    , m_isGuarded(m_guard.start())
{
    m_look = DelayedTask(0ms, [this] { look(); });
}

void FolderPresence::look()
{
    if (m_isGuarded)
        m_guard.rearm(); // first, so that what changes from now on is told
    std::vector<fs::path> missing;
    std::ranges::copy_if(m_folders, std::back_inserter(missing), cannotBeRead);
    if (std::exchange(m_missing, missing) != missing)
        m_onChange(missing);
}

} // namespace quorvalent
