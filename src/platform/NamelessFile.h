#pragma once

#include "platform/FileDescriptor.h"

#include <filesystem>

namespace quorvalent {

/// An empty file in the folder, to be read and written, that is gone with its descriptor: it has no name, or
/// for one moment where the file system has no such files. Throws FileError, also when the folder's path is
/// relative.
[[nodiscard]] FileDescriptor createNamelessFile(const std::filesystem::path &folder);

} // namespace quorvalent
