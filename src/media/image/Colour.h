#pragma once

#include "media/image/VipsPixels.h"

#include <QByteArray>

namespace quorvalent {

/// What an image type can hold. Grey is always allowed.
struct PixelLimits
{
    int bits = 8; ///< 8 or 16 a channel
    bool alpha = false;
    bool profile = false; ///< a colour profile; without it the pixels become sRGB
    bool cmyk = false;
};

/// The image within the limits, looking the same. The result has 8 or 16 bits unsigned and is grey, RGB or
/// CMYK, with alpha last if any. Transparency goes onto white where there is no alpha. ImageProfileError when
/// its profile cannot be read and its numbers mean nothing without.
[[nodiscard]] vips::VImage fitted(const vips::VImage &image, const PixelLimits &limits);

/// The profile that describes the image's channels; empty when there is none or it is for other channels.
[[nodiscard]] QByteArray profileOf(const vips::VImage &image);

/// Whether the pixels are 8-bit grey or RGB that mean what they would mean in sRGB.
[[nodiscard]] bool showsAsSrgb(const vips::VImage &image);

/// A profile that libvips has built in ("srgb", "p3", "cmyk").
void attachBuiltInProfile(const vips::VImage &image, const char *name);

} // namespace quorvalent
