#pragma once

#include <filesystem>

namespace quorvalent {

/// Shows the file, selected in its folder, in the user's file manager; returns at once. Where no file manager
/// can be asked that, opens the folder.
void showInFileManager(const std::filesystem::path &file);

} // namespace quorvalent
