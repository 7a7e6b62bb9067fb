#include "media/image/GifWriter.h"

#include "media/image/Colour.h"
#include "media/image/FileTarget.h"

namespace quorvalent {

using vips::VError;
using vips::VImage;

namespace {

constexpr int mostSide = 65535;
constexpr int slideMs = 1000; // pages without a time of their own are to be looked at, not to race past
constexpr int effort = 4;     // of 10: three times faster than the best, 3 % larger
constexpr PixelLimits limits{.bits = 8, .alpha = true, .profile = false, .cmyk = false};

VImage rgba(const VImage &source)
{
    VImage image = fitted(source, limits);
    if (image.bands() < 3)
        image = image.colourspace(VIPS_INTERPRETATION_sRGB);
    return image.bands() == 4 ? image : image.bandjoin(255.0);
}

} // namespace

GifWriter::GifWriter(std::filesystem::path path, int count)
    : m_path(std::move(path))
    , m_count(count)
    , m_scratch(m_path.parent_path())
{}

void GifWriter::add(const ImageFrame::Pixels &frame, const FrameProperties &properties, double)
{
    VImage image = rgba(frame.image);
    if (m_container.canvas == ImageSize{})
        m_container.canvas = {image.width(), image.height()};
    const ImageSize canvas = m_container.canvas;
    if (canvas.width > mostSide || canvas.height > mostSide)
        throw ImageWriteError();
    if (image.width() != canvas.width || image.height() != canvas.height)
        image = image.embed((canvas.width - image.width()) / 2, (canvas.height - image.height()) / 2,
                            canvas.width,
                            canvas.height); // the rest is transparent
    m_scratch.append(image);
    m_last = image;
    m_delaysMs.push_back(
        static_cast<int>(properties.delay.value_or(std::chrono::milliseconds(slideMs)).count()));
}

void GifWriter::finish()
{
    const VImage strip = m_scratch.mapped(m_last).copy();
    VipsImage *raw = strip.get_image();
    vips_image_set_int(raw, VIPS_META_PAGE_HEIGHT, m_container.canvas.height);
    if (m_count > 1) {
        vips_image_set_array_int(raw, "delay", m_delaysMs.data(), static_cast<int>(m_delaysMs.size()));
        vips_image_set_int(raw, "loop", m_container.loopCount.value_or(0));
    }
    const FileTarget file(m_path, {}, 0);
    try {
        strip.gifsave_target(file.target(), VImage::option()->set("effort", effort)->set("dither", 1.0));
    } catch (const VError &) {
        forgetVipsError();
        throw ImageWriteError();
    }
    if (file.failed())
        throw ImageWriteError();
}

} // namespace quorvalent
