#pragma once

#include "media/SourceMedia.h"

#include <string>

namespace quorvalent {

struct PixelSize
{
    int width = 0;
    int height = 0;

    bool operator==(const PixelSize &) const = default;
};

/// How a decoded picture becomes one that an H.264 encoder takes and every player shows: 8 bits, 4:2:0,
/// limited range, even sides, progressive, no more than the ordinary dynamic range.
struct EncodedPicture
{
    PixelSize size;      ///< pixels to be stored, after the rotation
    std::string filters; ///< FFmpeg's filter chain, to follow the rotation

    bool operator==(const EncodedPicture &) const = default;
};

/// `largest` is what the picture may at most measure as seen, that is turned and with square pixels; a size
/// of 0 × 0 is no limit. Never enlarges. Pure; any thread.
[[nodiscard]] EncodedPicture encodedPicture(const SourceStream &stream, PixelSize largest);

} // namespace quorvalent
