#pragma once

#include <filesystem>

namespace quorvalent::CacheFolder {

/// Where temporary files of ours stand: $XDG_CACHE_HOME/quorvalent, else ~/.cache/quorvalent. Always
/// absolute; created with mode 0700 where it is missing. Throws FileError when the user has no such folder.
[[nodiscard]] std::filesystem::path existing();

} // namespace quorvalent::CacheFolder
