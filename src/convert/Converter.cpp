#include "convert/Converter.h"

#include "convert/ConversionDriver.h"
#include "core/MediaFamilies.h"

namespace quorvalent {

namespace {

namespace fs = std::filesystem;
using Kind = EngineProtocol::EngineKind;

// One engine alone, in a helper of its own.
void run(Kind engine, const fs::path &source, const fs::path &output, const Preferences &preferences,
         const Progress &progress)
{
    const bool isImage = engine == Kind::Image ||
                         (engine == Kind::External && imageExtensions().contains(pathExtension(output)));
    HelperEngines engines;
    engines.begin({output.parent_path(), {}},
                  isImage ? EngineHelper::Family::Image : EngineHelper::Family::Media);
    engines.convert(engine, source, output, preferences, progress);
}

} // namespace

ConversionReport Converter::convert(const RenameJob &job, const Preferences &preferences,
                                    const ConversionRun &run, const HelperSource &helpers,
                                    const OriginalsStore *originals)
{
    const Files files;
    const ConversionDriver driver(files, HelperEngines::forDriver(helpers, run.threads), originals);
    return driver.convert(job, preferences, run);
}

bool Converter::isWhatItsNameSays(const fs::path &file, const HelperSource &helpers)
{
    const QString extension = pathExtension(file).toLower();
    if (!mediaExtensions().contains(extension))
        return false;
    try {
        HelperEngines engines(helpers);
        engines.begin({{}, file}, EngineHelper::Family::Media); // which starts sooner than that for images
        return engines.isOriginalOf(extension);
    } catch (const Error &) {
        return false;
    }
}

void Converter::refuse(const RenameJob &job, const Error &why)
{
    const Files files;
    ConversionDriver(files, {}).giveNameBack(job, why);
}

void Converter::image(const fs::path &source, const fs::path &output, double quality,
                      const Progress &progress)
{
    Preferences preferences;
    preferences.imageQuality.insert(pathExtension(output), quality);
    run(Kind::Image, source, output, preferences, progress);
}

void Converter::audio(const fs::path &source, const fs::path &output, qint64 bitrate,
                      const Progress &progress)
{
    Preferences preferences;
    preferences.audioBitrate.insert(pathExtension(output), bitrate);
    run(Kind::Audio, source, output, preferences, progress);
}

void Converter::video(const fs::path &source, const fs::path &output, qint64 quality,
                      const Progress &progress)
{
    Preferences preferences;
    preferences.videoQuality.insert(pathExtension(output), quality);
    run(Kind::Video, source, output, preferences, progress);
}

void Converter::external(const fs::path &source, const fs::path &output, const Preferences &preferences,
                         const Progress &progress)
{
    run(Kind::External, source, output, preferences, progress);
}

} // namespace quorvalent
