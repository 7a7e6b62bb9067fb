#include "engine/MediaFamily.h"

#include "core/MediaFamilies.h"
#include "core/RenameJob.h"
#include "engine/AudioEngine.h"
#include "engine/ExternalEngine.h"
#include "engine/VideoEngine.h"
#include "media/AudioTags.h"

#include <utility>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;
using Kind = EngineProtocol::EngineKind;

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
        return {};
    case Kind::Video:
        runVideoEngine(source, output, conversion.videoLevel, progress);
        return {};
    case Kind::External:
        runExternalEngine(m_external, source, output, preferencesOf(conversion), progress, {},
                          [&check] { return lengthOf(check.original()); });
        if (audioExtensions().contains(pathExtension(output)))
            carryAudioTags(source, output);
        return {};
    default:
        throw EngineProtocol::ProtocolError();
    }
}

bool MediaFamily::matches(const fs::path &source, const fs::path &output)
{
    return mediaCheck(source).matches(output);
}

MediaCheck &MediaFamily::mediaCheck(const fs::path &source)
{
    if (!m_mediaCheck)
        m_mediaCheck.emplace(source);
    return *m_mediaCheck;
}

} // namespace quorvalent
