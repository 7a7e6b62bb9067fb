#pragma once

#include <QByteArray>

#include <cstdint>
#include <optional>
#include <vector>

namespace quorvalent {

/// Bounds-checked numbers of a classic TIFF structure: a TIFF file or an EXIF block. Reading past the end
/// gives nothing.
class TiffBytes
{
public:
    /// Nothing when the bytes do not begin like a TIFF structure.
    [[nodiscard]] static std::optional<TiffBytes> of(QByteArrayView bytes);

    [[nodiscard]] std::optional<std::uint16_t> u16(std::size_t at) const;
    [[nodiscard]] std::optional<std::uint32_t> u32(std::size_t at) const;
    [[nodiscard]] bool isBigEndian() const { return m_bigEndian; }
    [[nodiscard]] QByteArrayView bytes() const { return m_bytes; }

private:
    TiffBytes(QByteArrayView bytes, bool bigEndian)
        : m_bytes(bytes)
        , m_bigEndian(bigEndian)
    {}

    QByteArrayView m_bytes;
    bool m_bigEndian;
};

/// Where one directory entry stands, in bytes from the start of the structure.
struct TagEntry
{
    std::uint16_t tag = 0;
    std::uint16_t type = 0;
    std::uint32_t count = 0;
    std::size_t valueAt = 0;
    std::size_t valueBytes = 0;
};

/// The readable entries of the directory at an offset, in their order, and the offset of the next one.
struct TagEntries
{
    std::vector<TagEntry> entries;
    std::size_t nextAt = 0; ///< where the offset of the next directory is stored; 0 when cut off

    [[nodiscard]] const TagEntry *find(std::uint16_t tag) const;
};
[[nodiscard]] TagEntries entriesAt(const TiffBytes &structure, std::size_t offset);

/// Bytes of one value of a TIFF type; 0 for an unknown type.
[[nodiscard]] std::size_t tagTypeBytes(std::uint16_t type);

namespace Tags {
constexpr std::uint16_t width = 0x0100;
constexpr std::uint16_t height = 0x0101;
constexpr std::uint16_t imageDescription = 0x010e;
constexpr std::uint16_t orientation = 0x0112;
constexpr std::uint16_t iptc = 0x83bb;
constexpr std::uint16_t photoshop = 0x8649;
constexpr std::uint16_t exifDirectory = 0x8769;
constexpr std::uint16_t gpsDirectory = 0x8825;
constexpr std::uint16_t interopDirectory = 0xa005;
constexpr std::uint16_t pixelWidth = 0xa002;
constexpr std::uint16_t pixelHeight = 0xa003;
} // namespace Tags

/// One tag with its value in little-endian order.
struct Tag
{
    std::uint16_t id = 0;
    std::uint16_t type = 0;
    std::uint32_t count = 0;
    QByteArray value;
};

/// The directories that make up EXIF, free of offsets: what goes from an EXIF block into a TIFF file and
/// back.
struct ExifTags
{
    std::vector<Tag> image; ///< camera, date, author; nothing that describes the layout of pixels
    std::vector<Tag> exif;
    std::vector<Tag> gps;
    std::vector<Tag> interop;

    [[nodiscard]] bool isEmpty() const { return image.empty() && exif.empty() && gps.empty(); }
};

/// The EXIF of a TIFF structure whose main directory stands at `offset`.
[[nodiscard]] ExifTags exifTagsAt(const TiffBytes &structure, std::size_t offset);

/// The tags as an EXIF block of their own; empty when there are none.
[[nodiscard]] QByteArray exifBlock(const ExifTags &tags);

/// The EXIF and GPS directories alone, to stand at `offset` of a little-endian TIFF file.
struct ExifDirectories
{
    QByteArray bytes;
    std::uint32_t exifAt = 0; ///< 0: none
    std::uint32_t gpsAt = 0;  ///< 0: none
};
[[nodiscard]] ExifDirectories exifDirectories(const ExifTags &tags, std::uint32_t offset);

} // namespace quorvalent
