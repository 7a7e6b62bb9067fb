#include "media/ImageSource.h"

#include "media/ImageEnd.h"
#include "media/ImageSignature.h"
#include "media/image/Colour.h"
#include "media/image/ImageReader.h"
#include "media/image/Metadata.h"
#include "media/image/VipsPixels.h"

#include <algorithm>
#include <utility>

namespace quorvalent {

using vips::VError;
using vips::VImage;

namespace {

// libvips reports by exceptions of its own and a text that is not for users.
template <typename Work>
auto reading(const Work &work)
{
    try {
        return work();
    } catch (const VError &) {
        forgetVipsError();
        throw ImageReadError();
    }
}

// An upside-down or lying frame needs its rows in another order than the file has them.
constexpr int lastOrientationInReadingOrder = 2;

} // namespace

void ImageSource::prepare()
{
    startVips();
}

void ImageSource::limitThreads(int threads)
{
    startVips();
    vips_concurrency_set(threads);
}

std::optional<ImageSource> ImageSource::open(const std::filesystem::path &path,
                                             const std::filesystem::path &scratchFolder)
{
    const std::optional<ImageType> type = imageTypeOf(path);
    if (!type)
        return std::nullopt;
    startVips();
    try {
        return reading([&] { return ImageSource(*type, ImageReader::open(path, *type), scratchFolder); });
    } catch (const ImageReadError &) {
        // One that breaks off is known, but cannot be read; of any other, nobody knows what it is.
        if (isWholeImageFile(path, *type))
            return std::nullopt;
        throw;
    }
}

ImageSource::ImageSource(ImageType type, std::unique_ptr<ImageReader> reader,
                         std::filesystem::path scratchFolder)
    : m_type(type)
    , m_reader(std::move(reader))
    , m_scratchFolder(std::move(scratchFolder))
{}

ImageSource::ImageSource(ImageSource &&) noexcept = default;
ImageSource &ImageSource::operator=(ImageSource &&) noexcept = default;
ImageSource::~ImageSource() = default;

ImageType ImageSource::type() const
{
    return m_type;
}

int ImageSource::frameCount() const
{
    return m_reader->frameCount();
}

ImageSize ImageSource::frameSize(int index) const
{
    const ImageReader::Header header = m_reader->header(index);
    const ImageSize &stored = header.stored;
    return header.orientation >= 5 ? ImageSize{stored.height, stored.width} : stored;
}

ContainerProperties ImageSource::properties() const
{
    ContainerProperties properties;
    properties.loopCount = m_reader->loopCount();
    for (int i = 0; i < frameCount(); ++i) {
        const ImageSize size = frameSize(i);
        properties.canvas.width = std::max(properties.canvas.width, size.width);
        properties.canvas.height = std::max(properties.canvas.height, size.height);
    }
    return properties;
}

FrameProperties ImageSource::frameProperties(int index) const
{
    FrameProperties properties = reading([&] { return m_reader->properties(index); });
    properties.exif = uprightExif(std::move(properties.exif), frameSize(index));
    properties.xmp = uprightXmp(std::move(properties.xmp));
    return properties;
}

ImageFrame ImageSource::frame(int index) const
{
    return reading([&] {
        VImage image = m_reader->pixels(index);
        const int orientation = m_reader->header(index).orientation;
        if (orientation > lastOrientationInReadingOrder)
            image = materialised(image, m_scratchFolder);
        const VipsImageType kind = image.get_image()->dtype;
        const bool isInMemory = kind == VIPS_IMAGE_SETBUF || kind == VIPS_IMAGE_SETBUF_FOREIGN;
        return ImageFrame(
            std::make_shared<ImageFrame::Pixels>(ImageFrame::Pixels{turned(image, orientation), isInMemory}));
    });
}

bool ImageSource::isPlain() const
{
    return reading([&] { return m_reader->header(0).orientation == 1 && showsAsSrgb(m_reader->pixels(0)); });
}

void ImageSource::verify() const
{
    reading([&] { m_reader->verify(); });
}

} // namespace quorvalent
