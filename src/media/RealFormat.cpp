#include "media/RealFormat.h"

#include "media/ImageSignature.h"
#include "media/MatroskaElement.h"
#include "media/MovieIndex.h"
#include "media/audio/AdtsHeader.h"
#include "media/audio/ByteSource.h"
#include "media/audio/MpegHeader.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;
namespace fs = std::filesystem;

bool isOneOf(std::string_view name, std::initializer_list<std::string_view> names)
{
    return std::ranges::find(names, name) != names.end();
}

// Pictures

// Four characters each, the major one first.
std::vector<std::string> brandsOf(const ByteSource &file)
{
    constexpr std::int64_t major = 8;
    constexpr std::int64_t compatible = 16;
    constexpr std::int64_t mostBytes = 1024;
    const auto at = [&file](std::int64_t offset) {
        std::array<std::uint8_t, 4> brand{};
        file.read(offset, brand);
        return std::string(brand.begin(), brand.end());
    };
    std::vector<std::string> brands{at(major)};
    for (std::int64_t offset = compatible; offset + 4 <= std::min<std::int64_t>(file.big32(0), mostBytes);
         offset += 4)
        brands.push_back(at(offset));
    return brands;
}

// Coded as HEIC is. The boxes alone may hold any codec.
bool isHeic(const ByteSource &file)
{
    const std::vector<std::string> brands = brandsOf(file);
    return !isOneOf(brands.front(), {"avif", "avis"}) && std::ranges::any_of(brands, [](const auto &brand) {
        return isOneOf(brand, {"heic", "heix", "heim", "heis", "hevc", "hevx"});
    });
}

// Cameras write their sensors' data in the structure of TIFF. What tells it apart stands in the first
// directory: the pixels' meaning, DNG's version, or a preview in place of the picture.
bool isCameraRaw(const ByteSource &file)
{
    constexpr std::uint32_t subfileType = 254;
    constexpr std::uint32_t photometric = 262;
    constexpr std::uint32_t dngVersion = 50706;
    constexpr std::uint32_t sensor = 32803;
    constexpr std::uint32_t linearRaw = 34892;
    constexpr std::uint32_t shortType = 3;

    if (file.holds(8, "CR"))
        return true;
    const bool isLittle = file.holds(0, "II");
    const auto u32 = [&](std::int64_t at) { return isLittle ? file.little32(at) : file.big32(at); };
    const auto u16 = [&](std::int64_t at) { return isLittle ? u32(at) & 0xFFFFU : file.big16(at); };
    const std::int64_t directory = u32(4);
    for (std::int64_t i = 0; i < u16(directory); ++i) {
        const std::int64_t entry = directory + 2 + i * 12;
        const std::uint32_t tag = u16(entry);
        const std::uint32_t value = u16(entry + 2) == shortType ? u16(entry + 8) : u32(entry + 8);
        if (tag == dngVersion || (tag == subfileType && (value & 1U) != 0) ||
            (tag == photometric && (value == sensor || value == linearRaw)))
            return true;
    }
    return false;
}

bool isImage(const ByteSource &file, ImageType named)
{
    std::array<std::uint8_t, 32> head{};
    const std::size_t count = file.read(0, head);
    if (imageTypeIn({head.data(), static_cast<qsizetype>(count)}) != named)
        return false;
    switch (named) {
    case ImageType::Jpeg:
        return head[3] >= 0xC0 && head[3] != 0xF7; // JPEG-LS
    case ImageType::Png:
        return file.holds(12, "IHDR");
    case ImageType::Heic:
        return isHeic(file);
    case ImageType::Tiff: {
        const bool isBig = file.holds(2, "+") || file.holds(3, "+"); // no camera writes that
        return isBig || !isCameraRaw(file);
    }
    case ImageType::Gif:
    case ImageType::Bmp:
    case ImageType::Webp:
        break;
    }
    return true;
}

// Sounds

bool isAdts(const ByteSource &file)
{
    const auto frameAt = [&file](std::int64_t offset) {
        std::array<std::uint8_t, AdtsHeader::shortestBytes> head{};
        file.read(offset, head);
        return AdtsHeader::parse(head);
    };
    const std::int64_t start = file.endOfId3();
    const auto first = frameAt(start);
    const auto second = first ? frameAt(start + static_cast<std::int64_t>(first->frameBytes)) : std::nullopt;
    return second && second->rateIndex == first->rateIndex;
}

// The first page of each stream stands before all others. No other one may be there than sounds and a
// skeleton, which describes them.
bool isOggSound(const ByteSource &file)
{
    constexpr std::int64_t headBytes = 27;
    constexpr std::uint32_t firstOfStream = 2;
    constexpr int mostStreams = 64;
    bool hasSound = false;
    std::int64_t page = 0;
    for (int stream = 0; stream < mostStreams && file.holds(page, "OggS"); ++stream) {
        const std::uint32_t flags = file.big32(page + 4) >> 16U & 0xFFU;
        if ((flags & firstOfStream) == 0)
            break;
        const std::int64_t segments = file.big16(page + headBytes - 2) & 0xFFU;
        const std::int64_t content = page + headBytes + segments;
        const bool isSound = file.holds(content, "\x01vorbis") || file.holds(content, "OpusHead") ||
                             file.holds(content, "\x7F"
                                                 "FLAC") ||
                             file.holds(content, "Speex   ");
        if (!isSound && !file.holds(content, "fishead"))
            return false;
        hasSound = hasSound || isSound;
        page = content;
        for (std::int64_t i = 0; i < segments; ++i)
            page += file.big16(content - segments + i) >> 8U;
    }
    return hasSound;
}

// Movies

bool hasFilm(const MovieIndex &index)
{
    return std::ranges::any_of(index.tracks, [](const MovieTrack &track) {
        return track.handler == "vide" && !track.isChapterList;
    });
}

// Of the family that MPEG and not a maker has named.
bool isStandardBrand(const std::string &brand)
{
    return brand.starts_with("iso") || brand.starts_with("mp4") || brand.starts_with("cmf") ||
           isOneOf(brand, {"avc1", "hvc1", "av01", "dash", "msdh", "MSNV"});
}

bool isMovie(const fs::path &path, const QString &extension)
{
    const std::optional<MovieIndex> index = MovieIndex::read(path);
    if (!index)
        return false;
    if (extension == u"mov"_s)
        return hasFilm(*index) && (index->brand == "qt  " || index->brand.empty());
    if (extension == u"m4v"_s)
        return hasFilm(*index) && isOneOf(index->brand, {"M4V ", "M4VH", "M4VP"});
    if (extension == u"mp4"_s)
        return hasFilm(*index) && isStandardBrand(index->brand);
    const bool isSound = std::ranges::any_of(index->tracks, [](const MovieTrack &track) {
        return track.handler == "soun" && isOneOf(track.sampleFormat, {"mp4a", "alac"});
    });
    const bool isNamedSound = isOneOf(index->brand, {"M4A ", "M4B ", "M4P "});
    return isSound && !hasFilm(*index) && (isNamedSound || isStandardBrand(index->brand));
}

// Calls `visit` with each element between two places, until it returns false.
template <typename Visitor>
void eachElement(const ByteSource &file, std::int64_t begin, std::int64_t end, const Visitor &visit)
{
    // A film of a day has so many; they are passed by, not read.
    constexpr int most = 100'000;
    for (int i = 0; i < most && begin < end; ++i) {
        const std::optional<MatroskaElement> element = MatroskaElement::at(file, begin);
        if (!element || !visit(*element) || !element->bytes)
            return;
        begin = element->begin + *element->bytes;
    }
}

bool hasFilm(const ByteSource &file, const MatroskaElement &tracks)
{
    using Id = MatroskaElement::Id;
    constexpr std::uint32_t film = 1;
    bool found = false;
    eachElement(file, tracks.begin, tracks.begin + tracks.bytes.value_or(0), [&](const auto &track) {
        if (track.id == Id::track)
            eachElement(file, track.begin, track.begin + track.bytes.value_or(0), [&](const auto &field) {
                found = found || (field.id == Id::trackType && file.big16(field.begin) >> 8U == film);
                return !found;
            });
        return !found;
    });
    return found;
}

bool isMatroska(const ByteSource &file, bool isWebm)
{
    using Id = MatroskaElement::Id;
    const std::optional<MatroskaElement> header = MatroskaElement::at(file, 0);
    if (!header || header->id != Id::header || !header->bytes)
        return false;
    const std::int64_t body = header->begin + *header->bytes;
    bool isOfType = false;
    eachElement(file, header->begin, body, [&](const auto &field) {
        if (field.id == Id::documentType)
            isOfType = file.holds(field.begin, "webm") || (!isWebm && file.holds(field.begin, "matroska"));
        return !isOfType;
    });
    const std::optional<MatroskaElement> segment = MatroskaElement::at(file, body);
    if (!isOfType || !segment || segment->id != Id::segment)
        return false;
    bool isFilm = false;
    eachElement(file, segment->begin, file.size(), [&](const auto &element) {
        const bool isList = element.id == Id::tracks;
        isFilm = isList && hasFilm(file, element);
        return !isList;
    });
    return isFilm;
}

// A list of pictures among the lists of streams.
bool isAvi(const ByteSource &file)
{
    constexpr std::int64_t headers = 12;
    if (!file.holds(0, "RIFF") || !file.holds(8, "AVI ") || !file.holds(headers, "LIST") ||
        !file.holds(headers + 8, "hdrl"))
        return false;
    const std::int64_t end = headers + 8 + file.little32(headers + 4);
    for (std::int64_t chunk = headers + 12; chunk < std::min(end, file.size());) {
        if (file.holds(chunk, "LIST") && file.holds(chunk + 8, "strlstrh") && file.holds(chunk + 20, "vids"))
            return true;
        const std::int64_t bytes = file.little32(chunk + 4);
        chunk += 8 + bytes + bytes % 2;
    }
    return false;
}

} // namespace

bool isOfFormat(const fs::path &path, const QString &extension)
{
    const ByteSource file(path);
    if (const std::optional<ImageType> named = imageTypeNamed(extension))
        return isImage(file, *named);
    if (extension == u"wav"_s)
        return (file.holds(0, "RIFF") || file.holds(0, "RF64") || file.holds(0, "BW64")) &&
               file.holds(8, "WAVE");
    if (extension == u"aif"_s || extension == u"aiff"_s)
        return file.holds(0, "FORM") && (file.holds(8, "AIFF") || file.holds(8, "AIFC"));
    if (extension == u"flac"_s)
        return file.holds(file.endOfId3(), "fLaC");
    if (extension == u"mp3"_s)
        return startsMpegStream(file, file.endOfId3());
    if (extension == u"aac"_s)
        return isAdts(file);
    if (extension == u"ogg"_s)
        return isOggSound(file);
    if (extension == u"mkv"_s || extension == u"webm"_s)
        return isMatroska(file, extension == u"webm"_s);
    if (extension == u"avi"_s)
        return isAvi(file);
    const bool isMovieName =
        extension == u"mp4"_s || extension == u"mov"_s || extension == u"m4v"_s || extension == u"m4a"_s;
    return isMovieName && isMovie(path, extension);
}

} // namespace quorvalent
