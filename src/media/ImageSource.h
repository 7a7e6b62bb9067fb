#pragma once

#include "media/ImageTypes.h"

#include <filesystem>
#include <memory>
#include <optional>

namespace quorvalent {

class ImageReader;

/// Reads an image file frame by frame: JPEG, PNG, HEIC, TIFF, GIF, BMP, WebP, told apart by their content.
/// A phone's HEIC with depth or gain maps is one picture; so is a TIFF with a preview. Opening reads headers
/// only. One thread at a time; errors in the file throw ImageReadError.
class ImageSource
{
public:
    /// Gets the image library ready, which the first open() would otherwise have to wait for.
    static void prepare();
    /// Threads that work on a picture, 1 or more; once for a process, before the first open().
    static void limitThreads(int threads);

    /// Nothing when the file is no image of a known type or cannot be read at all. A frame too large for
    /// memory that must be turned is spilled into `scratchFolder`, without leaving anything there.
    [[nodiscard]] static std::optional<ImageSource> open(const std::filesystem::path &path,
                                                         const std::filesystem::path &scratchFolder);

    ImageSource(ImageSource &&) noexcept;
    ImageSource &operator=(ImageSource &&) noexcept;
    ~ImageSource();

    [[nodiscard]] ImageType type() const;
    /// At least 1.
    [[nodiscard]] int frameCount() const;
    [[nodiscard]] ImageSize frameSize(int index) const;
    [[nodiscard]] ContainerProperties properties() const;
    [[nodiscard]] FrameProperties frameProperties(int index) const;
    /// Frames of an animation are cheapest in ascending order.
    [[nodiscard]] ImageFrame frame(int index) const;

    /// Whether the pixels mean what a program sees that ignores orientation and profile: upright, 8 bits,
    /// grey or RGB, sRGB.
    [[nodiscard]] bool isPlain() const;
    /// Decodes the first frame as cheaply as its type allows; throws ImageReadError when it is damaged.
    void verify() const;

private:
    ImageSource(ImageType type, std::unique_ptr<ImageReader> reader, std::filesystem::path scratchFolder);

    ImageType m_type;
    std::unique_ptr<ImageReader> m_reader;
    std::filesystem::path m_scratchFolder;
};

} // namespace quorvalent
