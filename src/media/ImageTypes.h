#pragma once

#include "platform/Error.h"

#include <QByteArray>

#include <chrono>
#include <memory>
#include <optional>

namespace quorvalent {

enum class ImageType { Jpeg, Png, Heic, Tiff, Gif, Bmp, Webp };

/// A picture's size in pixels, as seen: with its orientation applied.
struct ImageSize
{
    int width = 0;
    int height = 0;

    bool operator==(const ImageSize &) const = default;
};

/// What travels with one frame beside its pixels. A block is empty where the source has none. The blocks
/// describe the picture as seen: orientation 1, no thumbnail.
struct FrameProperties
{
    std::optional<std::chrono::milliseconds> delay;
    QByteArray exif;        ///< a TIFF structure, without the lead "Exif\0\0"
    QByteArray xmp;         ///< the XML packet
    QByteArray iptc;        ///< IPTC-IIM records, without the Photoshop wrapping
    QByteArray description; ///< a TIFF page's own ImageDescription, without our frame timing

    bool operator==(const FrameProperties &) const = default;
};

/// What belongs to the file as a whole.
struct ContainerProperties
{
    std::optional<int> loopCount; ///< how often an animation plays; 0: for ever
    ImageSize canvas;             ///< the smallest that every frame fits on

    bool operator==(const ContainerProperties &) const = default;
};

/// A picture that cannot be decoded: truncated, damaged, or of a kind that no decoder here knows.
class ImageReadError : public Error
{
public:
    ImageReadError();

protected:
    using Error::Error;
};

/// A picture whose colours mean nothing without their profile, which cannot be read.
class ImageProfileError : public ImageReadError
{
public:
    ImageProfileError();
};

/// A picture that could not be encoded or stored.
class ImageWriteError : public Error
{
public:
    ImageWriteError();
};

/// One upright frame with its colour profile and resolution. A handle: copies share the pixels, which may
/// be decoded only while a destination takes them. Use it on the thread, and within the life, of its source.
class ImageFrame
{
public:
    struct Pixels;

    explicit ImageFrame(std::shared_ptr<const Pixels> pixels)
        : m_pixels(std::move(pixels))
    {}

    [[nodiscard]] ImageSize size() const;
    /// Decodes every pixel and drops it; throws ImageReadError when one cannot be had.
    void decode() const;
    [[nodiscard]] const Pixels &pixels() const { return *m_pixels; }

private:
    std::shared_ptr<const Pixels> m_pixels;
};

} // namespace quorvalent
