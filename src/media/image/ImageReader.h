#pragma once

#include "media/ImageTypes.h"
#include "media/image/VipsPixels.h"

#include <filesystem>
#include <memory>

namespace quorvalent {

/// One file format's way of reading. Every function may throw ImageReadError or the error of libvips;
/// indices run from 0 to frameCount() - 1.
class ImageReader
{
public:
    struct Header
    {
        ImageSize stored; ///< before the orientation is applied
        int orientation = 1;
    };

    ImageReader() = default;
    ImageReader(const ImageReader &) = delete;
    ImageReader &operator=(const ImageReader &) = delete;
    virtual ~ImageReader() = default;

    /// Reads the headers; throws when they are damaged.
    [[nodiscard]] static std::unique_ptr<ImageReader> open(const std::filesystem::path &path, ImageType type);

    [[nodiscard]] virtual int frameCount() const = 0;
    [[nodiscard]] virtual Header header(int index) const = 0;
    /// The frame as stored, with profile and resolution: to be read once, top to bottom.
    [[nodiscard]] virtual vips::VImage pixels(int index) = 0;
    /// As stored in the file.
    [[nodiscard]] virtual FrameProperties properties(int index) const = 0;
    [[nodiscard]] virtual std::optional<int> loopCount() const { return std::nullopt; }
    /// Decodes the first frame, or a reduction of it that meets the same errors.
    virtual void verify();
};

} // namespace quorvalent
