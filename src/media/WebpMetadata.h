#pragma once

#include "media/ImageTypes.h"

#include <filesystem>

namespace quorvalent {

/// Puts the EXIF and XMP of `properties` into a WebP file, in place of what it has; the pixels' bytes stay as
/// they are. Writes a new file beside it and renames that over `path`, which is whole at every moment. Throws
/// ImageReadError when the file is no WebP, ImageWriteError when the new one cannot be stored.
void writeWebpMetadata(const std::filesystem::path &path, const FrameProperties &properties);

} // namespace quorvalent
