#include "media/image/ImageWriter.h"

#include "media/image/BmpWriter.h"
#include "media/image/GifWriter.h"
#include "media/image/HeicWriter.h"
#include "media/image/StillWriter.h"
#include "media/image/TiffWriter.h"

#include <vips/vips.h>

#include <algorithm>
#include <cmath>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

// Distributions build libvips with the libraries that they like.
std::optional<QString> unlessVipsHas(const char *operation, const QString &library)
{
    return vips_type_find("VipsOperation", operation) != 0 ? std::nullopt
                                                           : std::optional(u"libvips + "_s + library);
}

} // namespace

std::optional<QString> ImageWriter::missingPart(ImageType type)
{
    switch (type) {
    case ImageType::Jpeg:
        return unlessVipsHas("jpegsave_target", u"libjpeg"_s);
    case ImageType::Png:
        return unlessVipsHas("pngsave_target", u"libpng"_s);
    case ImageType::Gif:
        return unlessVipsHas("gifsave_target", u"cgif"_s);
    case ImageType::Heic:
        return HeicWriter::isAvailable() ? std::nullopt
                                         : std::optional(u"libheif-plugin-x265 (libheif, x265)"_s);
    case ImageType::Tiff:
    case ImageType::Bmp:
    case ImageType::Webp:
        break;
    }
    return std::nullopt;
}

std::unique_ptr<ImageWriter> ImageWriter::create(const std::filesystem::path &path, ImageType type, int count)
{
    if (missingPart(type))
        return nullptr;
    switch (type) {
    case ImageType::Jpeg:
        return std::make_unique<StillWriter>(path, StillWriter::Kind::Jpeg);
    case ImageType::Png:
        return std::make_unique<StillWriter>(path, StillWriter::Kind::Png);
    case ImageType::Heic:
        return std::make_unique<HeicWriter>(path);
    case ImageType::Tiff:
        return std::make_unique<TiffWriter>(path, count);
    case ImageType::Gif:
        return std::make_unique<GifWriter>(path, count);
    case ImageType::Bmp:
        return std::make_unique<BmpWriter>(path);
    case ImageType::Webp:
        break;
    }
    return nullptr;
}

int percentOf(double quality)
{
    return std::clamp(static_cast<int>(std::lround(quality * 100.0)), 1, 100);
}

} // namespace quorvalent
