#include "media/SourceEnd.h"

#include "media/MatroskaElement.h"
#include "media/MovieIndex.h"
#include "media/audio/ByteSource.h"
#include "media/audio/DeclaredLength.h"
#include "media/audio/FlacEnd.h"
#include "media/audio/MpegHeader.h"
#include "media/audio/PcmHeader.h"
#include "media/audio/SoundChunk.h"

#include <algorithm>
#include <array>
#include <vector>

namespace quorvalent {

namespace {

using State = SourceEnd::State;

State stateOf(bool breaksOff)
{
    return breaksOff ? State::BreaksOff : State::Whole;
}

MediaSeconds secondsOf(std::int64_t frames, int rate)
{
    return MediaSeconds(static_cast<double>(frames) / rate);
}

SourceEnd waveEnd(const ByteSource &file)
{
    const std::optional<SoundChunk> format = SoundChunk::find(file, "fmt ", true);
    const std::optional<SoundChunk> data = SoundChunk::find(file, "data", true);
    if (!data)
        return {stateOf(true), {}};
    if (!data->bytes) // written into a pipe
        return {State::Whole, {}};
    SourceEnd end{stateOf(*data->bytes > static_cast<std::uint64_t>(file.size() - data->begin)), {}};
    const std::uint32_t bytesPerSecond = format ? file.little32(format->begin + 8) : 0;
    if (bytesPerSecond > 0)
        end.announced = MediaSeconds(static_cast<double>(*data->bytes) / bytesPerSecond);
    return end;
}

SourceEnd aiffEnd(const ByteSource &file)
{
    const std::optional<SoundChunk> data = SoundChunk::find(file, "SSND", false);
    if (!data)
        return {stateOf(true), {}};
    return {stateOf(data->bytes.value_or(0) > static_cast<std::uint64_t>(file.size() - data->begin)), {}};
}

SourceEnd flacEnd(const ByteSource &file, std::int64_t start, const std::filesystem::path &path)
{
    const DeclaredLength declared = declaredLength(path);
    SourceEnd end{stateOf(!endsWithLastFlacFrame(file, start, declared.frames.value_or(0))), {}};
    if (declared.frames && declared.sampleRate.value_or(0) > 0)
        end.announced = secondsOf(*declared.frames, *declared.sampleRate);
    return end;
}

// Of an MP3 stream, its index tells how much must follow, and each packet how long it is.
SourceEnd mpegEnd(const ByteSource &file, std::int64_t start)
{
    const std::optional<MpegHeader> header = MpegHeader::read(file, start);
    if (!header)
        return {};
    const bool isIndexed = header->bytes.value_or(0) > 0;
    constexpr std::int64_t largestPacket = 2881; // writers disagree whether the index's own packet counts
    const bool lacksPackets = isIndexed && file.size() - start + largestPacket < *header->bytes;
    SourceEnd end{stateOf(lacksPackets || endsInsideMpegPacket(file, start)), {}};
    if (header->packets)
        end.announced =
            secondsOf(std::int64_t{*header->packets} * header->framesPerPacket, header->sampleRate);
    return end;
}

// The last page is whole, and so is the last packet in it.
SourceEnd oggEnd(const ByteSource &file)
{
    constexpr std::size_t largestPage = 27 + 255 + 255UL * 255;
    constexpr std::size_t headBytes = 27;
    const std::int64_t from = std::max<std::int64_t>(0, file.size() - 2 * std::int64_t{largestPage});
    std::vector<std::uint8_t> tail(static_cast<std::size_t>(file.size() - from));
    file.read(from, tail);
    constexpr std::array<std::uint8_t, 4> mark{'O', 'g', 'g', 'S'};
    const auto page = std::find_end(tail.begin(), tail.end(), mark.begin(), mark.end());
    if (page == tail.end())
        return {};
    const auto rest = std::span(tail).subspan(static_cast<std::size_t>(page - tail.begin()));
    if (rest.size() < headBytes || rest.size() < headBytes + rest[26])
        return {stateOf(true), {}};
    const auto lacing = rest.subspan(headBytes, rest[26]);
    std::size_t bytes = headBytes + lacing.size();
    for (const std::uint8_t segment : lacing)
        bytes += segment;
    const bool packetGoesOn = !lacing.empty() && lacing.back() == 255;
    return {stateOf(bytes > rest.size() || packetGoesOn), {}};
}

// Boxes at the top: one that is larger than the rest of the file, unless it is rubbish behind the last one;
// fragments that announce data behind them; a movie whose samples are more than its data.
SourceEnd movieEnd(const ByteSource &file, const std::filesystem::path &path)
{
    bool hasIndex = false;
    bool dataMustFollow = false;
    for (std::int64_t offset = 0; offset + 8 <= file.size();) {
        std::int64_t length = file.big32(offset);
        if (length == 1)
            length = static_cast<std::int64_t>(file.big64(offset + 8));
        const bool isData = file.holds(offset + 4, "mdat");
        const bool isFragment = file.holds(offset + 4, "moof");
        const bool isIndex = file.holds(offset + 4, "moov");
        if (length == 0)
            length = file.size() - offset;
        if (length < 8)
            break;
        if (length > file.size() - offset)
            return {isData || isFragment || isIndex || !hasIndex ? State::BreaksOff : State::Whole, {}};
        hasIndex = hasIndex || isIndex;
        dataMustFollow = isFragment || (dataMustFollow && !isData);
        offset += length;
    }
    if (!hasIndex || dataMustFollow)
        return {stateOf(true), {}};
    const std::optional<MovieIndex> index = MovieIndex::read(path);
    if (!index)
        return {};
    std::uint64_t sampleBytes = 0;
    for (const MovieTrack &track : index->tracks)
        sampleBytes += track.sampleBytes;
    return {stateOf(index->isTruncated || sampleBytes > index->dataBytes), {}};
}

SourceEnd matroskaEnd(const ByteSource &file)
{
    using Id = MatroskaElement::Id;
    for (std::int64_t offset = 0; offset < file.size();) {
        const std::optional<MatroskaElement> element = MatroskaElement::at(file, offset);
        if (!element)
            return {stateOf(file.size() - offset < 12), {}}; // else rubbish behind the last element
        const bool isOpen = !element->bytes && (element->id == Id::segment || element->id == Id::cluster);
        if (!element->bytes && !isOpen)
            return {};
        if (element->bytes && *element->bytes > file.size() - element->begin)
            return {stateOf(true), {}};
        // Into what was written live, past everything else.
        offset = isOpen ? element->begin : element->begin + *element->bytes;
    }
    return {State::Whole, {}};
}

// The lists of an AVI file one after the other; a live writer leaves their sizes at zero or at the most.
SourceEnd aviEnd(const ByteSource &file)
{
    SourceEnd end{State::Whole, {}};
    if (file.holds(24, "avih")) // microseconds of a frame, number of frames
        end.announced = MediaSeconds(1e-6 * file.little32(32) * file.little32(48));
    if (end.announced == MediaSeconds(0))
        end.announced.reset();
    for (std::int64_t offset = 0; offset + 12 <= file.size();) {
        if (!file.holds(offset, "RIFF"))
            break;
        const std::int64_t bytes = file.little32(offset + 4);
        if (bytes == 0 || bytes == 0xFFFFFFFF)
            break;
        if (bytes > file.size() - offset - 8) {
            end.state = State::BreaksOff;
            break;
        }
        offset += 8 + bytes + bytes % 2;
    }
    return end;
}

} // namespace

SourceEnd SourceEnd::of(const std::filesystem::path &path)
{
    const ByteSource file(path);
    if ((file.holds(0, "RIFF") || file.holds(0, "RF64") || file.holds(0, "BW64")) && file.holds(8, "WAVE"))
        return waveEnd(file);
    if (file.holds(0, "RIFF") && file.holds(8, "AVI "))
        return aviEnd(file);
    if (file.holds(0, "FORM") && (file.holds(8, "AIFF") || file.holds(8, "AIFC")))
        return aiffEnd(file);
    if (file.holds(0, "OggS"))
        return oggEnd(file);
    if (file.holds(0, "\x1A\x45\xDF\xA3"))
        return matroskaEnd(file);
    for (const std::string_view type : {"ftyp", "moov", "mdat", "wide", "free", "skip"})
        if (file.holds(4, type))
            return movieEnd(file, path);
    const std::int64_t start = file.endOfId3();
    if (file.holds(start, "fLaC"))
        return flacEnd(file, start, path);
    const DeclaredLength declared = declaredLength(path);
    if (declared.container == DeclaredLength::Container::Adts)
        return {stateOf(declared.isTruncated), {}};
    return mpegEnd(file, start);
}

} // namespace quorvalent
