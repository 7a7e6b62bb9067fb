#include "engine/ImageEngine.h"

#include "core/ConversionError.h"
#include "media/ImageDestination.h"
#include "media/ImageSignature.h"
#include "media/ImageSource.h"
#include "platform/Error.h"

namespace quorvalent {

namespace {

std::optional<ImageType> targetType(const std::filesystem::path &output)
{
    const QString extension = displayText(output.extension()).mid(1);
    const std::optional<ImageType> type = imageTypeNamed(extension);
    return type == ImageType::Webp ? std::nullopt : type; // the external engine's
}

bool holdsSeveralFrames(ImageType type)
{
    return type == ImageType::Gif || type == ImageType::Tiff;
}

void convertImage(const std::filesystem::path &source, const std::filesystem::path &output, double quality,
                  const Progress &progress)
{
    const std::filesystem::path workFolder = output.parent_path();
    const std::optional<ImageSource> image = ImageSource::open(source, workFolder);
    if (!image)
        throw ConversionError(QStringLiteral("Image non reconnue par macOS."));
    const std::optional<ImageType> type = targetType(output);
    if (!type)
        throw ConversionError(QStringLiteral("Format image non pris en charge."));
    const int count = image->frameCount();
    if (count >= 2 && !holdsSeveralFrames(*type))
        throw ConversionError(QStringLiteral("Cette image contient plusieurs pages ou une animation. "
                                             "Choisissez GIF ou TIFF pour les conserver."));
    std::optional<ImageDestination> destination = ImageDestination::create(output, *type, count);
    if (!destination)
        throw ConversionError(QStringLiteral("Ce format d’image n’est pas disponible sur ce Mac."));

    destination->setProperties(image->properties());
    for (int i = 0; i < count; ++i) {
        destination->addImage(image->frame(i), image->frameProperties(i), quality);
        report(progress, (i + 1.0) / count * 0.9);
    }
    destination->finalize();
}

void verifyWritten(const std::filesystem::path &output)
{
    try {
        if (ImageSource::open(output, output.parent_path()))
            return;
    } catch (const ImageReadError &) {
        // what was written, not the source, is at fault
    }
    throw ImageWriteError();
}

} // namespace

void runImageEngine(const std::filesystem::path &source, const std::filesystem::path &output, double quality,
                    const Progress &progress)
{
    try {
        convertImage(source, output, quality, progress);
        verifyWritten(output);
    } catch (const ImageReadError &error) {
        throw ConversionError(error.errorDescription());
    } catch (const ImageWriteError &error) {
        throw ConversionError(error.errorDescription());
    }
}

} // namespace quorvalent
