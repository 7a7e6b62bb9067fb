#include "media/MediaAsset.h"

#include "media/MovieIndex.h"
#include "media/SourceMedia.h"
#include "media/audio/ByteSource.h"
#include "media/audio/DeclaredLength.h"
#include "media/audio/MpegHeader.h"
#include "media/audio/PcmHeader.h"

#include <algorithm>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;
using Kind = MediaStream::Kind;

// All of a stream is there, from the start of the file on.
MediaExtent wholeExtent(MediaSeconds length)
{
    return {.first = MediaSeconds(0), .last = length, .end = length};
}

MediaAsset soundAsset(const QString &format, MediaStream stream, MediaSeconds length)
{
    stream.kind = Kind::Audio;
    stream.duration = length;
    return {.format = format, .streams = {std::move(stream)}, .duration = length};
}

std::optional<MediaAsset> pcmAsset(const QString &format, const std::optional<PcmHeader> &header)
{
    if (!header)
        return std::nullopt;
    const MediaSeconds length(static_cast<double>(header->frames) / header->sampleRate);
    MediaStream stream;
    stream.codec = header->codec;
    stream.sampleRate = header->sampleRate;
    stream.channels = header->channels;
    stream.packets = wholeExtent(length);
    return soundAsset(format, std::move(stream), length);
}

// Of a stream whose index tells its length in bytes, too: without, nothing shows that all of it is there. A
// file that is much longer holds more than the index speaks of.
std::optional<MediaAsset> mpegAsset(const ByteSource &file, std::int64_t start)
{
    const std::optional<MpegHeader> header = MpegHeader::read(file, start);
    if (!header || header->packets.value_or(0) == 0 || header->bytes.value_or(0) == 0)
        return std::nullopt;
    const std::int64_t present = file.size() - start;
    const std::int64_t stated = *header->bytes;
    if (present < stated || present - stated > stated / 10)
        return std::nullopt;
    const MediaSeconds length(static_cast<double>(*header->packets) * header->framesPerPacket /
                              header->sampleRate);
    MediaStream stream;
    stream.codec = "mp3"_L1;
    stream.sampleRate = header->sampleRate;
    stream.channels = header->channels;
    stream.packets = wholeExtent(length);
    return soundAsset("mp3"_L1, std::move(stream), length);
}

// Only the last frame of the sound would show that all of it is there.
std::optional<MediaAsset> flacAsset(const DeclaredLength &declared)
{
    if (!declared.frames || declared.sampleRate.value_or(0) <= 0)
        return std::nullopt;
    MediaStream stream;
    stream.codec = "flac"_L1;
    stream.sampleRate = *declared.sampleRate;
    return soundAsset("flac"_L1, std::move(stream),
                      MediaSeconds(static_cast<double>(*declared.frames) / *declared.sampleRate));
}

Kind kindOf(const SourceStream &stream)
{
    switch (stream.kind) {
    case SourceStream::Kind::Video:
        return Kind::Video;
    case SourceStream::Kind::Audio:
        return Kind::Audio;
    case SourceStream::Kind::Timecode:
        return Kind::Timecode;
    case SourceStream::Kind::Chapters:
        return Kind::Chapters;
    default:
        return Kind::Data;
    }
}

// Whether the samples that the index speaks of are in the file, up to the end of each track.
bool isWhole(const MovieIndex &index)
{
    std::uint64_t sampleBytes = 0;
    for (const MovieTrack &track : index.tracks)
        sampleBytes += track.sampleBytes;
    return !index.isTruncated && sampleBytes <= index.dataBytes;
}

std::optional<MediaAsset> movieAsset(MovieIndex index)
{
    const bool hasCover = index.hasCoverPicture;
    index.hasCoverPicture = false; // a cover is no track, and none that anybody compares
    const std::optional<SourceMedia> media = SourceMedia::fromIndex(index);
    if (!media || !isWhole(index))
        return std::nullopt;
    MediaAsset asset;
    asset.format = media->format;
    asset.duration = MediaSeconds(index.seconds);
    asset.hasUnlistedCover = hasCover;
    for (std::size_t i = 0; i < media->streams.size(); ++i) {
        const SourceStream &track = media->streams[i];
        MediaStream stream;
        stream.kind = kindOf(track);
        asset.chapters += stream.kind == Kind::Chapters ? 1 : 0; // at least one
        stream.codec = track.codec;
        stream.width = track.width;
        stream.height = track.height;
        stream.rotationDegrees = track.rotationDegrees == 0 ? 0 : 180 - (track.rotationDegrees + 180) % 360;
        stream.duration = MediaSeconds(index.tracks[i].seconds);
        stream.packets = wholeExtent(MediaSeconds(index.tracks[i].sampleSeconds));
        asset.streams.push_back(std::move(stream));
    }
    // Which one of several is the one to play, the index does not tell in these words.
    for (const Kind kind : {Kind::Video, Kind::Audio}) {
        const auto isKind = [kind](const MediaStream &stream) { return stream.kind == kind; };
        if (std::count_if(asset.streams.begin(), asset.streams.end(), isKind) > 1)
            return std::nullopt;
    }
    return asset;
}

} // namespace

std::optional<MediaAsset> MediaAsset::fromHeaders(const std::filesystem::path &path)
{
    if (std::optional<MovieIndex> index = MovieIndex::read(path))
        return movieAsset(*std::move(index));
    const ByteSource file(path);
    if ((file.holds(0, "RIFF") || file.holds(0, "RF64")) && file.holds(8, "WAVE"))
        return pcmAsset("wav"_L1, PcmHeader::readWave(file));
    if (file.holds(0, "FORM") && (file.holds(8, "AIFF") || file.holds(8, "AIFC")))
        return pcmAsset("aiff"_L1, PcmHeader::readAiff(file));
    const std::int64_t start = file.endOfId3();
    if (file.holds(start, "fLaC"))
        return flacAsset(declaredLength(path));
    return mpegAsset(file, start);
}

} // namespace quorvalent
