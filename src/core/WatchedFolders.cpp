#include "core/WatchedFolders.h"

#include <algorithm>

namespace quorvalent::WatchedFolders {

namespace fs = std::filesystem;

namespace {

// Component by component: /A2 does not lie in /A, and everything lies in /.
bool covers(const fs::path &outer, const fs::path &inner)
{
    return std::mismatch(outer.begin(), outer.end(), inner.begin(), inner.end()).first == outer.end();
}

} // namespace

fs::path resolved(const fs::path &folder)
{
    std::error_code failed;
    fs::path path = fs::canonical(folder, failed);
    if (failed)
        path = fs::absolute(folder, failed).lexically_normal();
    return path.has_filename() ? path : path.parent_path();
}

std::vector<fs::path> adding(std::vector<fs::path> folders, const fs::path &folder)
{
    const auto coversNew = [&](const fs::path &present) { return covers(present, folder); };
    if (std::any_of(folders.begin(), folders.end(), coversNew))
        return folders;
    std::erase_if(folders, [&](const fs::path &present) { return covers(folder, present); });
    folders.push_back(folder);
    return folders;
}

std::vector<fs::path> removing(std::vector<fs::path> folders, const fs::path &folder)
{
    std::erase_if(folders, [&](const fs::path &present) { return present.native() == folder.native(); });
    return folders;
}

} // namespace quorvalent::WatchedFolders
