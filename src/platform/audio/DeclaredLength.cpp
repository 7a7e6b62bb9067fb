#include "platform/audio/DeclaredLength.h"

#include "platform/audio/AdtsHeader.h"
#include "platform/audio/ByteSource.h"
#include "platform/audio/Mp4Length.h"

#include <array>

namespace quorvalent {

namespace {

using Container = DeclaredLength::Container;

// Programs that write a WAVE file into a pipe cannot know its length and put one of these.
bool isUnknownWaveSize(std::uint64_t bytes)
{
    return bytes == 0 || bytes == 0xFFFFFFFF || bytes == 0x7FFFF000;
}

// `first` is where the first chunk starts; `dataName` is the chunk that holds the sound.
DeclaredLength chunkedLength(const ByteSource &file, std::string_view dataName, bool isLittleEndian)
{
    DeclaredLength declared{.container = Container::Pcm, .isTruncated = true, .frames = {}, .sampleRate = {}};
    constexpr std::int64_t chunkHead = 8;
    std::uint64_t longSize = 0; // of an RF64 file, whose data chunk says 0xFFFFFFFF
    std::int64_t offset = 12;
    while (offset + chunkHead <= file.size()) {
        std::uint64_t size = isLittleEndian ? file.little32(offset + 4) : file.big32(offset + 4);
        if (isLittleEndian && file.holds(offset, "ds64"))
            longSize = file.little64(offset + 16);
        if (file.holds(offset, dataName)) {
            if (isLittleEndian && size == 0xFFFFFFFF && longSize != 0)
                size = longSize;
            const auto present = static_cast<std::uint64_t>(file.size() - offset - chunkHead);
            declared.isTruncated = size > present && !(isLittleEndian && isUnknownWaveSize(size));
            return declared;
        }
        offset += chunkHead + static_cast<std::int64_t>(size + size % 2);
    }
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
    const std::uint32_t head = file.big32(start);
    const bool isMpeg1 = (head >> 19U & 3U) == 3;
    const bool isMono = (head >> 6U & 3U) == 3;
    const std::int64_t sideInfo = isMpeg1 ? (isMono ? 17 : 32) : (isMono ? 9 : 17);
    const std::int64_t index = start + 4 + sideInfo;
    const int framesPerPacket = isMpeg1 ? 1152 : 576;
    if ((file.holds(index, "Xing") || file.holds(index, "Info")) && (file.big32(index + 4) & 1U) != 0)
        declared.frames = std::int64_t{file.big32(index + 8)} * framesPerPacket;
    else if (file.holds(start + 36, "VBRI"))
        declared.frames = std::int64_t{file.big32(start + 50)} * framesPerPacket;
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
