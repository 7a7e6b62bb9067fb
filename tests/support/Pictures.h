#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace quorvalent::test {

/// Red, green, blue, alpha.
using Colour = std::array<std::uint8_t, 4>;

constexpr Colour red{255, 0, 0, 255};
constexpr Colour green{0, 255, 0, 255};
constexpr Colour blue{0, 0, 255, 255};
constexpr Colour white{255, 255, 255, 255};
constexpr Colour clear{0, 0, 0, 0};

struct Picture
{
    int width = 0;
    int height = 0;
    std::vector<Colour> pixels; ///< top row first

    [[nodiscard]] Colour at(int x, int y) const
    {
        return pixels.at(static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                         static_cast<std::size_t>(x));
    }
};

/// A picture of four equal fields: red top left, green top right, blue bottom left, white bottom right.
[[nodiscard]] Picture fourFields(int width, int height);
[[nodiscard]] Picture plain(int width, int height, Colour colour);

/// The picture as a BMP file of 32 bits with alpha.
[[nodiscard]] std::string bmpBytes(const Picture &picture);

/// An EXIF block with an orientation, a date, a size and a thumbnail, in either byte order.
[[nodiscard]] std::string exifBytes(int orientation, bool bigEndian);

/// An uncompressed TIFF file of one page: 8 or 16 bits a sample, as TIFF's photometric codes say (1 grey,
/// 2 RGB, 5 CMYK), every pixel with the same samples.
[[nodiscard]] std::string tiffBytes(int width, int height, int photometric, int bits,
                                    const std::vector<std::uint16_t> &samples);

/// The first frame as the ffmpeg program decodes it, without turning it: a second opinion on what was
/// written.
[[nodiscard]] Picture decodedByFfmpeg(const std::filesystem::path &path, int width, int height);

/// Whether no channel differs by more than the tolerance.
[[nodiscard]] bool near(Colour a, Colour b, int tolerance);

} // namespace quorvalent::test
