#include "media/ImageSignature.h"

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

} // namespace

std::optional<ImageType> imageTypeIn(QByteArrayView bytes)
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

std::optional<ImageType> imageTypeOf(const std::filesystem::path &path)
{
    const std::optional<MappedFile> file = MappedFile::open(path);
    return file ? imageTypeIn(file->bytes()) : std::nullopt;
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

} // namespace quorvalent
