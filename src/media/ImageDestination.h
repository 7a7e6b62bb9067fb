#pragma once

#include "media/ImageTypes.h"

#include <QString>

#include <filesystem>
#include <memory>
#include <optional>

namespace quorvalent {

class ImageWriter;

/// Writes an image file frame by frame: every type but WebP. Each frame is brought into what the type can
/// hold: colours into sRGB where no profile fits, depth to 8 bits, transparency onto white. Temporary files
/// go into the folder of the output. One thread at a time. A frame that fails to decode throws
/// ImageReadError, everything else ImageWriteError; a partial file stays behind.
class ImageDestination
{
public:
    /// What this machine lacks to write the type, by names that are the same in every language; nothing where
    /// it can.
    [[nodiscard]] static std::optional<QString> missingPart(ImageType type);

    /// `count` frames will follow. Nothing when this machine has no encoder for the type.
    [[nodiscard]] static std::optional<ImageDestination> create(const std::filesystem::path &path,
                                                                ImageType type, int count);

    /// A PNG of one frame that means the same to a program without colour management: 8 bits, sRGB.
    [[nodiscard]] static ImageDestination createPlainPng(const std::filesystem::path &path);

    ImageDestination(ImageDestination &&) noexcept;
    ImageDestination &operator=(ImageDestination &&) noexcept;
    ~ImageDestination();

    /// To be called before the first frame.
    void setProperties(const ContainerProperties &properties);
    /// `quality` is a fraction, 1.0 the best; lossless types ignore it.
    void addImage(const ImageFrame &frame, const FrameProperties &properties, double quality);
    /// The file is complete when this returns, but not flushed to the disk.
    void finalize();

private:
    explicit ImageDestination(std::unique_ptr<ImageWriter> writer);

    std::unique_ptr<ImageWriter> m_writer;
};

} // namespace quorvalent
