#include "media/image/StillReader.h"

#include "media/image/Metadata.h"
#include "platform/MappedFile.h"

#include <QtEndian>

#include <algorithm>
#include <limits>

namespace quorvalent {

using vips::VImage;

namespace {

// The frame count of a PNG's animation control chunk, which stands before the pixels; 1 without one. At most
// as many frames as the file has room for: each is visited several times.
int pngFrameCount(const std::filesystem::path &path)
{
    const std::optional<MappedFile> file = MappedFile::open(path);
    if (!file)
        return 1;
    const QByteArrayView bytes = file->bytes();
    constexpr qsizetype frameControlBytes = 38;
    const int mostFrames = static_cast<int>(
        std::clamp<qsizetype>(bytes.size() / frameControlBytes, 1, std::numeric_limits<int>::max()));
    qsizetype at = 8;
    while (bytes.size() - at >= 12) {
        const auto length = qFromBigEndian<quint32>(bytes.data() + at);
        const QByteArrayView type = bytes.sliced(at + 4, 4);
        if (type == QByteArrayView("acTL") && length >= 8)
            return std::clamp(qFromBigEndian<qint32>(bytes.data() + at + 8), 1, mostFrames);
        if (type == QByteArrayView("IDAT") || length > bytes.size() - at - 12)
            return 1;
        at += qsizetype{length} + 12;
    }
    return 1;
}

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
    , m_frameCount(kind == Kind::Png ? pngFrameCount(m_path) : 1)
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
    if (m_frameCount > 1)
        throw ImageReadError();
    return load(1);
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
