#include "convert/Converter.h"

#include "convert/ConversionDriver.h"
#include "convert/ExternalEngine.h"
#include "convert/ImageCheck.h"
#include "convert/MediaCheck.h"
#include "convert/WebpAssistance.h"
#include "platform/ImageSource.h"

namespace quorvalent {

namespace {

bool isSingleStillImage(const std::filesystem::path &source)
{
    const std::optional<ImageSource> image = ImageSource::open(source, source.parent_path());
    return image && image->frameCount() == 1;
}

Engines realEngines()
{
    Engines engines;
    engines.image = [](const std::filesystem::path &source, const std::filesystem::path &output,
                       const Preferences &preferences, const Progress &progress) {
        Converter::image(source, output, preferences.quality(pathExtension(output)), progress);
    };
    engines.external = &Converter::external;
    engines.hasExternal = [] { return Preferences::ffmpeg().has_value(); };
    engines.imageMatches = &imageMatches;
    engines.mediaMatches = &mediaMatches;
    return engines;
}

} // namespace

void Converter::convert(const RenameJob &job, const Preferences &preferences, const Progress &progress)
{
    const Files files;
    ConversionDriver(files, realEngines()).convert(job, preferences, progress);
}

void Converter::external(const std::filesystem::path &source, const std::filesystem::path &output,
                         const Preferences &preferences, const Progress &progress)
{
    runExternalEngine(Preferences::ffmpeg(), source, output, preferences, progress,
                      {&isSingleStillImage, &WebpAssistance::pictureFor, &WebpAssistance::carryMetadata});
}

} // namespace quorvalent
