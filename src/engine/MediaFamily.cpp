#include "engine/MediaFamily.h"

#include "core/ConversionError.h"
#include "core/MediaFamilies.h"
#include "core/RenameJob.h"
#include "engine/AudioEngine.h"
#include "engine/ExternalEngine.h"
#include "engine/IncompleteSource.h"
#include "engine/MissingExternalEncoders.h"
#include "engine/StreamPlan.h"
#include "engine/VideoEngine.h"
#include "media/AudioTags.h"

#include <utility>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;
using namespace Qt::StringLiterals;
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

std::vector<MissingEncoder> MediaFamily::missingEncoders(const std::optional<fs::path> &external)
{
    QStringList targets = audioExtensions() + videoExtensions();
    for (const QString &ownWriter : {u"wav"_s, u"aif"_s, u"aiff"_s})
        targets.removeOne(ownWriter);
    return missingExternalEncoders(external, targets);
}

EngineReport MediaFamily::convert(const EngineProtocol::Conversion &conversion, const fs::path &source,
                                  const fs::path &output, const Progress &progress)
{
    const SourceEnd end = SourceEnd::of(source);
    m_carried = {};
    if (end.state != SourceEnd::State::BreaksOff)
        return runEngine(conversion, source, output, progress);
    if (m_incomplete.isEmpty())
        m_incomplete = incompleteSource(source, end);
    if (!conversion.keepsOriginal)
        throw ConversionError(m_incomplete);
    try {
        EngineReport report = runEngine(conversion, source, output, progress);
        report.remarks.removeAll(damagedSource()); // its end is all that the decoder met
        report.remarks.prepend(m_incomplete);
        m_carried.mayEndEarly = true;
        return report;
    } catch (const FileError &) {
        throw;
    } catch (const Error &) {
        throw ConversionError(m_incomplete); // what an engine says of half a file blames the engine
    }
}

EngineReport MediaFamily::runEngine(const EngineProtocol::Conversion &conversion, const fs::path &source,
                                    const fs::path &output, const Progress &progress)
{
    switch (conversion.engine) {
    case Kind::Audio: {
        MediaCheck &check = mediaCheck(source);
        runAudioEngine(source, output, conversion.bitrateKbps, progress);
        carryAudioTags(source, output);
        return reportOf(streamsFor(check, source, pathExtension(output)).omissions);
    }
    case Kind::Video:
        mediaCheck(source);
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
    const SourceComplaint complaint = runExternalEngine(m_external, source, output, preferencesOf(conversion),
                                                        progress, {}, {streams, lengthOf(check.original())});
    EngineReport report = reportOf(streams.omissions);
    if (complaint == SourceComplaint::Damaged) {
        if (!conversion.keepsOriginal)
            throw ConversionError(damagedSource());
        report.remarks.prepend(damagedSource());
    }
    if (audioExtensions().contains(target))
        carryAudioTags(source, output);
    const bool isWhole = SourceEnd::of(source).state == SourceEnd::State::Whole;
    m_carried = {.tracks = streams.tracks,
                 .subtitles = streams.arguments.empty() ? 0 : streams.subtitles,
                 .mayEndEarly = complaint == SourceComplaint::None ? isWhole : conversion.keepsOriginal};
    return report;
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
