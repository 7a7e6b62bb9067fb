#include "media/image/Metadata.h"

#include "media/image/TagDirectory.h"

#include <QtEndian>

#include <array>

namespace quorvalent {

namespace {

constexpr qsizetype segmentPayloadBytes = 65533; // a JPEG segment's 16-bit length counts itself

QByteArray bigEndian32(std::size_t number)
{
    std::array<char, 4> bytes{};
    qToBigEndian(static_cast<quint32>(number), bytes.data());
    return {bytes.data(), bytes.size()};
}

QByteArray bigEndian16(std::size_t number)
{
    return bigEndian32(number).last(2);
}

void put(QByteArray &block, const TiffBytes &structure, const TagEntry *entry, std::uint32_t value)
{
    if (entry == nullptr || entry->count != 1)
        return;
    char *to = block.data() + entry->valueAt;
    if (entry->type == 3 && structure.isBigEndian())
        qToBigEndian(static_cast<quint16>(value), to);
    else if (entry->type == 3)
        qToLittleEndian(static_cast<quint16>(value), to);
    else if (entry->type == 4 && structure.isBigEndian())
        qToBigEndian(static_cast<quint32>(value), to);
    else if (entry->type == 4)
        qToLittleEndian(static_cast<quint32>(value), to);
}

// Ends the chain of directories after the main one: the second holds the thumbnail, which usually stands
// at the end of the block and is then cut off with it.
void dropThumbnail(QByteArray &block, const TiffBytes &structure, const TagEntries &image)
{
    const std::size_t second = image.nextAt == 0 ? 0 : structure.u32(image.nextAt).value_or(0);
    if (second == 0)
        return;
    const TagEntries thumbnail = entriesAt(structure, second);
    const TagEntry *start = thumbnail.find(0x0201);
    const TagEntry *length = thumbnail.find(0x0202);
    std::size_t thumbnailAt = 0;
    std::size_t thumbnailBytes = 0;
    if (start != nullptr && length != nullptr) {
        thumbnailAt = structure.u32(start->valueAt).value_or(0);
        thumbnailBytes = structure.u32(length->valueAt).value_or(0);
    }
    const auto size = static_cast<std::size_t>(block.size());
    qToLittleEndian(quint32{0}, block.data() + image.nextAt);
    if (thumbnailAt == 0 || thumbnailAt > size || size - thumbnailAt < thumbnailBytes)
        return;
    if (thumbnailAt + thumbnailBytes == size)
        block.truncate(static_cast<qsizetype>(thumbnailAt));
    else
        std::fill_n(block.data() + thumbnailAt, thumbnailBytes, '\0');
}

QByteArray jpegSegment(unsigned char marker, const QByteArray &payload)
{
    if (payload.size() > segmentPayloadBytes)
        return {};
    return QByteArray("\xff").append(static_cast<char>(marker)) +
           bigEndian16(static_cast<std::size_t>(payload.size()) + 2) + payload;
}

// A bare zlib stream: qCompress puts the length in front.
QByteArray deflated(const QByteArray &bytes)
{
    return qCompress(bytes).sliced(4);
}

QByteArray photoshopResource(const QByteArray &iptc)
{
    QByteArray resource =
        QByteArray("8BIM\x04\x04\0\0", 8) + bigEndian32(static_cast<std::size_t>(iptc.size())) + iptc;
    if (iptc.size() % 2 != 0)
        resource.append('\0');
    return resource;
}

} // namespace

QByteArray uprightExif(QByteArray block, ImageSize size)
{
    if (block.startsWith(QByteArrayView("Exif\0\0", 6)))
        block.remove(0, 6);
    // A deep copy of its own: the structure below reads what is being changed.
    block.detach();
    const std::optional<TiffBytes> structure = TiffBytes::of(block);
    if (!structure)
        return {};
    const TagEntries image = entriesAt(*structure, structure->u32(4).value_or(0));
    if (image.entries.empty())
        return {};
    put(block, *structure, image.find(Tags::orientation), 1);
    put(block, *structure, image.find(Tags::width), static_cast<std::uint32_t>(size.width));
    put(block, *structure, image.find(Tags::height), static_cast<std::uint32_t>(size.height));
    if (const TagEntry *pointer = image.find(Tags::exifDirectory)) {
        const TagEntries exif = entriesAt(*structure, structure->u32(pointer->valueAt).value_or(0));
        put(block, *structure, exif.find(Tags::pixelWidth), static_cast<std::uint32_t>(size.width));
        put(block, *structure, exif.find(Tags::pixelHeight), static_cast<std::uint32_t>(size.height));
    }
    dropThumbnail(block, *structure, image);
    return block;
}

QByteArray uprightXmp(QByteArray packet)
{
    for (const auto &[name, value] :
         {std::pair("tiff:Orientation", '1'), std::pair("Camera:MotionPhoto", '0'),
          std::pair("Camera:MicroVideo", '0')}) {
        for (const QByteArray &lead :
             {name + QByteArray("=\""), name + QByteArray("='"), name + QByteArray(">")}) {
            const qsizetype at = packet.indexOf(lead);
            const qsizetype digit = at + lead.size();
            if (at >= 0 && digit < packet.size() && packet.at(digit) >= '1' && packet.at(digit) <= '8')
                packet[digit] = value;
        }
    }
    return packet;
}

QByteArray iptcFromPhotoshop(const QByteArray &block)
{
    if (block.startsWith('\x1c'))
        return block;
    const QByteArrayView lead("Photoshop 3.0\0", 14);
    qsizetype at = block.startsWith(lead) ? lead.size() : 0;
    while (block.size() - at >= 12 && QByteArrayView(block).sliced(at, 4) == QByteArrayView("8BIM")) {
        const auto id = qFromBigEndian<quint16>(block.constData() + at + 4);
        const qsizetype name = static_cast<unsigned char>(block.at(at + 6)) + 1;
        const qsizetype lengthAt = at + 6 + name + name % 2;
        if (block.size() - lengthAt < 4)
            break;
        const qsizetype length = qFromBigEndian<quint32>(block.constData() + lengthAt);
        if (block.size() - lengthAt - 4 < length)
            break;
        if (id == 0x0404)
            return block.sliced(lengthAt + 4, length);
        at = lengthAt + 4 + length + length % 2;
    }
    return {};
}

QByteArray iptcFromPngText(const QByteArray &text)
{
    // "\niptc\n    <length>\n<hexadecimal digits>"
    const QByteArray body = text.trimmed();
    const qsizetype typeEnd = body.indexOf('\n');
    const qsizetype lengthEnd = typeEnd < 0 ? -1 : body.indexOf('\n', typeEnd + 1);
    if (lengthEnd < 0)
        return {};
    return iptcFromPhotoshop(QByteArray::fromHex(body.sliced(lengthEnd + 1)));
}

QByteArray jpegSegments(const FrameProperties &properties, const QByteArray &profile, Resolution resolution)
{
    constexpr char perInch = 1;
    QByteArray segments =
        jpegSegment(0xe0, QByteArray("JFIF\0\x01\x01", 7).append(perInch) +
                              bigEndian16(static_cast<std::size_t>(resolution.x)) +
                              bigEndian16(static_cast<std::size_t>(resolution.y)) + QByteArray(2, '\0'));
    if (!properties.exif.isEmpty())
        segments += jpegSegment(0xe1, QByteArray("Exif\0\0", 6) + properties.exif);
    if (!properties.xmp.isEmpty())
        segments += jpegSegment(0xe1, QByteArray("http://ns.adobe.com/xap/1.0/\0", 29) + properties.xmp);
    if (!properties.iptc.isEmpty())
        segments += jpegSegment(0xed, QByteArray("Photoshop 3.0\0", 14) + photoshopResource(properties.iptc));

    constexpr qsizetype part = segmentPayloadBytes - 14;
    const qsizetype parts = (profile.size() + part - 1) / part;
    for (qsizetype i = 0; i < parts && parts <= 255; ++i)
        segments += jpegSegment(0xe2, QByteArray("ICC_PROFILE\0", 12)
                                          .append(static_cast<char>(i + 1))
                                          .append(static_cast<char>(parts))
                                          .append(profile.mid(i * part, part)));
    return segments;
}

QByteArray pngChunk(const char *type, const QByteArray &payload)
{
    const QByteArray body = QByteArray(type, 4) + payload;
    static const std::array<quint32, 256> table = [] {
        std::array<quint32, 256> made{};
        for (quint32 i = 0; i < made.size(); ++i) {
            quint32 remainder = i;
            for (int bit = 0; bit < 8; ++bit)
                remainder = (remainder & 1U) != 0 ? 0xedb88320U ^ (remainder >> 1U) : remainder >> 1U;
            made.at(i) = remainder;
        }
        return made;
    }();
    quint32 crc = 0xffffffffU;
    for (const char byte : body)
        crc = table.at((crc ^ static_cast<unsigned char>(byte)) & 0xffU) ^ (crc >> 8U);
    return bigEndian32(static_cast<std::size_t>(payload.size())) + body + bigEndian32(crc ^ 0xffffffffU);
}

QByteArray pngChunks(const FrameProperties &properties, const QByteArray &profile)
{
    QByteArray chunks;
    if (!profile.isEmpty())
        chunks += pngChunk("iCCP", QByteArray("icc\0\0", 5) + deflated(profile));
    if (!properties.exif.isEmpty())
        chunks += pngChunk("eXIf", properties.exif);
    if (!properties.xmp.isEmpty())
        chunks += pngChunk("iTXt", QByteArray("XML:com.adobe.xmp\0\0\0\0\0", 22) + properties.xmp);
    if (!properties.iptc.isEmpty()) {
        const QByteArray resource = photoshopResource(properties.iptc);
        chunks +=
            pngChunk("zTXt", QByteArray("Raw profile type iptc\0\0", 23) +
                                 deflated("\niptc\n" + QByteArray::number(resource.size()).rightJustified(8) +
                                          '\n' + resource.toHex() + '\n'));
    }
    return chunks;
}

} // namespace quorvalent
