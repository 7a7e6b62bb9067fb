#include "engine/MediaFamily.h"

#include "core/MediaFamilies.h"
#include "core/RenameJob.h"
#include "engine/AudioEngine.h"
#include "engine/ExternalEngine.h"
#include "engine/StreamPlan.h"
#include "engine/VideoEngine.h"
#include "media/AudioTags.h"

#include <utility>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;
using Kind = EngineProtocol::EngineKind;

// What stays behind is a reason to keep the original.
EngineReport reportOf(QStringList omissions)
{
    const bool isLess = !omissions.isEmpty();
    return {std::move(omissions), isLess};
}

StreamPlan streamsFor(MediaCheck &check, const fs::path &source, const QString &target)
{
    const std::optional<MediaAsset> &known = check.original();
    if (!known)
        return {};
    if (needsProbe(*known, target)) {
        if (const std::optional<MediaAsset> probed = MediaAsset::read(source))
            return planStreams(*probed, target);
    }
    return planStreams(*known, target);
}

} // namespace

MediaFamily::MediaFamily(std::optional<fs::path> external)
    : m_external(std::move(external))
{}

EngineReport MediaFamily::convert(const EngineProtocol::Conversion &conversion, const fs::path &source,
                                  const fs::path &output, const Progress &progress)
{
    MediaCheck &check = mediaCheck(source);
    switch (conversion.engine) {
    case Kind::Audio:
        runAudioEngine(source, output, conversion.bitrateKbps, progress);
        carryAudioTags(source, output);
        return reportOf(streamsFor(check, source, pathExtension(output)).omissions);
    case Kind::Video:
        return reportOf(runVideoEngine(source, output, conversion.videoLevel, progress));
    case Kind::External:
        return runExternal(conversion, source, output, progress);
    default:
        throw EngineProtocol::ProtocolError();
    }
}

EngineReport MediaFamily::runExternal(const EngineProtocol::Conversion &conversion, const fs::path &source,
                                      const fs::path &output, const Progress &progress)
{
    MediaCheck &check = mediaCheck(source);
    const QString target = pathExtension(output);
    const StreamPlan streams = streamsFor(check, source, target);
    runExternalEngine(m_external, source, output, preferencesOf(conversion), progress, {},
                      {streams, lengthOf(check.original())});
    if (audioExtensions().contains(target))
        carryAudioTags(source, output);
    m_carried = {streams.tracks, streams.arguments.empty() ? 0 : streams.subtitles};
    return reportOf(streams.omissions);
}

bool MediaFamily::matches(const fs::path &source, const fs::path &output)
{
    return mediaCheck(source).matches(output, m_carried);
}

MediaCheck &MediaFamily::mediaCheck(const fs::path &source)
{
    if (!m_mediaCheck)
        m_mediaCheck.emplace(source);
    return *m_mediaCheck;
}

} // namespace quorvalent
