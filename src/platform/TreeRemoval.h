#pragma once

#include <filesystem>

namespace quorvalent {

/// Removes an item and, if it is a folder, everything in it; nothing there is no error. Meant for folders
/// that a stranger filled and may still be at: links are not followed, folders without rights are given
/// their owner's, no depth is too great, and it never leaves the folder, wherever what it is in gets moved.
/// Throws FileError.
void removeWholeTree(const std::filesystem::path &path);

} // namespace quorvalent
