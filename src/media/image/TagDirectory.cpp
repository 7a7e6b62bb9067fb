#include "media/image/TagDirectory.h"

#include <QtEndian>

#include <algorithm>
#include <array>

namespace quorvalent {

namespace {

constexpr std::size_t entryBytes = 12;
constexpr std::uint16_t longType = 4;

// Of the main directory, only these travel: everything else there lays out the pixels of the old file.
constexpr std::array<std::uint16_t, 12> carriedImageTags{
    0x010e /* ImageDescription */, 0x010f /* Make */,    0x0110 /* Model */,     0x0131 /* Software */,
    0x0132 /* DateTime */,         0x013b /* Artist */,  0x4746 /* Rating */,    0x4749 /* RatingPercent */,
    0x8298 /* Copyright */,        0x9c9b /* XPTitle */, 0x9c9c /* XPComment */, 0x9c9e /* XPKeywords */,
};

// The width of the units that a byte-order change swaps.
std::size_t swapUnit(std::uint16_t type)
{
    switch (type) {
    case 3: // short
    case 8:
        return 2;
    case 4: // long, float, directory
    case 5: // rational: two longs
    case 9:
    case 10:
    case 11:
    case 13:
        return 4;
    case 12: // double
        return 8;
    default:
        return 1;
    }
}

QByteArray littleEndian(QByteArray value, std::size_t unit)
{
    for (auto at = value.begin(); value.end() - at >= static_cast<qsizetype>(unit);
         at += static_cast<qsizetype>(unit))
        std::reverse(at, at + static_cast<qsizetype>(unit));
    return value;
}

std::vector<Tag> tagsAt(const TiffBytes &structure, std::size_t offset)
{
    std::vector<Tag> tags;
    // Values of a sound directory do not overlap: a small file of entries that all name the same large value
    // would fill the memory.
    auto left = static_cast<std::size_t>(structure.bytes().size());
    for (const TagEntry &entry : entriesAt(structure, offset).entries) {
        if (entry.valueBytes > left)
            break;
        left -= entry.valueBytes;
        QByteArray value =
            structure.bytes()
                .sliced(static_cast<qsizetype>(entry.valueAt), static_cast<qsizetype>(entry.valueBytes))
                .toByteArray();
        const std::size_t unit = swapUnit(entry.type);
        if (structure.isBigEndian() && unit > 1)
            value = littleEndian(std::move(value), unit);
        tags.push_back({entry.tag, entry.type, entry.count, std::move(value)});
    }
    return tags;
}

std::uint32_t takeOffset(std::vector<Tag> &tags, std::uint16_t id)
{
    const auto found = std::find_if(tags.begin(), tags.end(), [id](const Tag &tag) { return tag.id == id; });
    if (found == tags.end())
        return 0;
    const std::uint32_t offset =
        found->value.size() >= 4 ? qFromLittleEndian<quint32>(found->value.constData()) : 0;
    tags.erase(found);
    return offset;
}

void append16(QByteArray &to, std::size_t number)
{
    std::array<char, 2> bytes{};
    qToLittleEndian(static_cast<quint16>(number), bytes.data());
    to.append(bytes.data(), bytes.size());
}

void append32(QByteArray &to, std::size_t number)
{
    std::array<char, 4> bytes{};
    qToLittleEndian(static_cast<quint32>(number), bytes.data());
    to.append(bytes.data(), bytes.size());
}

Tag offsetTag(std::uint16_t id, std::uint32_t offset)
{
    Tag tag{id, longType, 1, {}};
    append32(tag.value, offset);
    return tag;
}

QByteArray directory(std::vector<Tag> tags, std::uint32_t offset)
{
    std::stable_sort(tags.begin(), tags.end(), [](const Tag &a, const Tag &b) { return a.id < b.id; });
    QByteArray entries;
    QByteArray values;
    const std::size_t valuesAt = offset + 2 + tags.size() * entryBytes + 4;
    append16(entries, tags.size());
    for (const Tag &tag : tags) {
        append16(entries, tag.id);
        append16(entries, tag.type);
        append32(entries, tag.count);
        if (tag.value.size() <= 4) {
            entries.append(tag.value).append(4 - tag.value.size(), '\0');
            continue;
        }
        append32(entries, valuesAt + static_cast<std::size_t>(values.size()));
        values.append(tag.value);
        if (values.size() % 2 != 0)
            values.append('\0');
    }
    append32(entries, 0);
    return entries + values;
}

} // namespace

std::optional<TiffBytes> TiffBytes::of(QByteArrayView bytes)
{
    if (bytes.size() < 8)
        return std::nullopt;
    if (bytes.startsWith(QByteArrayView("II*\0", 4)))
        return TiffBytes(bytes, false);
    if (bytes.startsWith(QByteArrayView("MM\0*", 4)))
        return TiffBytes(bytes, true);
    return std::nullopt;
}

std::optional<std::uint16_t> TiffBytes::u16(std::size_t at) const
{
    const auto size = static_cast<std::size_t>(m_bytes.size());
    if (at > size || size - at < 2)
        return std::nullopt;
    const char *bytes = m_bytes.data() + at;
    return m_bigEndian ? qFromBigEndian<quint16>(bytes) : qFromLittleEndian<quint16>(bytes);
}

std::optional<std::uint32_t> TiffBytes::u32(std::size_t at) const
{
    const auto size = static_cast<std::size_t>(m_bytes.size());
    if (at > size || size - at < 4)
        return std::nullopt;
    const char *bytes = m_bytes.data() + at;
    return m_bigEndian ? qFromBigEndian<quint32>(bytes) : qFromLittleEndian<quint32>(bytes);
}

std::size_t tagTypeBytes(std::uint16_t type)
{
    constexpr std::array<std::size_t, 14> sizes{0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4};
    return type < sizes.size() ? sizes.at(type) : 0;
}

const TagEntry *TagEntries::find(std::uint16_t tag) const
{
    const auto found = std::find_if(entries.begin(), entries.end(),
                                    [tag](const TagEntry &entry) { return entry.tag == tag; });
    return found == entries.end() ? nullptr : &*found;
}

TagEntries entriesAt(const TiffBytes &structure, std::size_t offset)
{
    TagEntries result;
    const auto size = static_cast<std::size_t>(structure.bytes().size());
    const std::optional<std::uint16_t> count = structure.u16(offset);
    if (!count || offset == 0)
        return result;
    for (std::size_t i = 0; i < *count; ++i) {
        const std::size_t at = offset + 2 + i * entryBytes;
        const auto tag = structure.u16(at);
        const auto type = structure.u16(at + 2);
        const auto values = structure.u32(at + 4);
        const auto pointer = structure.u32(at + 8);
        if (!tag || !type || !values || !pointer)
            return result;
        const std::size_t bytes = tagTypeBytes(*type) * *values;
        const std::size_t valueAt = bytes <= 4 ? at + 8 : *pointer;
        if (bytes > 0 && valueAt <= size && size - valueAt >= bytes)
            result.entries.push_back({*tag, *type, *values, valueAt, bytes});
    }
    const std::size_t nextAt = offset + 2 + *count * entryBytes;
    if (structure.u32(nextAt))
        result.nextAt = nextAt;
    return result;
}

ExifTags exifTagsAt(const TiffBytes &structure, std::size_t offset)
{
    ExifTags result;
    std::vector<Tag> image = tagsAt(structure, offset);
    result.exif = tagsAt(structure, takeOffset(image, Tags::exifDirectory));
    result.gps = tagsAt(structure, takeOffset(image, Tags::gpsDirectory));
    result.interop = tagsAt(structure, takeOffset(result.exif, Tags::interopDirectory));
    std::copy_if(image.begin(), image.end(), std::back_inserter(result.image), [](const Tag &tag) {
        return std::find(carriedImageTags.begin(), carriedImageTags.end(), tag.id) != carriedImageTags.end();
    });
    return result;
}

ExifDirectories exifDirectories(const ExifTags &tags, std::uint32_t offset)
{
    ExifDirectories result;
    const auto next = [&] { return offset + static_cast<std::uint32_t>(result.bytes.size()); };
    std::vector<Tag> exif = tags.exif;
    if (!tags.interop.empty()) {
        exif.push_back(offsetTag(Tags::interopDirectory, next()));
        result.bytes += directory(tags.interop, next());
    }
    if (!exif.empty()) {
        result.exifAt = next();
        result.bytes += directory(std::move(exif), next());
    }
    if (!tags.gps.empty()) {
        result.gpsAt = next();
        result.bytes += directory(tags.gps, next());
    }
    return result;
}

QByteArray exifBlock(const ExifTags &tags)
{
    if (tags.isEmpty())
        return {};
    // The main directory comes first but points at the others, so its length is needed before its content.
    std::vector<Tag> image = tags.image;
    const QByteArray head("II*\0\x08\0\0\0", 8);
    if (!tags.exif.empty() || !tags.interop.empty())
        image.push_back(offsetTag(Tags::exifDirectory, 0));
    if (!tags.gps.empty())
        image.push_back(offsetTag(Tags::gpsDirectory, 0));
    const auto imageAt = static_cast<std::uint32_t>(head.size());
    const auto othersAt = imageAt + static_cast<std::uint32_t>(directory(image, imageAt).size());
    const ExifDirectories others = exifDirectories(tags, othersAt);
    for (Tag &tag : image) {
        if (tag.id == Tags::exifDirectory)
            tag = offsetTag(tag.id, others.exifAt);
        else if (tag.id == Tags::gpsDirectory)
            tag = offsetTag(tag.id, others.gpsAt);
    }
    return head + directory(std::move(image), imageAt) + others.bytes;
}

} // namespace quorvalent
