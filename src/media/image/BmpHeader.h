#pragma once

#include "media/ImageTypes.h"

#include <QByteArray>

#include <array>
#include <cstdint>
#include <vector>

namespace quorvalent {

/// What the headers of a BMP file say. Every value is checked: the colour table and the rows of an
/// uncompressed picture lie inside the file.
struct BmpHeader
{
    enum class Coding { Plain, Rle8, Rle4 };
    struct Channel
    {
        std::uint32_t mask = 0;
        int shift = 0;
        std::uint32_t most = 0; ///< the largest value; 0 where the picture lacks the channel
    };

    /// Throws ImageReadError when the file is damaged or of a kind not known here (JPEG or PNG inside).
    [[nodiscard]] static BmpHeader of(QByteArrayView file);

    ImageSize size;
    bool bottomUp = true;
    int bits = 24; ///< per pixel: 1, 2, 4, 8, 16, 24, 32
    Coding coding = Coding::Plain;
    std::array<Channel, 4> channels{}; ///< red, green, blue, alpha, of 16 and 32 bits
    std::vector<std::array<unsigned char, 3>> palette;
    qsizetype pixelsAt = 0;
    qsizetype strideBytes = 0;
    double pixelsPerMmX = 0; ///< 0: unknown
    double pixelsPerMmY = 0;
    QByteArray profile;

    [[nodiscard]] bool hasAlpha() const { return channels[3].most != 0; }
};

} // namespace quorvalent
