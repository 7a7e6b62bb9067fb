#pragma once

#include "media/ImageTypes.h"

#include <QString>

#include <filesystem>
#include <optional>

namespace quorvalent {

/// The type that a file's first bytes say, or nothing when they are no image's known here. AVIF and other
/// pictures in HEIF's boxes count as HEIC.
[[nodiscard]] std::optional<ImageType> imageTypeOf(const std::filesystem::path &path);

/// The type that an extension names, in any letter case and without the dot.
[[nodiscard]] std::optional<ImageType> imageTypeNamed(const QString &extension);

/// Whether the file ends where its type's structure says, without decoding: a file cut short does not.
[[nodiscard]] bool isWholeImageFile(const std::filesystem::path &path, ImageType type);

} // namespace quorvalent
