#include "engine/ImageFamily.h"

#include "engine/ExternalEngine.h"
#include "engine/ImageCheck.h"
#include "engine/ImageEngine.h"
#include "engine/MissingExternalEncoders.h"
#include "engine/WebpAssistance.h"
#include "media/ImageDestination.h"
#include "media/ImageSignature.h"
#include "media/ImageSource.h"
#include "media/PictureExtras.h"

#include <utility>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;
using namespace Qt::StringLiterals;
using Kind = EngineProtocol::EngineKind;

bool isSingleStillImage(const fs::path &source)
{
    const std::optional<ImageSource> image = ImageSource::open(source, source.parent_path());
    return image && image->frameCount() == 1;
}

QString omissionOf(PictureExtra extra)
{
    switch (extra) {
    case PictureExtra::Film:
        return u"Vidéo de la photo animée omise."_s;
    case PictureExtra::GainMap:
        return u"Carte de gain HDR omise."_s;
    case PictureExtra::DepthMap:
        return u"Carte de profondeur omise."_s;
    case PictureExtra::OtherViews:
        return u"Autres vues de la photo omises."_s;
    case PictureExtra::Layers:
        return u"Calques omis."_s;
    case PictureExtra::SensorData:
        return u"Données brutes du capteur omises."_s;
    }
    return {};
}

// What no target takes along is a reason to keep the original.
EngineReport reportOf(const fs::path &source)
{
    EngineReport report;
    for (const PictureExtra extra : pictureExtras(source))
        report.remarks.append(omissionOf(extra));
    report.keepsOriginal = !report.remarks.isEmpty();
    return report;
}

} // namespace

ImageFamily::ImageFamily(std::optional<fs::path> external)
    : m_external(std::move(external))
{}

std::vector<MissingEncoder> ImageFamily::missingEncoders(const std::optional<fs::path> &external)
{
    std::vector<MissingEncoder> missing = missingExternalEncoders(external, {u"webp"_s});
    for (const QStringList &names : {QStringList{u"jpg"_s, u"jpeg"_s}, QStringList{u"png"_s},
                                     QStringList{u"heic"_s, u"heif"_s}, QStringList{u"gif"_s}}) {
        if (const std::optional<QString> part = ImageDestination::missingPart(*imageTypeNamed(names.front())))
            missing.push_back({names, *part});
    }
    return missing;
}

EngineReport ImageFamily::convert(const EngineProtocol::Conversion &conversion, const fs::path &source,
                                  const fs::path &output, const Progress &progress)
{
    switch (conversion.engine) {
    case Kind::Image:
        runImageEngine(source, output, conversion.imageQuality, progress);
        return reportOf(source);
    case Kind::External:
        runExternalEngine(m_external, source, output, preferencesOf(conversion), progress,
                          {&isSingleStillImage, &WebpAssistance::pictureFor, &WebpAssistance::carryMetadata});
        return reportOf(source);
    default:
        throw EngineProtocol::ProtocolError();
    }
}

bool ImageFamily::matches(const fs::path &source, const fs::path &output)
{
    return imageMatches(source, output);
}

} // namespace quorvalent
