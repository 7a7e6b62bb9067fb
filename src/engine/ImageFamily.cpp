#include "engine/ImageFamily.h"

#include "engine/ExternalEngine.h"
#include "engine/ImageCheck.h"
#include "engine/ImageEngine.h"
#include "engine/WebpAssistance.h"
#include "media/ImageSource.h"

#include <utility>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;
using Kind = EngineProtocol::EngineKind;

bool isSingleStillImage(const fs::path &source)
{
    const std::optional<ImageSource> image = ImageSource::open(source, source.parent_path());
    return image && image->frameCount() == 1;
}

} // namespace

ImageFamily::ImageFamily(std::optional<fs::path> external)
    : m_external(std::move(external))
{}

EngineReport ImageFamily::convert(const EngineProtocol::Conversion &conversion, const fs::path &source,
                                  const fs::path &output, const Progress &progress)
{
    switch (conversion.engine) {
    case Kind::Image:
        runImageEngine(source, output, conversion.imageQuality, progress);
        return {};
    case Kind::External:
        runExternalEngine(m_external, source, output, preferencesOf(conversion), progress,
                          {&isSingleStillImage, &WebpAssistance::pictureFor, &WebpAssistance::carryMetadata});
        return {};
    default:
        throw EngineProtocol::ProtocolError();
    }
}

bool ImageFamily::matches(const fs::path &source, const fs::path &output)
{
    return imageMatches(source, output);
}

} // namespace quorvalent
