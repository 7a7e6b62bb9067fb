#pragma once

#include <filesystem>

namespace quorvalent {

/// What makes WebP look right, which the external engine writes without regard to orientation, profile and
/// metadata.
namespace WebpAssistance {

/// The file to hand to the external engine in place of a still `source`: the source itself when the engine
/// shows it right, else a PNG of 8 bits, upright, sRGB, made in `workFolder`. Throws ConversionError when the
/// source is no image or damaged, because the engine would take half a picture for a whole one.
[[nodiscard]] std::filesystem::path pictureFor(const std::filesystem::path &source,
                                               const std::filesystem::path &workFolder);

/// Puts the source's EXIF and XMP into the finished WebP `output`; its pixels stay. Where that cannot be
/// done the output stays as it is. Throws nothing derived from Error.
void carryMetadata(const std::filesystem::path &source, const std::filesystem::path &output);

} // namespace WebpAssistance

} // namespace quorvalent
