#include "media/ImageDestination.h"

#include "media/image/ImageWriter.h"
#include "media/image/StillWriter.h"
#include "media/image/VipsPixels.h"

#include <utility>

namespace quorvalent {

using vips::VError;

namespace {

// What libvips throws outside of decoding and encoding is trouble with setting an operation up.
template <typename Work>
void writing(const Work &work)
{
    try {
        work();
    } catch (const VError &) {
        forgetVipsError();
        throw ImageWriteError();
    }
}

} // namespace

std::optional<QString> ImageDestination::missingPart(ImageType type)
{
    startVips();
    return ImageWriter::missingPart(type);
}

std::optional<ImageDestination> ImageDestination::create(const std::filesystem::path &path, ImageType type,
                                                         int count)
{
    startVips();
    std::unique_ptr<ImageWriter> writer = ImageWriter::create(path, type, count);
    if (!writer)
        return std::nullopt;
    return ImageDestination(std::move(writer));
}

ImageDestination ImageDestination::createPlainPng(const std::filesystem::path &path)
{
    startVips();
    return ImageDestination(std::make_unique<StillWriter>(path, StillWriter::Kind::PlainPng));
}

ImageDestination::ImageDestination(std::unique_ptr<ImageWriter> writer)
    : m_writer(std::move(writer))
{}

ImageDestination::ImageDestination(ImageDestination &&) noexcept = default;
ImageDestination &ImageDestination::operator=(ImageDestination &&) noexcept = default;
ImageDestination::~ImageDestination() = default;

void ImageDestination::setProperties(const ContainerProperties &properties)
{
    m_writer->setProperties(properties);
}

void ImageDestination::addImage(const ImageFrame &frame, const FrameProperties &properties, double quality)
{
    writing([&] { m_writer->add(frame.pixels(), properties, quality); });
}

void ImageDestination::finalize()
{
    writing([&] { m_writer->finish(); });
}

} // namespace quorvalent
