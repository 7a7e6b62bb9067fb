#pragma once

#include <filesystem>

namespace quorvalent::StateFolder {

/// Where what the program keeps between its runs stands: $XDG_STATE_HOME/quorvalent, else
/// ~/.local/state/quorvalent. Always absolute; it need not exist.
[[nodiscard]] std::filesystem::path path();

} // namespace quorvalent::StateFolder
