#pragma once

#include "platform/ImageTypes.h"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <vips/vips8>

namespace quorvalent {

struct ImageFrame::Pixels
{
    vips::VImage image;
};

/// Starts libvips on first use: no operation cache, no loader that its authors do not trust with foreign
/// files, no messages on standard error. Any thread.
void startVips();

/// Receives rows top to bottom, `count` of them starting with row `top`, each `strideBytes` after the last;
/// returns false to give up. Runs on a thread of libvips.
using RowSink = std::function<bool(const unsigned char *rows, std::size_t strideBytes, int top, int count)>;

/// Streams the image into the sink. Throws ImageWriteError when the sink gave up, else ImageReadError.
void streamRows(const vips::VImage &image, const RowSink &sink);

/// The image with its pixels in memory, or, above 100 MB, in an unnamed file of `scratchFolder`: an image
/// that can be read in any order. Throws ImageReadError, or ImageWriteError when the disk is full.
[[nodiscard]] vips::VImage materialised(const vips::VImage &image,
                                        const std::filesystem::path &scratchFolder);

/// Turned as an EXIF orientation (1 to 8) asks; from 3 on the image must be readable in any order.
[[nodiscard]] vips::VImage turned(const vips::VImage &image, int orientation);

/// With 72 dots per inch where the source said nothing: libvips' own default, 25 dots, prints posters.
[[nodiscard]] vips::VImage withPrintableResolution(const vips::VImage &image);

/// Bytes of one pixel, one row, all rows.
[[nodiscard]] std::size_t pixelBytes(const vips::VImage &image);
[[nodiscard]] std::size_t rowBytes(const vips::VImage &image);
[[nodiscard]] std::size_t imageBytes(const vips::VImage &image);

/// The names of all metadata of the image.
[[nodiscard]] std::vector<std::string> fieldNames(const vips::VImage &image);

/// A named block of the image's metadata, empty when absent.
[[nodiscard]] QByteArray blobOf(const vips::VImage &image, const char *name);

} // namespace quorvalent
