#include "media/ExportCheck.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;
using Kind = SourceStream::Kind;

bool hasKind(const MovieTrack &track, Kind kind)
{
    switch (kind) {
    case Kind::Video:
        return track.handler == "vide";
    case Kind::Audio:
        return track.handler == "soun";
    default:
        return track.handler == "sbtl" || track.handler == "text" || track.handler == "subt";
    }
}

std::uint64_t countOf(const std::map<int, std::uint64_t> &counts, int stream)
{
    const auto count = counts.find(stream);
    return count == counts.end() ? 0 : count->second;
}

bool isLengthKept(double seconds, double stated, double start)
{
    const double tolerance = std::max(0.5, stated / 100);
    return seconds >= stated - start - tolerance && seconds <= stated + tolerance;
}

// Whether a sample of the result is a packet of the source: PCM counts single sample points, and E-AC-3 may
// join several packets into one sample.
bool countsPackets(const QString &codec)
{
    return !codec.startsWith("pcm_"_L1) && codec != "eac3"_L1;
}

bool isTrackFaithful(const PlannedTrack &planned, const MovieTrack &track, std::uint64_t packetsRead)
{
    if (!hasKind(track, planned.kind))
        return false;
    if (planned.kind == Kind::Subtitle) // shown now and then; the pauses are samples too
        return true;
    if (planned.seconds && !isLengthKept(track.seconds, *planned.seconds, planned.startSeconds))
        return false;
    if (planned.isCopied && countsPackets(planned.codec) && track.samples != packetsRead)
        return false;
    if (planned.kind != Kind::Video)
        return true;
    return track.rotationDegrees == planned.rotationDegrees && track.width == planned.width &&
           track.height == planned.height;
}

} // namespace

bool isFaithful(const ExportPlan &plan, const ExportLog &log, const MovieIndex &result)
{
    if (result.isTruncated || result.hasFragments || !result.precedesData)
        return false;

    std::vector<MovieTrack> tracks = result.tracks;
    std::erase_if(tracks,
                  [](const MovieTrack &track) { return track.handler == "tmcd" || track.isChapterList; });
    std::size_t next = 0;
    bool isLengthStated = false;
    for (std::size_t i = 0; i < plan.tracks.size(); ++i) {
        const PlannedTrack &planned = plan.tracks[i];
        const std::uint64_t packetsRead = countOf(log.packetsRead, planned.sourceIndex);
        // A cover is no track, and a track without a single packet is not written.
        if (planned.kind == Kind::CoverPicture || packetsRead == 0)
            continue;
        if (planned.kind == Kind::Subtitle && countOf(log.packetsMuxed, static_cast<int>(i)) == 0)
            continue;
        if (next == tracks.size() || !isTrackFaithful(planned, tracks[next], packetsRead))
            return false;
        isLengthStated = isLengthStated || planned.seconds.has_value();
        ++next;
    }
    if (next == 0 || next != tracks.size())
        return false;
    if (isLengthStated || !plan.seconds)
        return true;
    // A stream that stayed behind may have been the longest, but hardly by much.
    if (!plan.omissions.isEmpty())
        return result.seconds >= *plan.seconds * 0.9 - 0.5;
    return isLengthKept(result.seconds, *plan.seconds, 0);
}

} // namespace quorvalent
