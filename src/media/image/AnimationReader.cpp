#include "media/image/AnimationReader.h"

#include "media/ImageEnd.h"

namespace quorvalent {

using vips::VImage;

AnimationReader::AnimationReader(std::filesystem::path path, Kind kind)
    : m_path(std::move(path))
    , m_kind(kind)
    , m_strip(load())
    , m_frameHeight(vips_image_get_page_height(m_strip.get_image()))
{
    // libvips takes the frames that are there for all of them.
    if (m_kind == Kind::Gif && !isWholeImageFile(m_path, ImageType::Gif))
        throw ImageReadError();
    m_frameCount = std::max(1, m_strip.height() / m_frameHeight);
}

VImage AnimationReader::load() const
{
    vips::VOption *options = VImage::option()
                                 ->set("n", -1)
                                 ->set("access", VIPS_ACCESS_SEQUENTIAL)
                                 ->set("fail_on", VIPS_FAIL_ON_TRUNCATED);
    return m_kind == Kind::Gif ? VImage::gifload(m_path.c_str(), options)
                               : VImage::webpload(m_path.c_str(), options);
}

ImageReader::Header AnimationReader::header(int) const
{
    return {{m_strip.width(), m_frameHeight}, vips_image_get_orientation(m_strip.get_image())};
}

VImage AnimationReader::pixels(int index)
{
    if (index < m_next)
        m_strip = load();
    m_next = index + 1;
    if (m_frameCount == 1)
        return m_strip;
    return readIntoMemory(m_strip.crop(0, index * m_frameHeight, m_strip.width(), m_frameHeight));
}

FrameProperties AnimationReader::properties(int index) const
{
    FrameProperties properties;
    properties.exif = blobOf(m_strip, VIPS_META_EXIF_NAME);
    properties.xmp = blobOf(m_strip, VIPS_META_XMP_NAME);
    int *delays = nullptr;
    int count = 0;
    if (m_frameCount > 1 && vips_image_get_typeof(m_strip.get_image(), "delay") != 0 &&
        vips_image_get_array_int(m_strip.get_image(), "delay", &delays, &count) == 0 && index < count)
        properties.delay = std::chrono::milliseconds(delays[index]);
    return properties;
}

std::optional<int> AnimationReader::loopCount() const
{
    int loops = 0;
    if (m_frameCount > 1 && vips_image_get_typeof(m_strip.get_image(), "loop") != 0 &&
        vips_image_get_int(m_strip.get_image(), "loop", &loops) == 0)
        return loops;
    return std::nullopt;
}

} // namespace quorvalent
