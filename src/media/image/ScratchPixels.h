#pragma once

#include "media/image/VipsPixels.h"
#include "platform/FileDescriptor.h"

#include <cstdint>
#include <filesystem>

namespace quorvalent {

/// Decoded pixels kept in a file of the work folder instead of in memory. The file is gone once mapped, or
/// with this object.
class ScratchPixels
{
public:
    /// Throws ImageWriteError.
    explicit ScratchPixels(const std::filesystem::path &folder);
    ~ScratchPixels();
    ScratchPixels(const ScratchPixels &) = delete;
    ScratchPixels &operator=(const ScratchPixels &) = delete;

    /// Adds the image's rows below those already there. All images have the same width and format. Throws
    /// ImageReadError when the image cannot be decoded, ImageWriteError when the disk takes no more.
    void append(const vips::VImage &image);

    /// Everything appended so far as one image of the format of `like`, with its profile and resolution.
    [[nodiscard]] vips::VImage mapped(const vips::VImage &like);

private:
    std::filesystem::path m_path;
    FileDescriptor m_file;
    std::int64_t m_rows = 0;
};

} // namespace quorvalent
