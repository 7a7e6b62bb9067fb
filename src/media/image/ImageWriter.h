#pragma once

#include "media/ImageTypes.h"

#include <QString>

#include <filesystem>
#include <memory>
#include <optional>

namespace quorvalent {

/// One file format's way of writing. Functions may throw ImageReadError, for the frame, and ImageWriteError.
class ImageWriter
{
public:
    ImageWriter() = default;
    ImageWriter(const ImageWriter &) = delete;
    ImageWriter &operator=(const ImageWriter &) = delete;
    virtual ~ImageWriter() = default;

    /// What this machine lacks to write the type, by names that are the same in every language; nothing where
    /// it can.
    [[nodiscard]] static std::optional<QString> missingPart(ImageType type);

    /// Null when this machine has no encoder for the type.
    [[nodiscard]] static std::unique_ptr<ImageWriter> create(const std::filesystem::path &path,
                                                             ImageType type, int count);

    virtual void setProperties(const ContainerProperties &) {}
    virtual void add(const ImageFrame::Pixels &frame, const FrameProperties &properties, double quality) = 0;
    virtual void finish() {}
};

/// The encoders' scale of quality, 1 to 100.
[[nodiscard]] int percentOf(double quality);

/// From this percentage on colours keep their full resolution.
constexpr int fullChromaPercent = 90;

} // namespace quorvalent
