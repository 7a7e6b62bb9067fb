#include "fuzz/FuzzInputs.h"

#include "engine/ImageCheck.h"
#include "fuzz/FuzzFolder.h"
#include "media/ImageDestination.h"
#include "media/ImageEnd.h"
#include "media/ImageSignature.h"
#include "media/ImageSource.h"

#include <array>
#include <new>
#include <numeric>

namespace quorvalent::test {

namespace {

struct Target
{
    ImageType type;
    const char *name;
};

// HEIC comes last: its encoder alone takes longer than all the others together.
constexpr std::array targets{
    Target{ImageType::Png, "output.png"},   Target{ImageType::Jpeg, "output.jpg"},
    Target{ImageType::Tiff, "output.tiff"}, Target{ImageType::Gif, "output.gif"},
    Target{ImageType::Bmp, "output.bmp"},   Target{ImageType::Heic, "output.heic"},
};

// The same input goes the same way each time it is tried.
const Target &targetFor(std::span<const std::uint8_t> input)
{
    const auto sum = std::accumulate(input.begin(), input.end(), std::size_t{0},
                                     [](std::size_t s, std::uint8_t byte) { return s * 31 + byte; });
    constexpr std::size_t others = targets.size() - 1;
    return sum % 64 == 0 ? targets.back() : targets.at(sum / 64 % others);
}

// Keeps one input to milliseconds.
bool isSmall(const ImageSource &image)
{
    constexpr std::int64_t mostPixels = 40'000;
    constexpr int mostFrames = 40;
    std::int64_t pixels = 0;
    for (int i = 0; i < image.frameCount() && i < mostFrames && pixels <= mostPixels; ++i) {
        const ImageSize size = image.frameSize(i);
        pixels += std::int64_t{size.width} * size.height;
    }
    return image.frameCount() <= mostFrames && pixels <= mostPixels;
}

void look(const ImageSource &image)
{
    try {
        (void)image.isPlain();
        image.verify();
    } catch (const Error &) {
        // a conversion tries all the same
    }
}

// Whether all of the output is written.
bool convert(const ImageSource &image, const std::filesystem::path &output, ImageType type)
{
    const int count = image.frameCount();
    if (count > 1 && type != ImageType::Tiff && type != ImageType::Gif)
        return false;
    std::optional<ImageDestination> destination = ImageDestination::create(output, type, count);
    if (!destination)
        return false;
    destination->setProperties(image.properties());
    for (int i = 0; i < count; ++i)
        destination->addImage(image.frame(i), image.frameProperties(i), 0.8);
    destination->finalize();
    return true;
}

void requireDecodable(const std::filesystem::path &output, const std::filesystem::path &scratch)
{
    try {
        const std::optional<ImageSource> image = ImageSource::open(output, scratch);
        for (int i = 0; i < image->frameCount(); ++i)
            image->frame(i).decode();
    } catch (const Error &) {
        reportFault("what passes the check can be decoded");
    }
}

} // namespace

void tryPicture(std::span<const std::uint8_t> input)
{
    static const FuzzFolder folder;
    const std::filesystem::path source = folder.hold(input);
    const std::filesystem::path scratch = source.parent_path();
    const Target &target = targetFor(input);
    const std::filesystem::path output = folder / target.name;
    try {
        const std::optional<ImageType> type = imageTypeOf(source);
        if (type)
            (void)isWholeImageFile(source, *type);
        const std::optional<ImageSource> image = ImageSource::open(source, scratch);
        if (!image)
            return;
        if (static_cast<std::size_t>(image->frameCount()) > input.size())
            reportFault("no file has more frames than bytes");
        if (!isSmall(*image))
            return;
        look(*image);
        if (convert(*image, output, target.type) && imageMatches(source, output))
            requireDecodable(output, scratch);
    } catch (const Error &) {
        // refused
    } catch (const std::bad_alloc &) {
        // a library asked for more than there is
    }
    if (folder.entries() > 2)
        reportFault("only the output is left in the work folder");
}

} // namespace quorvalent::test
