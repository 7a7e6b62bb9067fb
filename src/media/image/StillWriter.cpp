#include "media/image/StillWriter.h"

#include "media/image/Colour.h"
#include "media/image/FileTarget.h"
#include "media/image/Metadata.h"

#include <algorithm>
#include <cmath>

namespace quorvalent {

using vips::VError;
using vips::VImage;

namespace {

constexpr int mostJpegSide = 65535;
constexpr std::int64_t afterJpegStart = 2;  // the marker that begins the file; libvips adds no header
constexpr std::int64_t afterPngHeader = 33; // signature, IHDR

constexpr PixelLimits jpegLimits{.bits = 8, .alpha = false, .profile = true, .cmyk = false};
constexpr PixelLimits pngLimits{.bits = 16, .alpha = true, .profile = true, .cmyk = false};
constexpr PixelLimits plainLimits{.bits = 8, .alpha = true, .profile = false, .cmyk = false};

const PixelLimits &limitsOf(StillWriter::Kind kind)
{
    switch (kind) {
    case StillWriter::Kind::Jpeg:
        return jpegLimits;
    case StillWriter::Kind::Png:
        return pngLimits;
    case StillWriter::Kind::PlainPng:
        break;
    }
    return plainLimits;
}

Resolution resolutionOf(const VImage &image)
{
    constexpr double most = 65535;
    constexpr double mmPerInch = 25.4;
    return {static_cast<int>(std::clamp(std::round(image.xres() * mmPerInch), 1.0, most)),
            static_cast<int>(std::clamp(std::round(image.yres() * mmPerInch), 1.0, most))};
}

} // namespace

StillWriter::StillWriter(std::filesystem::path path, Kind kind)
    : m_path(std::move(path))
    , m_kind(kind)
{}

void StillWriter::add(const ImageFrame::Pixels &frame, const FrameProperties &properties, double quality)
{
    const bool jpeg = m_kind == Kind::Jpeg;
    const VImage image = withPrintableResolution(fitted(frame.image, limitsOf(m_kind)));
    if (jpeg && (image.width() > mostJpegSide || image.height() > mostJpegSide))
        throw ImageWriteError();
    const QByteArray profile = m_kind == Kind::PlainPng ? QByteArray() : profileOf(image);
    const FileTarget file(m_path,
                          jpeg ? jpegSegments(properties, profile, resolutionOf(image))
                               : pngChunks(properties, profile),
                          jpeg ? afterJpegStart : afterPngHeader);
    const ReadGuard guard(image);
    try {
        // Stripped, because libvips would rewrite the EXIF block; the metadata goes in as it is.
        if (jpeg)
            guard.image().jpegsave_target(file.target(),
                                          VImage::option()->set("Q", percentOf(quality))->set("strip", true));
        else
            guard.image().pngsave_target(file.target(), VImage::option()
                                                            ->set("compression", 1)
                                                            ->set("filter", VIPS_FOREIGN_PNG_FILTER_ALL)
                                                            ->set("strip", true));
    } catch (const VError &) {
        forgetVipsError();
        if (file.failed())
            throw ImageWriteError();
        throw ImageReadError();
    }
    if (file.failed())
        throw ImageWriteError();
    if (guard.failed())
        throw ImageReadError();
}

} // namespace quorvalent
