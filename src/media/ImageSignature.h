#pragma once

#include "media/ImageTypes.h"

#include <QByteArrayView>
#include <QString>

#include <filesystem>
#include <optional>

namespace quorvalent {

/// The type that a file's first bytes say, or nothing when they are no image's known here. AVIF and other
/// pictures in HEIF's boxes count as HEIC.
[[nodiscard]] std::optional<ImageType> imageTypeOf(const std::filesystem::path &path);
/// The same of a file that is at hand.
[[nodiscard]] std::optional<ImageType> imageTypeIn(QByteArrayView bytes);

/// The type that an extension names, in any letter case and without the dot.
[[nodiscard]] std::optional<ImageType> imageTypeNamed(const QString &extension);

} // namespace quorvalent
