#include "engine/MediaCheck.h"

#include "core/ConversionError.h"
#include "core/MediaFamilies.h"
#include "core/RenameJob.h"
#include "engine/IncompleteSource.h"
#include "engine/StreamPlan.h"
#include "media/MediaAsset.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;
using Kind = MediaStream::Kind;

// What a file of each extension may hold. Codecs are the beginnings of FFmpeg's names, "" for any.
struct Container
{
    const char *extension;
    const char *format;
    std::vector<const char *> audioCodecs;
    std::vector<const char *> videoCodecs;
};

const std::vector<Container> &containers()
{
    static const std::vector<Container> table = {
        {"mp3", "mp3", {"mp3"}, {}},
        {"m4a", "m4a", {"aac", "alac"}, {}},
        {"aac", "aac", {"aac"}, {}},
        {"wav", "wav", {"pcm_"}, {}},
        {"aif", "aiff", {"pcm_"}, {}},
        {"aiff", "aiff", {"pcm_"}, {}},
        {"flac", "flac", {"flac"}, {}},
        {"ogg", "ogg", {"vorbis", "opus"}, {}},
        {"mp4", "mp4", {""}, {""}},
        {"mov", "mov", {""}, {""}},
        {"m4v", "mp4", {""}, {""}},
        {"mkv", "matroska", {""}, {""}},
        {"webm", "webm", {"opus", "vorbis"}, {"vp8", "vp9", "av1"}},
        {"avi", "avi", {""}, {""}},
    };
    return table;
}

bool isOneOf(const std::vector<const char *> &beginnings, const QString &codec)
{
    return std::any_of(beginnings.begin(), beginnings.end(),
                       [&](const char *beginning) { return codec.startsWith(QLatin1String(beginning)); });
}

bool isOfKind(const MediaAsset &result, const QString &extension)
{
    const auto &table = containers();
    const auto container = std::find_if(table.begin(), table.end(), [&](const Container &row) {
        return extension == QLatin1String(row.extension);
    });
    if (container == table.end())
        return false;
    if (!result.format.split(u',').contains(QLatin1String(container->format)))
        return false;
    return std::all_of(result.streams.begin(), result.streams.end(), [&](const MediaStream &stream) {
        if (stream.kind == Kind::Audio)
            return isOneOf(container->audioCodecs, stream.codec);
        return stream.kind != Kind::Video || isOneOf(container->videoCodecs, stream.codec);
    });
}

// A stream of the source and what became of it.
struct StreamPair
{
    std::size_t before;
    std::size_t after;
};

std::vector<std::size_t> allOf(const MediaAsset &asset)
{
    std::vector<std::size_t> indexes(asset.streams.size());
    std::iota(indexes.begin(), indexes.end(), 0U);
    return indexes;
}

std::vector<std::size_t> ofKind(const MediaAsset &asset, Kind kind, std::vector<std::size_t> indexes)
{
    std::erase_if(indexes, [&](std::size_t index) {
        return index >= asset.streams.size() || asset.streams[index].kind != kind;
    });
    return indexes;
}

std::vector<std::size_t> chosenOf(const MediaAsset &asset, Kind kind)
{
    const std::optional<std::size_t> chosen = chosenStream(asset, kind);
    return chosen ? std::vector<std::size_t>{*chosen} : std::vector<std::size_t>{};
}

// The streams that the conversion had to keep, or nothing where one is missing: those of the plan in its
// order, else the one of each kind that FFmpeg takes by itself.
std::optional<std::vector<StreamPair>> keptStreams(const MediaAsset &original, const MediaAsset &result,
                                                   const CarriedStreams &carried, bool isAudioTarget)
{
    std::vector<StreamPair> kept;
    for (const Kind kind : {Kind::Video, Kind::Audio}) {
        if (kind == Kind::Video && isAudioTarget)
            continue;
        const std::vector<std::size_t> before =
            carried.tracks.empty() ? chosenOf(original, kind) : ofKind(original, kind, carried.tracks);
        const std::vector<std::size_t> after =
            before.size() == 1 ? chosenOf(result, kind) : ofKind(result, kind, allOf(result));
        if (after.size() < before.size())
            return std::nullopt;
        for (std::size_t i = 0; i < before.size(); ++i)
            kept.push_back({before[i], after[i]});
    }
    const auto subtitles = ofKind(result, Kind::Subtitle, allOf(result)).size();
    if (kept.empty() || subtitles < carried.subtitles)
        return std::nullopt;
    return kept;
}

MediaSeconds tolerance(MediaSeconds length)
{
    return std::max(MediaSeconds(0.5), length / 100);
}

bool statesLength(const MediaAsset &asset)
{
    return asset.duration.has_value() && !asset.isDurationEstimated;
}

// Whether stated lengths agree, and the result's last packets are where its header says: headers are complete
// in a file that lost its end later.
bool headersAgree(const MediaAsset &original, const MediaAsset &result, const std::vector<StreamPair> &kept)
{
    if (!statesLength(original) || !statesLength(result))
        return false;
    return std::all_of(kept.begin(), kept.end(), [&](const StreamPair &pair) {
        const auto before = original.streams[pair.before].duration;
        const MediaStream &after = result.streams[pair.after];
        if (!before || !after.duration || !after.packets)
            return false;
        return std::chrono::abs(*after.duration - *before) <= tolerance(*before) &&
               after.packets->end >= *after.duration - tolerance(*before);
    });
}

// From the first packet of all to the last one; nothing spans nothing.
MediaExtent spanOf(const std::vector<MediaExtent> &extents)
{
    if (extents.empty())
        return {};
    MediaExtent whole = extents.front();
    for (const MediaExtent &extent : extents) {
        whole.first = std::min(whole.first, extent.first);
        whole.last = std::max(whole.last, extent.last);
        whole.end = std::max(whole.end, extent.end);
    }
    return whole;
}

// Whether the packets reach as far as the file states. All streams count: the longest may be one that the
// conversion leaves out.
bool isWhole(const MediaAsset &asset)
{
    std::vector<MediaExtent> extents;
    for (const MediaStream &stream : asset.streams) {
        if (stream.packets)
            extents.push_back(*stream.packets);
    }
    const MediaExtent span = spanOf(extents);
    return !statesLength(asset) || span.end - span.first >= *asset.duration - tolerance(*asset.duration);
}

// The same question put to all packets of both files.
bool packetsAgree(const MediaAsset &original, const MediaAsset &result, const std::vector<StreamPair> &kept)
{
    if (!isWhole(result))
        return false;

    std::vector<MediaExtent> keptBefore;
    std::vector<MediaExtent> keptAfter;
    for (const StreamPair &pair : kept) {
        const auto before = original.streams[pair.before].packets;
        const auto after = result.streams[pair.after].packets;
        if (!before)
            continue; // a track that its file announces and leaves empty
        if (!after)
            return false;
        // Up to the start of the last packet: how long the last picture stays, every encoder decides anew.
        MediaSeconds needed = before->last - before->first;
        // Where the rate of a sound changes on its way, its times run backwards and cover less than is heard.
        if (original.streams[pair.before].kind == Kind::Audio)
            needed = std::max(needed, original.streams[pair.before].packetSeconds);
        if (after->end - after->first < needed - tolerance(needed))
            return false;
        keptBefore.push_back(*before);
        keptAfter.push_back(*after);
    }
    if (keptAfter.empty() || !statesLength(original))
        return !keptAfter.empty();
    const MediaExtent before = spanOf(keptBefore);
    const MediaExtent after = spanOf(keptAfter);
    const MediaSeconds longest = std::max(*original.duration, before.end - before.first);
    return after.last - after.first <= longest + tolerance(longest);
}

// Whether the headers told where every stream that counts ends.
bool tellsItsEnd(const MediaAsset &asset)
{
    return std::all_of(asset.streams.begin(), asset.streams.end(), [](const MediaStream &stream) {
        return (stream.kind != Kind::Video && stream.kind != Kind::Audio) || stream.packets.has_value();
    });
}

// The result's header with what shows where it ends: its packets of the last second, where a look at the
// file's structure does not tell. Its header alone where there are none.
std::optional<MediaAsset> resultOf(const std::filesystem::path &output, const MediaAsset &original)
{
    constexpr MediaSeconds tail(1);
    if (auto asset = MediaAsset::fromHeaders(output); asset && tellsItsEnd(*asset))
        return asset;
    if (statesLength(original)) {
        if (auto asset = MediaAsset::read(output, std::max(MediaSeconds(0), *original.duration - tail)))
            return asset;
    }
    return MediaAsset::read(output);
}

} // namespace

MediaCheck::MediaCheck(std::filesystem::path source)
    : m_source(std::move(source))
{
    if (auto asset = MediaAsset::fromHeaders(m_source))
        m_original = std::move(asset);
    else
        m_probe.emplace(m_source);
}

const std::optional<MediaAsset> &MediaCheck::original()
{
    if (!m_original)
        m_original = m_probe->result();
    return *m_original;
}

bool MediaCheck::matches(const std::filesystem::path &output, const CarriedStreams &carried)
{
    const QString extension = pathExtension(output);
    const std::optional<MediaAsset> &source = original();
    if (!source)
        return false;
    const std::optional<MediaAsset> result = resultOf(output, *source);
    if (!result || !isOfKind(*result, extension))
        return false;

    const bool isAudio = audioExtensions().contains(extension);
    const auto kept = keptStreams(*source, *result, carried, isAudio);
    if (!kept)
        return false;
    if (headersAgree(*source, *result, *kept))
        return true;
    const std::optional<MediaAsset> originalPackets = MediaAsset::read(m_source, MediaSeconds(0));
    const std::optional<MediaAsset> resultPackets = MediaAsset::read(output, MediaSeconds(0));
    if (!originalPackets || !resultPackets)
        return false;
    // What such a source lacks is nowhere else: its owner should know before it is replaced.
    if (!carried.mayEndEarly && !isWhole(*originalPackets))
        throw ConversionError(damagedSource());
    const auto keptPackets = keptStreams(*originalPackets, *resultPackets, carried, isAudio);
    return keptPackets && packetsAgree(*originalPackets, *resultPackets, *keptPackets);
}

} // namespace quorvalent
