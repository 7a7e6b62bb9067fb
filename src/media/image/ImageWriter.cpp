#include "media/image/ImageWriter.h"

#include "media/image/BmpWriter.h"
#include "media/image/GifWriter.h"
#include "media/image/HeicWriter.h"
#include "media/image/StillWriter.h"
#include "media/image/TiffWriter.h"

#include <algorithm>
#include <cmath>

namespace quorvalent {

std::unique_ptr<ImageWriter> ImageWriter::create(const std::filesystem::path &path, ImageType type, int count)
{
    switch (type) {
    case ImageType::Jpeg:
        return std::make_unique<StillWriter>(path, StillWriter::Kind::Jpeg);
    case ImageType::Png:
        return std::make_unique<StillWriter>(path, StillWriter::Kind::Png);
    case ImageType::Heic:
        return HeicWriter::isAvailable() ? std::make_unique<HeicWriter>(path) : nullptr;
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
