#pragma once

#include <filesystem>
#include <vector>

namespace quorvalent::ConfigFolders {

/// Where this user's settings stand: $XDG_CONFIG_HOME, else ~/.config.
[[nodiscard]] std::filesystem::path home();

/// Where an administrator's stand, the most important first: $XDG_CONFIG_DIRS, else /etc/xdg.
[[nodiscard]] std::vector<std::filesystem::path> system();

} // namespace quorvalent::ConfigFolders
