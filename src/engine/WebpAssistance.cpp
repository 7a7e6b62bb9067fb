#include "engine/WebpAssistance.h"

#include "core/ConversionError.h"
#include "media/ImageDestination.h"
#include "media/ImageSignature.h"
#include "media/ImageSource.h"
#include "media/WebpMetadata.h"
#include "platform/Error.h"

namespace quorvalent {

namespace {

// The engine picks a picture's decoder by the name of the file.
bool isNamedByContent(const std::filesystem::path &source, ImageType type)
{
    return imageTypeNamed(displayText(source.extension()).mid(1)) == type;
}

bool engineShowsRight(const std::filesystem::path &source, const ImageSource &image)
{
    const bool simple = image.type() == ImageType::Jpeg || image.type() == ImageType::Png;
    return simple && isNamedByContent(source, image.type()) && image.isPlain();
}

std::filesystem::path plainPicture(const ImageSource &image, const std::filesystem::path &workFolder)
{
    std::filesystem::path picture = workFolder / "picture.png";
    ImageDestination destination = ImageDestination::createPlainPng(picture);
    destination.addImage(image.frame(0), {}, 1.0);
    destination.finalize();
    return picture;
}

} // namespace

std::filesystem::path WebpAssistance::pictureFor(const std::filesystem::path &source,
                                                 const std::filesystem::path &workFolder)
{
    try {
        const std::optional<ImageSource> image = ImageSource::open(source, workFolder);
        if (!image)
            throw ConversionError(QStringLiteral("Image non reconnue par macOS."));
        if (!engineShowsRight(source, *image))
            return plainPicture(*image, workFolder);
        image->verify();
        return source;
    } catch (const ImageReadError &error) {
        throw ConversionError(error.errorDescription());
    } catch (const ImageWriteError &error) {
        throw ConversionError(error.errorDescription());
    }
}

void WebpAssistance::carryMetadata(const std::filesystem::path &source, const std::filesystem::path &output)
{
    try {
        const std::optional<ImageSource> image = ImageSource::open(source, output.parent_path());
        if (!image)
            return;
        const FrameProperties properties = image->frameProperties(0);
        if (!properties.exif.isEmpty() || !properties.xmp.isEmpty())
            writeWebpMetadata(output, properties);
    } catch (const Error &) {
        // Pixels without metadata are better than no picture: the output stands as the engine left it.
    }
}

} // namespace quorvalent
