#include "engine/ImageCheck.h"

#include "media/ImageEnd.h"
#include "media/ImageSignature.h"
#include "media/ImageSource.h"
#include "platform/Error.h"

namespace quorvalent {

namespace {

bool framesMatch(const ImageSource &source, const ImageSource &output)
{
    if (output.frameCount() != source.frameCount())
        return false;
    const ImageSize canvas = source.properties().canvas;
    for (int i = 0; i < source.frameCount(); ++i) {
        // All frames of a GIF stand on one canvas.
        const ImageSize expected = output.type() == ImageType::Gif ? canvas : source.frameSize(i);
        if (output.frameSize(i) != expected)
            return false;
    }
    return true;
}

} // namespace

bool imageMatches(const std::filesystem::path &source, const std::filesystem::path &output)
{
    const std::optional<ImageType> named = imageTypeNamed(displayText(output.extension()).mid(1));
    if (!named || imageTypeOf(output) != named || !isWholeImageFile(output, *named))
        return false;
    try {
        const std::filesystem::path scratchFolder = output.parent_path();
        const std::optional<ImageSource> before = ImageSource::open(source, scratchFolder);
        const std::optional<ImageSource> after = ImageSource::open(output, scratchFolder);
        return before && after && framesMatch(*before, *after);
    } catch (const ImageReadError &) {
        return false;
    }
}

} // namespace quorvalent
