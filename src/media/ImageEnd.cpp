#include "media/ImageEnd.h"

#include "media/ImageSignature.h"
#include "media/image/TiffPages.h"
#include "platform/MappedFile.h"

#include <QtEndian>

namespace quorvalent {

namespace {

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

// Whether the blocks of a GIF lead to its trailer. What stands behind that, or is no block, is nobody's.
bool gifEnds(QByteArrayView bytes)
{
    constexpr qsizetype screenBytes = 13;
    constexpr qsizetype extensionBytes = 2;
    constexpr qsizetype pictureBytes = 10;
    const auto byteAt = [bytes](qsizetype at) {
        return at < bytes.size() ? static_cast<unsigned char>(bytes[at]) : 0U;
    };
    const auto paletteBytes = [](unsigned flags) {
        return (flags & 0x80U) != 0 ? qsizetype{3} << ((flags & 7U) + 1) : 0;
    };
    qsizetype at = screenBytes + paletteBytes(byteAt(screenBytes - 3));
    while (at < bytes.size()) {
        const unsigned block = byteAt(at);
        if (block == '!')
            at += extensionBytes;
        else if (block == ',')
            at += pictureBytes + paletteBytes(byteAt(at + pictureBytes - 1)) + 1; // the size of a code
        else
            return true;
        while (at < bytes.size() && byteAt(at) != 0)
            at += 1 + static_cast<qsizetype>(byteAt(at));
        ++at;
    }
    return false;
}

} // namespace

bool isWholeImageFile(const std::filesystem::path &path, ImageType type)
{
    const std::optional<MappedFile> file = MappedFile::open(path);
    if (!file || imageTypeIn(file->bytes()) != type)
        return false;
    const QByteArrayView bytes = file->bytes();
    switch (type) {
    case ImageType::Jpeg:
        return bytes.endsWith("\xff\xd9");
    case ImageType::Png:
        return bytes.endsWith(QByteArrayView("\0\0\0\0IEND\xae\x42\x60\x82", 12));
    case ImageType::Gif:
        return gifEnds(bytes);
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
