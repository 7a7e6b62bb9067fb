#include "media/image/ImageReader.h"

#include "media/image/AnimationReader.h"
#include "media/image/ApngReader.h"
#include "media/image/BmpReader.h"
#include "media/image/HeicReader.h"
#include "media/image/StillReader.h"
#include "media/image/TiffReader.h"

namespace quorvalent {

std::unique_ptr<ImageReader> ImageReader::open(const std::filesystem::path &path, ImageType type)
{
    switch (type) {
    case ImageType::Jpeg:
        return std::make_unique<StillReader>(path, StillReader::Kind::Jpeg);
    case ImageType::Png:
        if (ApngReader::framesAnnouncedIn(path) > 1)
            return std::make_unique<ApngReader>(path);
        return std::make_unique<StillReader>(path, StillReader::Kind::Png);
    case ImageType::Heic:
        return std::make_unique<HeicReader>(path);
    case ImageType::Tiff:
        return std::make_unique<TiffReader>(path);
    case ImageType::Gif:
        return std::make_unique<AnimationReader>(path, AnimationReader::Kind::Gif);
    case ImageType::Webp:
        return std::make_unique<AnimationReader>(path, AnimationReader::Kind::Webp);
    case ImageType::Bmp:
        return std::make_unique<BmpReader>(path);
    }
    throw ImageReadError();
}

void ImageReader::verify()
{
    ImageFrame(std::make_shared<ImageFrame::Pixels>(ImageFrame::Pixels{pixels(0)})).decode();
}

} // namespace quorvalent
