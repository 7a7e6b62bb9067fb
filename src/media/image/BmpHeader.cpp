#include "media/image/BmpHeader.h"

#include <QtEndian>

#include <bit>
#include <limits>

namespace quorvalent {

namespace {

// Compression field of the header.
constexpr std::uint32_t plain = 0;
constexpr std::uint32_t rle8 = 1;
constexpr std::uint32_t rle4 = 2;
constexpr std::uint32_t bitFields = 3;
constexpr std::uint32_t alphaBitFields = 6;

constexpr std::uint32_t embeddedProfile = 0x4d424544; // 'MBED'

class Fields
{
public:
    explicit Fields(QByteArrayView file)
        : m_file(file)
    {}

    [[nodiscard]] std::uint32_t u32(qsizetype at) const { return qFromLittleEndian<quint32>(checked(at, 4)); }
    [[nodiscard]] std::int32_t i32(qsizetype at) const { return qFromLittleEndian<qint32>(checked(at, 4)); }
    [[nodiscard]] std::uint16_t u16(qsizetype at) const { return qFromLittleEndian<quint16>(checked(at, 2)); }
    [[nodiscard]] const char *checked(qsizetype at, qsizetype count) const
    {
        if (at < 0 || count < 0 || at > m_file.size() || m_file.size() - at < count)
            throw ImageReadError();
        return m_file.data() + at;
    }

private:
    QByteArrayView m_file;
};

BmpHeader::Channel channel(std::uint32_t mask)
{
    if (mask == 0)
        return {};
    const int shift = std::countr_zero(mask);
    return {mask, shift, mask >> static_cast<unsigned>(shift)};
}

void readChannels(BmpHeader &header, const Fields &fields, std::uint32_t headerBytes,
                  std::uint32_t compression)
{
    if (compression != bitFields && compression != alphaBitFields) {
        const bool wide = header.bits == 32;
        header.channels = {channel(wide ? 0xff0000 : 0x7c00),
                           channel(wide ? 0xff00 : 0x03e0),
                           channel(wide ? 0xff : 0x001f),
                           {}};
        return;
    }
    for (qsizetype i = 0; i < 3; ++i)
        header.channels.at(static_cast<std::size_t>(i)) = channel(fields.u32(54 + 4 * i));
    if (headerBytes >= 56 || compression == alphaBitFields)
        header.channels[3] = channel(fields.u32(66));
}

void readPalette(BmpHeader &header, const Fields &fields, qsizetype at, std::uint32_t used,
                 qsizetype entryBytes)
{
    const std::uint32_t most = 1U << static_cast<unsigned>(header.bits);
    const qsizetype room = (header.pixelsAt - at) / entryBytes;
    qsizetype count = used == 0 || used > most ? most : used;
    // Some writers store fewer colours than they announce.
    count = std::min(count, std::max<qsizetype>(room, 0));
    for (qsizetype i = 0; i < count; ++i) {
        const char *bgr = fields.checked(at + i * entryBytes, 3);
        header.palette.push_back({static_cast<unsigned char>(bgr[2]), static_cast<unsigned char>(bgr[1]),
                                  static_cast<unsigned char>(bgr[0])});
    }
    header.palette.resize(most);
}

} // namespace

BmpHeader BmpHeader::of(QByteArrayView file)
{
    const Fields fields(file);
    BmpHeader header;
    header.pixelsAt = fields.u32(10);
    const std::uint32_t headerBytes = fields.u32(14);
    const bool old = headerBytes == 12; // OS/2 1.x: 16-bit sizes, colours of three bytes
    std::uint32_t compression = plain;
    std::uint32_t coloursUsed = 0;
    std::int64_t height = 0;
    if (old) {
        header.size.width = fields.u16(18);
        height = fields.u16(20);
        header.bits = fields.u16(24);
    } else {
        header.size.width = fields.i32(18);
        height = fields.i32(22);
        header.bits = fields.u16(28);
        compression = headerBytes >= 20 ? fields.u32(30) : plain;
        if (headerBytes >= 40) {
            header.pixelsPerMmX = fields.i32(38) / 1000.0;
            header.pixelsPerMmY = fields.i32(42) / 1000.0;
            coloursUsed = fields.u32(46);
        }
    }
    header.bottomUp = height > 0;
    height = std::abs(height);
    if (header.size.width <= 0 || height == 0 || height > std::numeric_limits<int>::max())
        throw ImageReadError();
    header.size.height = static_cast<int>(height);

    const bool indexed = header.bits == 1 || header.bits == 2 || header.bits == 4 || header.bits == 8;
    const bool masked = header.bits == 16 || header.bits == 32;
    const bool codingFits = compression == plain || (compression == rle8 && header.bits == 8) ||
                            (compression == rle4 && header.bits == 4) ||
                            ((compression == bitFields || compression == alphaBitFields) && masked &&
                             headerBytes >= 40 && headerBytes != 64);
    if ((!indexed && !masked && header.bits != 24) || !codingFits)
        throw ImageReadError();

    if (masked)
        readChannels(header, fields, headerBytes, compression);
    const qsizetype masksBytes = headerBytes != 40               ? 0
                                 : compression == bitFields      ? 12
                                 : compression == alphaBitFields ? 16
                                                                 : 0;
    if (indexed)
        readPalette(header, fields, 14 + qsizetype{headerBytes} + masksBytes, coloursUsed, old ? 3 : 4);
    if (headerBytes >= 124 && fields.u32(14 + 56) == embeddedProfile) {
        const auto bytes = static_cast<qsizetype>(fields.u32(14 + 116));
        header.profile = QByteArray(fields.checked(14 + qsizetype{fields.u32(14 + 112)}, bytes), bytes);
    }

    header.coding = compression == rle8 ? Coding::Rle8 : compression == rle4 ? Coding::Rle4 : Coding::Plain;
    header.strideBytes = (qsizetype{header.size.width} * header.bits + 31) / 32 * 4;
    if (header.coding == Coding::Plain) {
        if (height > file.size() / header.strideBytes) // the product may pass 64 bits
            throw ImageReadError();
        (void)fields.checked(header.pixelsAt, header.strideBytes * height);
    }
    return header;
}

} // namespace quorvalent
