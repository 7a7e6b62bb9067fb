#pragma once

#include "media/ImageTypes.h"

#include <filesystem>

namespace quorvalent {

/// Whether the file ends where its type's structure says, without decoding: a file cut short does not.
[[nodiscard]] bool isWholeImageFile(const std::filesystem::path &path, ImageType type);

} // namespace quorvalent
