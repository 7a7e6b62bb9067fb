#pragma once

#include <filesystem>
#include <vector>

namespace quorvalent::WatchedFolders {

/// The watched folders with this one added: none stands twice and none inside another. A folder that is
/// already covered adds nothing; a new one takes the place of those inside it, at the end. All paths are
/// absolute and resolved.
[[nodiscard]] std::vector<std::filesystem::path> adding(std::vector<std::filesystem::path> folders,
                                                        const std::filesystem::path &folder);

/// Without every entry that is exactly this path.
[[nodiscard]] std::vector<std::filesystem::path> removing(std::vector<std::filesystem::path> folders,
                                                          const std::filesystem::path &folder);

} // namespace quorvalent::WatchedFolders
