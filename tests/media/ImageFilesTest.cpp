#include "media/ImageDestination.h"
#include "media/ImageEnd.h"
#include "media/ImageSignature.h"
#include "media/ImageSource.h"
#include "support/Pictures.h"
#include "support/TestFolder.h"

#include <gtest/gtest.h>

#include <ostream>

namespace quorvalent {

void PrintTo(ImageType type, std::ostream *out)
{
    *out << static_cast<int>(type);
}

namespace {

using namespace std::chrono_literals;
using test::Picture;
using test::TestFolder;

constexpr std::array writtenTypes{ImageType::Jpeg, ImageType::Png, ImageType::Heic,
                                  ImageType::Tiff, ImageType::Gif, ImageType::Bmp};

ImageSource opened(const std::filesystem::path &path)
{
    std::optional<ImageSource> source = ImageSource::open(path, path.parent_path());
    if (!source)
        throw ImageReadError();
    return std::move(*source);
}

struct Page
{
    Picture picture;
    FrameProperties properties;
};

std::filesystem::path written(const TestFolder &folder, const char *name, ImageType type,
                              const std::vector<Page> &pages, std::optional<int> loopCount = {})
{
    std::optional<ImageDestination> destination =
        ImageDestination::create(folder / name, type, static_cast<int>(pages.size()));
    ContainerProperties container{loopCount, {}};
    for (const Page &page : pages) {
        container.canvas.width = std::max(container.canvas.width, page.picture.width);
        container.canvas.height = std::max(container.canvas.height, page.picture.height);
    }
    destination->setProperties(container);
    for (const Page &page : pages) {
        const std::filesystem::path bmp = folder.write("page.bmp", test::bmpBytes(page.picture));
        destination->addImage(opened(bmp).frame(0), page.properties, 1.0);
    }
    destination->finalize();
    std::filesystem::remove(folder / "page.bmp");
    return folder / name;
}

std::filesystem::path copied(const std::filesystem::path &from, const std::filesystem::path &to,
                             ImageType type)
{
    const ImageSource source = opened(from);
    std::optional<ImageDestination> destination = ImageDestination::create(to, type, source.frameCount());
    destination->setProperties(source.properties());
    for (int i = 0; i < source.frameCount(); ++i)
        destination->addImage(source.frame(i), source.frameProperties(i), 1.0);
    destination->finalize();
    return to;
}

Page noisyPage()
{
    Picture picture = test::plain(64, 48, test::white);
    std::uint32_t state = 1;
    for (test::Colour &colour : picture.pixels) {
        for (std::size_t channel = 0; channel < 3; ++channel) {
            state = state * 1664525U + 1013904223U;
            colour.at(channel) = static_cast<std::uint8_t>(state >> 24U);
        }
    }
    return {picture, {}};
}

class EachType : public testing::TestWithParam<ImageType>
{};
INSTANTIATE_TEST_SUITE_P(Images, EachType, testing::ValuesIn(writtenTypes));

TEST_P(EachType, isToldByContentAndKnownToBeWhole)
{
    const TestFolder folder;
    const std::filesystem::path path = written(folder, "a", GetParam(), {noisyPage()});
    const std::string bytes = folder.read("a");

    EXPECT_EQ(imageTypeOf(path), GetParam());
    EXPECT_TRUE(isWholeImageFile(path, GetParam()));
    EXPECT_EQ(opened(path).frameSize(0), (ImageSize{64, 48}));
    EXPECT_EQ(folder.listing(), std::vector<std::string>{"a"}); // no scratch file
    EXPECT_FALSE(isWholeImageFile(folder.write("b", bytes.substr(0, bytes.size() - 1)), GetParam()));
}

TEST_P(EachType, cutInHalfIsAReadingFailure)
{
    const TestFolder folder;
    written(folder, "a", GetParam(), {noisyPage()});
    const std::string bytes = folder.read("a");
    const std::filesystem::path half = folder.write("half", bytes.substr(0, bytes.size() / 2));

    EXPECT_THROW(copied(half, folder / "b", ImageType::Png), ImageReadError);
    // Many times, because libvips loses the error of a last strip only when its threads happen to race.
    for (int i = 0; i < 50; ++i)
        EXPECT_THROW(opened(half).verify(), ImageReadError);
}

TEST_P(EachType, withoutAPlaceIsAWritingFailure)
{
    const TestFolder folder;
    const std::filesystem::path source = written(folder, "a", ImageType::Png, {noisyPage()});
    EXPECT_THROW(copied(source, folder / "missing" / "b", GetParam()), ImageWriteError);
}

class EachOrientation : public testing::TestWithParam<int>
{};
INSTANTIATE_TEST_SUITE_P(Images, EachOrientation, testing::Range(1, 9));

TEST_P(EachOrientation, becomesPixels)
{
    // Which corners of the stored picture stand top left, top right, bottom left, as EXIF 2.32 defines.
    constexpr std::array<std::array<test::Colour, 3>, 8> corners{{
        {test::red, test::green, test::blue},
        {test::green, test::red, test::white},
        {test::white, test::blue, test::green},
        {test::blue, test::white, test::red},
        {test::red, test::blue, test::green},
        {test::blue, test::red, test::white},
        {test::white, test::green, test::blue},
        {test::green, test::white, test::red},
    }};
    const TestFolder folder;
    FrameProperties properties;
    properties.exif = QByteArray::fromStdString(test::exifBytes(GetParam(), false));
    const std::filesystem::path source =
        written(folder, "a", ImageType::Jpeg, {{test::fourFields(64, 32), properties}});

    const std::filesystem::path result = copied(source, folder / "b", ImageType::Png);

    const bool lying = GetParam() >= 5;
    const int width = lying ? 32 : 64;
    const int height = lying ? 64 : 32;
    EXPECT_EQ(opened(source).frameSize(0), (ImageSize{width, height}));
    EXPECT_EQ(opened(source).isPlain(), GetParam() == 1);
    const Picture picture = test::decodedByFfmpeg(result, width, height);
    const auto &expected = corners.at(static_cast<std::size_t>(GetParam() - 1));
    constexpr int jpegLoss = 3;
    EXPECT_TRUE(test::near(picture.at(2, 2), expected[0], jpegLoss));
    EXPECT_TRUE(test::near(picture.at(width - 3, 2), expected[1], jpegLoss));
    EXPECT_TRUE(test::near(picture.at(2, height - 3), expected[2], jpegLoss));
}

class MetadataCarrier : public testing::TestWithParam<ImageType>
{};
INSTANTIATE_TEST_SUITE_P(Images, MetadataCarrier,
                         testing::Values(ImageType::Jpeg, ImageType::Png, ImageType::Heic, ImageType::Tiff));

TEST_P(MetadataCarrier, bringsEverythingBack)
{
    const TestFolder folder;
    FrameProperties properties;
    properties.exif = QByteArray::fromStdString(test::exifBytes(1, true));
    properties.xmp = "<x:xmpmeta xmlns:x='adobe:ns:meta/'/>";
    properties.iptc = QByteArray("\x1c\x02\x50\0\3Ann", 8);
    const std::filesystem::path jpeg =
        written(folder, "a", ImageType::Jpeg, {{test::fourFields(16, 16), properties}});

    const std::filesystem::path back =
        copied(copied(jpeg, folder / "b", GetParam()), folder / "c", ImageType::Jpeg);

    const FrameProperties kept = opened(back).frameProperties(0);
    EXPECT_TRUE(kept.exif.contains("2021:05:04 03:02:01"));
    EXPECT_EQ(kept.xmp, properties.xmp);
    const bool holdsIptc = GetParam() != ImageType::Heic;
    EXPECT_EQ(kept.iptc, holdsIptc ? properties.iptc : QByteArray());
}

TEST(Animation, keepsFramesDelaysAndLoopsThroughTiff)
{
    const TestFolder folder;
    FrameProperties fast;
    fast.delay = 70ms;
    FrameProperties slow;
    slow.delay = 1500ms;
    const std::filesystem::path gif =
        written(folder, "a", ImageType::Gif,
                {{test::plain(8, 6, test::red), fast}, {test::plain(8, 6, test::blue), slow}}, 5);

    const std::filesystem::path back =
        copied(copied(gif, folder / "b", ImageType::Tiff), folder / "c", ImageType::Gif);

    const ImageSource source = opened(back);
    ASSERT_EQ(source.frameCount(), 2);
    EXPECT_EQ(source.frameProperties(0).delay, 70ms);
    EXPECT_EQ(source.frameProperties(1).delay, 1500ms);
    EXPECT_EQ(source.properties().loopCount, 5);
    EXPECT_EQ(test::decodedByFfmpeg(folder / "b", 8, 6).at(7, 5), test::red);
}

// Upside down through a PNG that says so: its pixels have to be in memory, as those of an animation's frames
// are.
std::filesystem::path turnedIntoTiff(const TestFolder &folder, Picture picture)
{
    std::ranges::reverse(picture.pixels);
    FrameProperties upsideDown;
    upsideDown.exif = QByteArray::fromStdString(test::exifBytes(3, false));
    return copied(written(folder, "a.png", ImageType::Png, {{picture, upsideDown}}), folder / "a.tif",
                  ImageType::Tiff);
}

struct ColourCount
{
    int colours;
    test::Colour last;
};

class TiffColours : public testing::TestWithParam<ColourCount>
{};

INSTANTIATE_TEST_SUITE_P(AroundAFullPalette, TiffColours,
                         testing::Values(ColourCount{1, test::red}, ColourCount{256, test::red},
                                         ColourCount{257, test::red}, ColourCount{2, test::clear}));

TEST_P(TiffColours, areThoseOfTheFrame)
{
    Picture picture = test::plain(32, 16, GetParam().last);
    for (int at = 0; at + 1 < GetParam().colours; ++at) {
        const auto low = static_cast<std::uint8_t>(at);
        picture.pixels[static_cast<std::size_t>(at) + 100] = {low, static_cast<std::uint8_t>(255 - low), 7,
                                                              255};
    }
    const TestFolder folder;
    EXPECT_EQ(test::decodedByFfmpeg(turnedIntoTiff(folder, picture), 32, 16).pixels, picture.pixels);
}

TEST(TiffPalette, holdsDitherAndRunsOverSeveralStrips)
{
    for (const std::size_t run : {std::size_t{1}, std::size_t{50}}) {
        const TestFolder folder;
        Picture picture = test::plain(400, 400, test::red);
        for (std::size_t at = 0; at < picture.pixels.size(); ++at) {
            if (at / run % 2 == 0)
                picture.pixels[at] = test::blue;
        }
        const std::filesystem::path file = turnedIntoTiff(folder, picture);
        EXPECT_EQ(test::decodedByFfmpeg(file, 400, 400).pixels, picture.pixels);
        // A byte a pixel, unless runs make it less.
        EXPECT_EQ(std::filesystem::file_size(file) > picture.pixels.size(), run == 1);
    }
}

TEST(Pages, ofDifferentSizesKeepThemInTiffAndShareACanvasInGif)
{
    const TestFolder folder;
    const std::filesystem::path tiff =
        written(folder, "a", ImageType::Tiff,
                {{test::plain(8, 4, test::red), {}}, {test::plain(4, 10, test::blue), {}}});
    EXPECT_EQ(opened(tiff).frameSize(1), (ImageSize{4, 10}));

    const std::filesystem::path gif = copied(tiff, folder / "b", ImageType::Gif);

    const ImageSource source = opened(gif);
    ASSERT_EQ(source.frameCount(), 2);
    EXPECT_EQ(source.frameSize(1), (ImageSize{8, 10}));
    EXPECT_EQ(source.frameProperties(0).delay, 1000ms);
    const Picture first = test::decodedByFfmpeg(gif, 8, 10);
    EXPECT_EQ(first.at(4, 5), test::red);
    EXPECT_EQ(first.at(4, 0).back(), 0); // nothing there
}

TEST(Depth, ofSixteenBitsStaysWhereItFits)
{
    const TestFolder folder;
    const std::filesystem::path tiff =
        folder.write("a", test::tiffBytes(4, 4, 2, 16, {0x1234, 0xabcd, 0x00ff}));
    const std::filesystem::path png = copied(tiff, folder / "b", ImageType::Png);
    EXPECT_EQ(folder.read("b").at(24), 16); // the header's bits per sample

    copied(copied(png, folder / "c", ImageType::Tiff), folder / "d", ImageType::Bmp);

    EXPECT_TRUE(test::near(test::decodedByFfmpeg(folder / "d", 4, 4).at(3, 3), {0x12, 0xab, 0, 255}, 1));
}

TEST(Cmyk, staysInTiffAndBecomesSrgbElsewhere)
{
    const TestFolder folder;
    const std::filesystem::path cmyk = folder.write("a", test::tiffBytes(16, 16, 5, 8, {0, 255, 255, 0}));
    const test::Colour printedRed{232, 0, 17,
                                  255}; // by the profile built into libvips; plain arithmetic: 255, 0, 0

    copied(cmyk, folder / "b", ImageType::Png);
    copied(copied(cmyk, folder / "kept", ImageType::Tiff), folder / "c", ImageType::Jpeg);

    EXPECT_FALSE(opened(folder / "kept").isPlain());
    for (const char *name : {"b", "c"}) {
        const test::Colour seen = test::decodedByFfmpeg(folder / name, 16, 16).at(8, 8);
        EXPECT_TRUE(test::near(seen, printedRed, 8)) << name << ' ' << testing::PrintToString(seen);
    }
}

TEST(Quality, isPaidForInBytes)
{
    const TestFolder folder;
    const std::filesystem::path png = written(folder, "a", ImageType::Png, {noisyPage()});
    for (const ImageType type : {ImageType::Jpeg, ImageType::Heic}) {
        std::uintmax_t previous = 0;
        for (const double quality : {0.0, 0.5, 1.0}) {
            const std::filesystem::path path = folder / "b";
            std::filesystem::remove(path);
            std::optional<ImageDestination> destination = ImageDestination::create(path, type, 1);
            ASSERT_TRUE(destination) << ImageDestination::missingPart(type).value_or(QString()).toStdString();
            destination->addImage(opened(png).frame(0), {}, quality);
            destination->finalize();
            EXPECT_GT(std::filesystem::file_size(path), previous);
            previous = std::filesystem::file_size(path);
        }
    }
}

TEST(ImageSource, isNothingForWhatIsNoImage)
{
    const TestFolder folder;
    for (const char *bytes :
         {"", "BM is a way to begin a text as good as any", "<svg xmlns='http://www.w3.org/2000/svg'/>",
          "P6 1 1 255 abc", "GIF89a and then nothing"})
        EXPECT_FALSE(ImageSource::open(folder.write("a", bytes), folder.path())) << bytes;
    EXPECT_FALSE(ImageSource::open(folder / "missing", folder.path()));
}

} // namespace
} // namespace quorvalent
