#include "convert/Converter.h"

#include "convert/ConversionDriver.h"
#include "convert/ImageCheck.h"
#include "convert/MediaCheck.h"

namespace quorvalent {

namespace {

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
    const Files files{};
    ConversionDriver(files, realEngines()).convert(job, preferences, progress);
}

} // namespace quorvalent
