#include "media/image/StillReader.h"

#include "media/image/Metadata.h"

#include <algorithm>

namespace quorvalent {

using vips::VImage;

namespace {

QByteArray pngIptc(const VImage &image)
{
    // libvips names text chunks "png-comment-<number>-<keyword>".
    for (const std::string &name : fieldNames(image)) {
        if (name.starts_with("png-comment-") && name.ends_with("-Raw profile type iptc"))
            return iptcFromPngText(image.get_string(name.c_str()));
    }
    return {};
}

} // namespace

StillReader::StillReader(std::filesystem::path path, Kind kind)
    : m_path(std::move(path))
    , m_kind(kind)
    , m_image(load(1))
{}

VImage StillReader::load(int shrink) const
{
    vips::VOption *options =
        VImage::option()->set("access", VIPS_ACCESS_SEQUENTIAL)->set("fail_on", VIPS_FAIL_ON_TRUNCATED);
    return m_kind == Kind::Jpeg ? VImage::jpegload(m_path.c_str(), options->set("shrink", shrink))
                                : VImage::pngload(m_path.c_str(), options);
}

ImageReader::Header StillReader::header(int) const
{
    return {{m_image.width(), m_image.height()}, vips_image_get_orientation(m_image.get_image())};
}

VImage StillReader::pixels(int)
{
    return load(1);
}

void StillReader::adorn(VImage &image) const
{
    image = image.copy(VImage::option()->set("xres", m_image.xres())->set("yres", m_image.yres()));
    const QByteArray profile = blobOf(m_image, VIPS_META_ICC_NAME);
    if (!profile.isEmpty())
        vips_image_set_blob_copy(image.get_image(), VIPS_META_ICC_NAME, profile.constData(),
                                 static_cast<std::size_t>(profile.size()));
}

FrameProperties StillReader::properties(int) const
{
    FrameProperties properties;
    properties.exif = blobOf(m_image, VIPS_META_EXIF_NAME);
    properties.xmp = blobOf(m_image, VIPS_META_XMP_NAME);
    properties.iptc =
        m_kind == Kind::Png ? pngIptc(m_image) : iptcFromPhotoshop(blobOf(m_image, VIPS_META_IPTC_NAME));
    return properties;
}

void StillReader::verify()
{
    // A JPEG shrunk by 8 takes all of the entropy decoding, where damage shows, and little of the rest. Of
    // one that is smaller nothing would be left, at which libvips ends the process.
    constexpr int shrink = 8;
    const bool shrinks = m_kind == Kind::Jpeg && std::min(m_image.width(), m_image.height()) >= shrink;
    const VImage image = shrinks ? load(shrink) : pixels(0);
    ImageFrame(std::make_shared<ImageFrame::Pixels>(ImageFrame::Pixels{image})).decode();
}

} // namespace quorvalent
