#include "convert/Converter.h"

#include "convert/ConversionDriver.h"
#include "core/MediaFamilies.h"
#include "engine/AudioEngine.h"
#include "engine/ExternalEngine.h"
#include "engine/ImageCheck.h"
#include "engine/ImageEngine.h"
#include "engine/MediaCheck.h"
#include "engine/VideoEngine.h"
#include "engine/WebpAssistance.h"
#include "media/AudioTags.h"
#include "media/ImageSource.h"

#include <memory>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;

bool isSingleStillImage(const fs::path &source)
{
    const std::optional<ImageSource> image = ImageSource::open(source, source.parent_path());
    return image && image->frameCount() == 1;
}

ImageAssistance imageAssistance()
{
    return {&isSingleStillImage, &WebpAssistance::pictureFor, &WebpAssistance::carryMetadata};
}

/// The engines of one conversion.
Engines realEngines()
{
    Engines engines;
    // Made before an engine runs: the source is probed once, for the check and for the progress.
    const auto check = std::make_shared<std::optional<MediaCheck>>();
    engines.image = [](const fs::path &source, const fs::path &output, const Preferences &preferences,
                       const Progress &progress) {
        Converter::image(source, output, preferences.quality(pathExtension(output)), progress);
    };
    engines.audio = [](const fs::path &source, const fs::path &output, const Preferences &preferences,
                       const Progress &progress) {
        Converter::audio(source, output, preferences.bitrate(pathExtension(output)), progress);
        carryAudioTags(source, output);
    };
    engines.video = [](const fs::path &source, const fs::path &output, const Preferences &preferences,
                       const Progress &progress) {
        Converter::video(source, output, preferences.video(pathExtension(output)), progress);
    };
    engines.external = [check](const fs::path &source, const fs::path &output, const Preferences &preferences,
                               const Progress &progress) {
        const SourceLength length = [check] { return lengthOf((*check)->original()); };
        runExternalEngine(Preferences::ffmpeg(), source, output, preferences, progress, imageAssistance(),
                          *check ? length : SourceLength());
        if (audioExtensions().contains(pathExtension(output)))
            carryAudioTags(source, output);
    };
    engines.hasExternal = [] { return Preferences::ffmpeg().has_value(); };
    engines.imageCheck = [](const fs::path &source) {
        return [source](const fs::path &output) { return imageMatches(source, output); };
    };
    engines.mediaCheck = [check](const fs::path &source) {
        check->emplace(source);
        return [check](const fs::path &output) { return (*check)->matches(output); };
    };
    return engines;
}

} // namespace

void Converter::convert(const RenameJob &job, const Preferences &preferences, const Progress &progress)
{
    const Files files;
    ConversionDriver(files, realEngines()).convert(job, preferences, progress);
}

void Converter::image(const fs::path &source, const fs::path &output, double quality,
                      const Progress &progress)
{
    runImageEngine(source, output, quality, progress);
}

void Converter::audio(const fs::path &source, const fs::path &output, qint64 bitrate,
                      const Progress &progress)
{
    runAudioEngine(source, output, bitrate, progress);
}

void Converter::video(const fs::path &source, const fs::path &output, qint64 quality,
                      const Progress &progress)
{
    runVideoEngine(source, output, quality, progress);
}

void Converter::external(const std::filesystem::path &source, const std::filesystem::path &output,
                         const Preferences &preferences, const Progress &progress)
{
    runExternalEngine(Preferences::ffmpeg(), source, output, preferences, progress, imageAssistance());
}

} // namespace quorvalent
