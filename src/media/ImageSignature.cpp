#include "media/ImageSignature.h"

#include "media/image/TiffPages.h"
#include "platform/MappedFile.h"

#include <QtEndian>

#include <array>

namespace quorvalent {

namespace {

struct TypeName
{
    const char *extension;
    ImageType type;
};

constexpr std::array typeNames{
    TypeName{"jpg", ImageType::Jpeg},  TypeName{"jpeg", ImageType::Jpeg}, TypeName{"png", ImageType::Png},
    TypeName{"heic", ImageType::Heic}, TypeName{"heif", ImageType::Heic}, TypeName{"tif", ImageType::Tiff},
    TypeName{"tiff", ImageType::Tiff}, TypeName{"gif", ImageType::Gif},   TypeName{"bmp", ImageType::Bmp},
    TypeName{"webp", ImageType::Webp},
};

bool isHeifBrand(QByteArrayView brand)
{
    for (const char *known :
         {"heic", "heix", "heim", "heis", "hevc", "hevx", "mif1", "msf1", "avif", "avis"}) {
        if (brand == QByteArrayView(known, 4))
            return true;
    }
    return false;
}

std::optional<ImageType> typeOf(QByteArrayView bytes)
{
    if (bytes.size() < 12)
        return std::nullopt;
    if (bytes.startsWith("\xff\xd8\xff"))
        return ImageType::Jpeg;
    if (bytes.startsWith("\x89PNG\r\n\x1a\n"))
        return ImageType::Png;
    if (bytes.startsWith("GIF87a") || bytes.startsWith("GIF89a"))
        return ImageType::Gif;
    if (bytes.startsWith(QByteArrayView("II*\0", 4)) || bytes.startsWith(QByteArrayView("MM\0*", 4)) ||
        bytes.startsWith(QByteArrayView("II+\0", 4)) || bytes.startsWith(QByteArrayView("MM\0+", 4)))
        return ImageType::Tiff;
    if (bytes.startsWith("RIFF") && bytes.sliced(8, 4) == QByteArrayView("WEBP"))
        return ImageType::Webp;
    if (bytes.sliced(4, 4) == QByteArrayView("ftyp") && isHeifBrand(bytes.sliced(8, 4)))
        return ImageType::Heic;
    // "BM" alone begins many a text: the offset of the pixels and the size of the second header have to fit.
    if (bytes.startsWith("BM") && bytes.size() >= 26) {
        const auto pixelsAt = qFromLittleEndian<quint32>(bytes.data() + 10);
        const auto headerBytes = qFromLittleEndian<quint32>(bytes.data() + 14);
        if ((headerBytes == 12 || (headerBytes >= 16 && headerBytes <= 124)) && pixelsAt >= 26)
            return ImageType::Bmp;
    }
    return std::nullopt;
}

// Boxes one after the other up to the end of the file.
bool boxesFill(QByteArrayView bytes)
{
    qsizetype at = 0;
    while (bytes.size() - at >= 8) {
        const auto size = qFromBigEndian<quint32>(bytes.data() + at);
        if (size == 0)
            return true;
        quint64 length = size;
        if (size == 1) {
            if (bytes.size() - at < 16)
                return false;
            length = qFromBigEndian<quint64>(bytes.data() + at + 8);
        }
        if (length < 8 || length > static_cast<quint64>(bytes.size() - at))
            return false;
        at += static_cast<qsizetype>(length);
    }
    return at == bytes.size();
}

} // namespace

std::optional<ImageType> imageTypeOf(const std::filesystem::path &path)
{
    const std::optional<MappedFile> file = MappedFile::open(path);
    return file ? typeOf(file->bytes()) : std::nullopt;
}

std::optional<ImageType> imageTypeNamed(const QString &extension)
{
    const QString lower = extension.toLower();
    for (const TypeName &name : typeNames) {
        if (lower == QLatin1StringView(name.extension))
            return name.type;
    }
    return std::nullopt;
}

bool isWholeImageFile(const std::filesystem::path &path, ImageType type)
{
    const std::optional<MappedFile> file = MappedFile::open(path);
    if (!file || typeOf(file->bytes()) != type)
        return false;
    const QByteArrayView bytes = file->bytes();
    switch (type) {
    case ImageType::Jpeg:
        return bytes.endsWith("\xff\xd9");
    case ImageType::Png:
        return bytes.endsWith(QByteArrayView("\0\0\0\0IEND\xae\x42\x60\x82", 12));
    case ImageType::Gif:
        return bytes.endsWith(';');
    case ImageType::Heic:
        return boxesFill(bytes);
    case ImageType::Tiff:
        return tiffDataIsInside(path, bytes.size());
    case ImageType::Bmp:
        return qFromLittleEndian<quint32>(bytes.data() + 2) == bytes.size();
    case ImageType::Webp:
        return qFromLittleEndian<quint32>(bytes.data() + 4) + qint64{8} == bytes.size();
    }
    return false;
}

} // namespace quorvalent
