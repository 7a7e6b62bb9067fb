#include "engine/MediaCheck.h"

#include "core/MediaFamilies.h"
#include "core/RenameJob.h"
#include "media/MediaAsset.h"

#include <algorithm>
#include <array>

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

// The stream that FFmpeg takes when none is named: the largest picture or the most channels, where the one
// marked as default counts five million more.
std::optional<std::size_t> chosenStream(const MediaAsset &asset, Kind kind)
{
    std::optional<std::size_t> chosen;
    qint64 best = -1;
    for (std::size_t index = 0; index < asset.streams.size(); ++index) {
        const MediaStream &stream = asset.streams[index];
        const qint64 size = kind == Kind::Video ? qint64(stream.width) * stream.height : stream.channels;
        const qint64 score = size + (stream.isDefault ? 5'000'000 : 0);
        if (stream.kind == kind && score > best) {
            best = score;
            chosen = index;
        }
    }
    return chosen;
}

// A stream of the source and what became of it.
struct StreamPair
{
    std::size_t before;
    std::size_t after;
};

// The streams that the conversion had to keep, or nothing where one is missing.
std::optional<std::vector<StreamPair>> keptStreams(const MediaAsset &original, const MediaAsset &result,
                                                   bool isAudioTarget)
{
    std::vector<StreamPair> kept;
    for (const Kind kind : {Kind::Video, Kind::Audio}) {
        if (kind == Kind::Video && isAudioTarget)
            continue;
        const auto before = chosenStream(original, kind);
        const auto after = chosenStream(result, kind);
        if (before && !after)
            return std::nullopt;
        if (before)
            kept.push_back({*before, *after});
    }
    if (kept.empty())
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
    // What a source that was cut short lacks is nowhere else: its owner should know before it is replaced.
    if (!isWhole(original) || !isWhole(result))
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

bool MediaCheck::matches(const std::filesystem::path &output)
{
    const QString extension = pathExtension(output);
    const std::optional<MediaAsset> &source = original();
    if (!source)
        return false;
    const std::optional<MediaAsset> result = resultOf(output, *source);
    if (!result || !isOfKind(*result, extension))
        return false;

    const bool isAudio = audioExtensions().contains(extension);
    const auto kept = keptStreams(*source, *result, isAudio);
    if (!kept)
        return false;
    if (headersAgree(*source, *result, *kept))
        return true;
    const std::optional<MediaAsset> originalPackets = MediaAsset::read(m_source, MediaSeconds(0));
    const std::optional<MediaAsset> resultPackets = MediaAsset::read(output, MediaSeconds(0));
    if (!originalPackets || !resultPackets)
        return false;
    const auto keptPackets = keptStreams(*originalPackets, *resultPackets, isAudio);
    return keptPackets && packetsAgree(*originalPackets, *resultPackets, *keptPackets);
}

} // namespace quorvalent
