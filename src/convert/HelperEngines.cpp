#include "convert/HelperEngines.h"

#include "core/RenameJob.h"
#include "platform/Bundle.h"

#include <utility>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;
using Kind = EngineProtocol::EngineKind;

EngineProtocol::WorkFiles workFiles(const fs::path &source, const fs::path &output)
{
    return {source.filename().native(), output.filename().native()};
}

} // namespace

HelperPrograms HelperPrograms::bundled()
{
    return {Bundle::helper("quorvalent-image-engine"), Bundle::helper("quorvalent-engine")};
}

HelperEngines::HelperEngines(HelperSource helpers, int threads)
    : m_helpers(std::move(helpers))
    , m_threads(threads)
{}

HelperSource HelperEngines::starting(HelperPrograms programs)
{
    return starting(std::move(programs), {});
}

HelperSource HelperEngines::starting(HelperPrograms programs, HelperLimits limits)
{
    return [programs = std::move(programs), limits = std::move(limits)](EngineHelper::Family family) {
        return std::make_unique<EngineHelper>(programs.of(family), limits);
    };
}

void HelperEngines::begin(const EngineHelper::Reach &reach, EngineHelper::Family family)
{
    m_reach = reach;
    m_family = family;
    replaceHelper();
}

EngineHelper &HelperEngines::helper()
{
    if (!m_helper || m_helper->isLost())
        replaceHelper();
    return *m_helper;
}

void HelperEngines::replaceHelper()
{
    m_helper.reset(); // the new one is to find no other in the folder
    m_helper = m_helpers(m_family);
    m_helper->begin(m_reach, m_threads);
}

bool HelperEngines::isOriginalOf(const QString &extension)
{
    return helper().isOriginalOf(extension);
}

EngineReport HelperEngines::convert(Kind engine, const fs::path &source, const fs::path &output,
                                    const Preferences &preferences, const Progress &progress)
{
    const QString extension = pathExtension(output);
    return helper().convert({.engine = engine,
                             .files = workFiles(source, output),
                             .imageQuality = preferences.quality(extension),
                             .bitrateKbps = preferences.bitrate(extension),
                             .videoLevel = preferences.video(extension),
                             .keepsOriginal = preferences.keepOriginal},
                            progress);
}

bool HelperEngines::matches(const fs::path &source, const fs::path &output)
{
    return helper().matches({.files = workFiles(source, output)});
}

Engines HelperEngines::forDriver(HelperSource helpers, int threads)
{
    const auto run = std::make_shared<HelperEngines>(std::move(helpers), threads);
    const auto engine = [run](Kind kind) -> Engine {
        return [run, kind](const fs::path &source, const fs::path &output, const Preferences &preferences,
                           const Progress &progress) {
            return run->convert(kind, source, output, preferences, progress);
        };
    };
    Engines engines;
    engines.begin = [run](const EngineHelper::Reach &reach, bool isImage) {
        run->begin(reach, isImage ? EngineHelper::Family::Image : EngineHelper::Family::Media);
    };
    engines.isOriginalOf = [run](const QString &extension) { return run->isOriginalOf(extension); };
    engines.image = engine(Kind::Image);
    engines.audio = engine(Kind::Audio);
    engines.video = engine(Kind::Video);
    engines.external = engine(Kind::External);
    engines.hasExternal = [] { return Preferences::ffmpeg().has_value(); };
    engines.matches = [run](const fs::path &source, const fs::path &output) {
        return run->matches(source, output);
    };
    engines.end = [run] { run->end(); };
    return engines;
}

} // namespace quorvalent
