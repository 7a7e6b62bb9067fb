#include "engine/EngineService.h"

#include "core/MediaFamilies.h"
#include "core/Preferences.h"
#include "core/RenameJob.h"
#include "engine/AudioEngine.h"
#include "engine/ExternalEngine.h"
#include "engine/ImageCheck.h"
#include "engine/ImageEngine.h"
#include "engine/VideoEngine.h"
#include "engine/WebpAssistance.h"
#include "media/AudioTags.h"
#include "media/ImageSource.h"
#include "platform/Error.h"
#include "platform/QuietWrite.h"

#include <cerrno>
#include <new>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;
namespace Protocol = EngineProtocol;

bool isSingleStillImage(const fs::path &source)
{
    const std::optional<ImageSource> image = ImageSource::open(source, source.parent_path());
    return image && image->frameCount() == 1;
}

ImageAssistance imageAssistance()
{
    return {&isSingleStillImage, &WebpAssistance::pictureFor, &WebpAssistance::carryMetadata};
}

bool isImage(const fs::path &output)
{
    return imageExtensions().contains(pathExtension(output));
}

Preferences preferencesOf(const Protocol::Conversion &conversion, const QString &extension)
{
    Preferences preferences;
    preferences.imageQuality.insert(extension, conversion.imageQuality);
    preferences.audioBitrate.insert(extension, conversion.bitrateKbps);
    preferences.videoQuality.insert(extension, conversion.videoLevel);
    return preferences;
}

} // namespace

EngineService::EngineService(fs::path workFolder, std::optional<fs::path> external, Conversation conversation)
    : m_workFolder(std::move(workFolder))
    , m_external(std::move(external))
    , m_conversation(std::move(conversation))
{}

void EngineService::run()
{
    while (const auto request = m_conversation.stream.next(m_conversation.requests.get()))
        send(answer(*request));
}

void EngineService::send(const Protocol::Reply &reply) const
{
    const QByteArray bytes = Protocol::encoded(reply);
    for (auto rest = std::as_bytes(std::span(bytes)); !rest.empty();) {
        const ssize_t count = quietWrite(m_conversation.replies.get(), rest);
        if (count < 0 && errno != EINTR)
            throw FileError(errno, "pipe");
        if (count > 0)
            rest = rest.subspan(static_cast<std::size_t>(count));
    }
}

Protocol::Reply EngineService::answer(const Protocol::Request &request)
{
    try {
        if (std::holds_alternative<Protocol::Begin>(request))
            throw Protocol::ProtocolError(); // there is one folder in a helper's life
        if (const auto *check = std::get_if<Protocol::Check>(&request))
            return Protocol::Verdict{matches(*check)};
        convert(std::get<Protocol::Conversion>(request));
        return Protocol::Done{};
    } catch (const Error &failure) {
        return Protocol::Failure{failure.errorDescription()};
    } catch (const std::bad_alloc &) {
        return Protocol::OutOfMemory{};
    }
}

void EngineService::convert(const Protocol::Conversion &conversion)
{
    const fs::path source = m_workFolder / conversion.files.source;
    const fs::path output = m_workFolder / conversion.files.output;
    const Progress progress = [this](std::optional<double> fraction) {
        send(Protocol::ProgressReport{fraction});
    };
    if (conversion.engine == Protocol::EngineKind::Image) {
        runImageEngine(source, output, conversion.imageQuality, progress);
        return;
    }
    SourceLength length;
    if (!isImage(output)) {
        MediaCheck &check = mediaCheck(source);
        length = [&check] { return lengthOf(check.original()); };
    }
    switch (conversion.engine) {
    case Protocol::EngineKind::Audio:
        runAudioEngine(source, output, conversion.bitrateKbps, progress);
        carryAudioTags(source, output);
        break;
    case Protocol::EngineKind::Video:
        runVideoEngine(source, output, conversion.videoLevel, progress);
        break;
    default:
        runExternalEngine(m_external, source, output, preferencesOf(conversion, pathExtension(output)),
                          progress, imageAssistance(), length);
        if (audioExtensions().contains(pathExtension(output)))
            carryAudioTags(source, output);
    }
}

bool EngineService::matches(const Protocol::Check &check)
{
    const fs::path source = m_workFolder / check.files.source;
    const fs::path output = m_workFolder / check.files.output;
    return isImage(output) ? imageMatches(source, output) : mediaCheck(source).matches(output);
}

MediaCheck &EngineService::mediaCheck(const fs::path &source)
{
    if (!m_mediaCheck)
        m_mediaCheck.emplace(source);
    return *m_mediaCheck;
}

} // namespace quorvalent
