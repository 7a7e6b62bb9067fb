#pragma once

#include "media/ImageTypes.h"

#include <atomic>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <vips/vips8>

namespace quorvalent {

struct ImageFrame::Pixels
{
    vips::VImage image;
    bool isInMemory = false; ///< reading it twice costs nothing
};

/// Starts libvips on first use: no operation cache, no loader that its authors do not trust with foreign
/// files, no messages on standard error, neither its own nor libtiff's. Any thread.
void startVips();

/// Forgets what libvips said of an operation that failed; throws std::bad_alloc where it said that it got no
/// memory, which is not the picture's fault.
void forgetVipsError();

/// Passes an image on and remembers whether any part of it could not be had. libvips 8.14 loses an error in
/// the last strip when the other threads are done first: the operation succeeds, with part of the picture
/// grey. Outlives the operations on image().
class ReadGuard
{
public:
    explicit ReadGuard(const vips::VImage &source);
    ReadGuard(const ReadGuard &) = delete;
    ReadGuard &operator=(const ReadGuard &) = delete;

    [[nodiscard]] const vips::VImage &image() const { return m_image; }
    [[nodiscard]] bool failed() const { return m_failed; }
    /// The image with its pixels in memory; throws ImageReadError.
    [[nodiscard]] vips::VImage inMemory() const;

private:
    static int pass(VipsRegion *out, void *sequence, void *source, void *self, gboolean *stop);

    vips::VImage m_source;
    std::atomic<bool> m_failed = false;
    vips::VImage m_image;
};

/// Receives rows top to bottom, `count` of them starting with row `top`, each `strideBytes` after the last;
/// returns false to give up. Runs on a thread of libvips.
using RowSink = std::function<bool(const unsigned char *rows, std::size_t strideBytes, int top, int count)>;

/// Streams the image into the sink. Throws ImageWriteError when the sink gave up, else ImageReadError.
void streamRows(const vips::VImage &image, const RowSink &sink);

/// The same on the calling thread, a few rows at a time, which stay in the processor's cache: for an image
/// whose pixels are in memory, and for a decoder that delivers row after row and gains nothing from more
/// threads. False when the sink gave up; throws ImageReadError.
[[nodiscard]] bool readRows(const vips::VImage &image, const RowSink &sink);
/// Its pixels in memory, read in that way.
[[nodiscard]] vips::VImage readIntoMemory(const vips::VImage &image);

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
