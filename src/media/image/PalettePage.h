#pragma once

#include "media/image/VipsPixels.h"

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace quorvalent {

/// An opaque picture of at most 256 colours, as a palette and one byte a pixel: the frames of an animation
/// are such pictures, and are a quarter of the size without their colours spelt out.
struct PalettePage
{
    std::array<std::uint16_t, 256> red{}; ///< 16 bits, as a TIFF colour map holds them
    std::array<std::uint16_t, 256> green{};
    std::array<std::uint16_t, 256> blue{};
    std::vector<unsigned char> indices; ///< rows top to bottom without gaps

    /// Nothing for a picture with more colours or with transparency, or of another kind than RGB with 8 bits.
    /// Meant for pixels that are in memory: decodes others as a whole. Throws ImageReadError.
    [[nodiscard]] static std::optional<PalettePage> of(const vips::VImage &image);

    /// Whether enough neighbours are alike for a run-length code to be worth its time; dither has none.
    [[nodiscard]] bool hasRuns() const;
};

} // namespace quorvalent
