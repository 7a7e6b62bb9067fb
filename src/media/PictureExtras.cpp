#include "media/PictureExtras.h"

#include "media/ImageSignature.h"
#include "media/image/TagDirectory.h"
#include "platform/MappedFile.h"

#include <QtEndian>

#include <algorithm>
#include <cstring>
#include <optional>
#include <set>

namespace quorvalent {

namespace {

using Found = std::set<PictureExtra>;

bool holdsAny(QByteArrayView bytes, std::initializer_list<const char *> texts)
{
    return std::ranges::any_of(texts, [bytes](const char *text) { return bytes.contains(text); });
}

// By the names that Apple, Adobe, ISO 21496 and MPEG give them, in XMP or as an item's type.
void lookForMaps(QByteArrayView names, Found &found)
{
    if (holdsAny(names, {"hdrgainmap", "ns.adobe.com/hdr-gain-map", "iso:ts:21496"}))
        found.insert(PictureExtra::GainMap);
    if (holdsAny(names, {"auxid:2", "auxiliary:depth", "ns.apple.com/depthData"}))
        found.insert(PictureExtra::DepthMap);
}

// Boxes of ISO 14496-12, one after the other; ends at the first that does not fit.
template <typename Visitor>
void visitBoxes(QByteArrayView bytes, const Visitor &visit)
{
    constexpr quint64 headBytes = 8;
    while (static_cast<quint64>(bytes.size()) >= headBytes) {
        quint64 length = qFromBigEndian<quint32>(bytes.data());
        if (length == 0)
            length = static_cast<quint64>(bytes.size());
        else if (length == 1 && static_cast<quint64>(bytes.size()) >= 2 * headBytes)
            length = qFromBigEndian<quint64>(bytes.data() + headBytes);
        if (length < headBytes || length > static_cast<quint64>(bytes.size()))
            return;
        visit(bytes.sliced(4, 4), bytes.first(static_cast<qsizetype>(length)).sliced(headBytes));
        bytes = bytes.sliced(static_cast<qsizetype>(length));
    }
}

void lookIntoHeic(QByteArrayView bytes, Found &found)
{
    visitBoxes(bytes, [&](QByteArrayView type, QByteArrayView content) {
        if (type == "mpvd" || type == "moov")
            found.insert(PictureExtra::Film);
        if (type != "meta")
            return;
        lookForMaps(content, found);
        if (content.contains("tmap"))
            found.insert(PictureExtra::GainMap);
    });
}

void lookIntoTiff(QByteArrayView bytes, Found &found)
{
    constexpr std::uint16_t photoshopLayers = 0x935c;
    constexpr std::uint16_t dngVersion = 0xc612;
    const std::optional<TiffBytes> structure = TiffBytes::of(bytes);
    if (!structure)
        return;
    const TagEntries entries = entriesAt(*structure, structure->u32(4).value_or(0));
    if (entries.find(photoshopLayers) != nullptr)
        found.insert(PictureExtra::Layers);
    if (entries.find(dngVersion) != nullptr)
        found.insert(PictureExtra::SensorData);
}

// The pictures that an index of the Multi-Picture Format names after the first; its offsets count from
// itself.
void lookIntoPictureIndex(QByteArrayView bytes, qsizetype indexAt, Found &found)
{
    constexpr std::uint16_t entryTag = 0xb002;
    constexpr std::size_t entryBytes = 16;
    constexpr quint32 kindMask = 0xff0000;
    constexpr quint32 severalViews = 0x020000;
    constexpr qsizetype headersBytes = 64L * 1024;
    const std::optional<TiffBytes> index = TiffBytes::of(bytes.sliced(indexAt));
    if (!index)
        return;
    const TagEntries entries = entriesAt(*index, index->u32(4).value_or(0));
    const TagEntry *pictures = entries.find(entryTag);
    for (std::size_t at = entryBytes; pictures != nullptr && at + entryBytes <= pictures->valueBytes;
         at += entryBytes) {
        const auto kind = index->u32(pictures->valueAt + at).value_or(0);
        const qsizetype offset = index->u32(pictures->valueAt + at + 8).value_or(0);
        const QByteArrayView picture =
            offset < index->bytes().size() ? index->bytes().sliced(offset) : QByteArrayView();
        if (!picture.startsWith("\xff\xd8"))
            continue;
        lookForMaps(picture.first(std::min(picture.size(), headersBytes)), found);
        if ((kind & kindMask) == severalViews)
            found.insert(PictureExtra::OtherViews);
    }
}

// Where a JPEG's own picture ends: behind its end marker, or at the end of the bytes. `onSegment` is handed
// each segment of an application, its marker first, and where its content begins.
template <typename Visitor>
qsizetype endOfJpeg(QByteArrayView bytes, const Visitor &onSegment)
{
    constexpr unsigned char firstWithoutLength = 0xd0; // restart markers, start, end
    constexpr unsigned char end = 0xd9;
    constexpr unsigned char firstOfApplications = 0xe0;
    constexpr unsigned char lastOfApplications = 0xef;
    qsizetype at = 2;
    while (at < bytes.size()) {
        const void *next = std::memchr(bytes.data() + at, 0xff, static_cast<std::size_t>(bytes.size() - at));
        if (next == nullptr)
            break;
        at = static_cast<const char *>(next) - bytes.data() + 1;
        if (at >= bytes.size())
            break;
        const auto marker = static_cast<unsigned char>(bytes[at]);
        if (marker == end)
            return at + 1;
        if (marker == 0 || marker == 0xff || (marker >= firstWithoutLength && marker < end))
            continue;
        if (bytes.size() - at < 3)
            break;
        const qsizetype length = qFromBigEndian<quint16>(bytes.data() + at + 1);
        if (length < 2 || length > bytes.size() - at - 1)
            break;
        if (marker >= firstOfApplications && marker <= lastOfApplications)
            onSegment(marker, at + 3, bytes.sliced(at + 3, length - 2));
        at += 1 + length;
    }
    return bytes.size();
}

// A film begins with a box that names its type, and goes on with another one.
bool holdsFilm(QByteArrayView bytes)
{
    constexpr qsizetype mostTypeBytes = 512;
    for (qsizetype at = bytes.indexOf("ftyp"); at >= 0; at = bytes.indexOf("ftyp", at + 4)) {
        if (at < 4)
            continue;
        const qsizetype length = qFromBigEndian<quint32>(bytes.data() + at - 4);
        if (length >= 16 && length <= mostTypeBytes && bytes.size() - at >= length + 4)
            return true;
    }
    return false;
}

void lookIntoJpeg(QByteArrayView bytes, Found &found)
{
    constexpr unsigned char exifOrXmp = 0xe1;
    constexpr unsigned char pictureIndex = 0xe2;
    Found announced;
    const qsizetype end = endOfJpeg(bytes, [&](unsigned char marker, qsizetype at, QByteArrayView segment) {
        if (marker == pictureIndex && segment.startsWith(QByteArrayView("MPF\0", 4)))
            lookIntoPictureIndex(bytes, at + 4, found);
        if (marker != exifOrXmp)
            return;
        if (segment.startsWith(QByteArrayView("FLIR\0", 5)))
            found.insert(PictureExtra::SensorData);
        if (segment.contains("GDepth:Data"))
            found.insert(PictureExtra::DepthMap);
        if (segment.contains("Semantic=\"GainMap"))
            announced.insert(PictureExtra::GainMap);
        if (segment.contains("Semantic=\"Depth"))
            announced.insert(PictureExtra::DepthMap);
    });
    // Programs that drop what stands behind the picture leave its announcement.
    if (end < bytes.size())
        found.merge(announced);
    if (holdsFilm(bytes.sliced(end)))
        found.insert(PictureExtra::Film);
}

} // namespace

std::vector<PictureExtra> pictureExtras(const std::filesystem::path &path)
{
    const std::optional<ImageType> type = imageTypeOf(path);
    const std::optional<MappedFile> file = type ? MappedFile::open(path) : std::nullopt;
    if (!file)
        return {};
    Found found;
    if (type == ImageType::Jpeg)
        lookIntoJpeg(file->bytes(), found);
    else if (type == ImageType::Heic)
        lookIntoHeic(file->bytes(), found);
    else if (type == ImageType::Tiff)
        lookIntoTiff(file->bytes(), found);
    return {found.begin(), found.end()};
}

} // namespace quorvalent
