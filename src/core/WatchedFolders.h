#pragma once

#include <filesystem>
#include <vector>

namespace quorvalent::WatchedFolders {

/// The path with links resolved; a folder that is out of reach is taken as it is named.
[[nodiscard]] std::filesystem::path resolved(const std::filesystem::path &folder);

/// The watched folders with this one added: none stands twice and none inside another. A folder that is
/// already covered adds nothing; a new one takes the place of those inside it, at the end. All paths are
/// absolute and resolved.
[[nodiscard]] std::vector<std::filesystem::path> adding(std::vector<std::filesystem::path> folders,
                                                        const std::filesystem::path &folder);

/// Without every entry that is exactly this path.
[[nodiscard]] std::vector<std::filesystem::path> removing(std::vector<std::filesystem::path> folders,
                                                          const std::filesystem::path &folder);

} // namespace quorvalent::WatchedFolders
