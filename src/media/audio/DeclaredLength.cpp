#include "media/audio/DeclaredLength.h"

#include "media/audio/AdtsHeader.h"
#include "media/audio/ByteSource.h"
#include "media/audio/Mp4Length.h"
#include "media/audio/MpegHeader.h"
#include "media/audio/SoundChunk.h"

#include <array>

namespace quorvalent {

namespace {

using Container = DeclaredLength::Container;

// `dataName` is the chunk that holds the sound.
DeclaredLength chunkedLength(const ByteSource &file, std::string_view dataName, bool isLittleEndian)
{
    const std::optional<SoundChunk> data = SoundChunk::find(file, dataName, isLittleEndian);
    DeclaredLength declared;
    declared.container = Container::Pcm;
    declared.isTruncated =
        !data || data->bytes.value_or(0) > static_cast<std::uint64_t>(file.size() - data->begin);
    return declared;
}

DeclaredLength flacLength(const ByteSource &file, std::int64_t start)
{
    // STREAMINFO is always first: 20 bits of rate, 3 of channels, 5 of depth, 36 of frames.
    DeclaredLength declared{
        .container = Container::Flac, .isTruncated = false, .frames = {}, .sampleRate = {}};
    const std::uint64_t fields = file.big64(start + 18);
    declared.sampleRate = static_cast<int>(fields >> 44U);
    const auto frames = static_cast<std::int64_t>(fields & 0xFFFFFFFFFULL);
    if (frames > 0)
        declared.frames = frames;
    return declared;
}

// Only whether there is an index with a number of frames: what they come to, less the encoder's delay, is
// the decoder's to say.
DeclaredLength mpegLength(const ByteSource &file, std::int64_t start)
{
    DeclaredLength declared{
        .container = Container::Mpeg, .isTruncated = false, .frames = {}, .sampleRate = {}};
    const std::optional<MpegHeader> header = MpegHeader::read(file, start);
    if (header && header->packets)
        declared.frames = std::int64_t{*header->packets} * header->framesPerPacket;
    return declared;
}

// ADTS has no index, but every frame tells where the next one starts.
DeclaredLength adtsLength(const ByteSource &file, std::int64_t start)
{
    DeclaredLength declared{
        .container = Container::Adts, .isTruncated = false, .frames = {}, .sampleRate = {}};
    constexpr std::size_t window = 64UL * 1024;
    std::array<std::uint8_t, window> bytes{};
    std::int64_t windowStart = start;
    std::size_t filled = file.read(windowStart, bytes);
    std::int64_t blocks = 0;
    for (std::int64_t offset = start; offset < file.size();) {
        if (static_cast<std::size_t>(offset - windowStart) + AdtsHeader::shortestBytes > filled) {
            windowStart = offset;
            filled = file.read(windowStart, bytes);
        }
        const auto rest =
            std::span(bytes).first(filled).subspan(static_cast<std::size_t>(offset - windowStart));
        const std::optional<AdtsHeader> header = AdtsHeader::parse(rest);
        if (!header) {
            // A tag at the end is no sound; anything else leaves the length open.
            const bool isTag = file.holds(offset, "TAG") || file.holds(offset, "APETAGEX");
            declared.isTruncated = rest.size() < AdtsHeader::shortestBytes && !isTag;
            if (!isTag)
                return declared;
            break;
        }
        if (offset + static_cast<std::int64_t>(header->frameBytes) > file.size()) {
            declared.isTruncated = true;
            return declared;
        }
        declared.sampleRate = header->sampleRate;
        blocks += header->blocks;
        offset += static_cast<std::int64_t>(header->frameBytes);
    }
    declared.frames = blocks * AdtsHeader::framesPerBlock;
    return declared;
}

} // namespace

DeclaredLength declaredLength(const std::filesystem::path &path)
{
    const ByteSource file(path);
    if ((file.holds(0, "RIFF") || file.holds(0, "RF64") || file.holds(0, "BW64")) && file.holds(8, "WAVE"))
        return chunkedLength(file, "data", true);
    if (file.holds(0, "RIFX") && file.holds(8, "WAVE"))
        return chunkedLength(file, "data", false);
    if (file.holds(0, "FORM") && (file.holds(8, "AIFF") || file.holds(8, "AIFC")))
        return chunkedLength(file, "SSND", false);
    if (file.holds(4, "ftyp") || file.holds(4, "moov"))
        return mp4Length(file);

    const std::int64_t start = file.endOfId3();
    if (file.holds(start, "fLaC"))
        return flacLength(file, start);
    std::array<std::uint8_t, AdtsHeader::shortestBytes> head{};
    file.read(start, head);
    if (AdtsHeader::parse(head))
        return adtsLength(file, start);
    if (head[0] == 0xFF && (head[1] & 0xE0U) == 0xE0)
        return mpegLength(file, start);
    return {};
}

} // namespace quorvalent
