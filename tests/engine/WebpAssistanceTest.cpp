#include "engine/WebpAssistance.h"
#include "core/ConversionError.h"
#include "engine/ImageCheck.h"
#include "media/ImageDestination.h"
#include "media/ImageSource.h"
#include "support/Pictures.h"
#include "support/TestFolder.h"
#include "support/TestMedia.h"

#include <gtest/gtest.h>

namespace quorvalent {
namespace {

using test::TestFolder;

std::filesystem::path jpeg(const TestFolder &folder, const char *name, int orientation)
{
    const std::filesystem::path bmp = folder.write("a.bmp", test::bmpBytes(test::fourFields(64, 32)));
    const std::optional<ImageSource> source = ImageSource::open(bmp, folder.path());
    std::optional<ImageDestination> destination = ImageDestination::create(folder / name, ImageType::Jpeg, 1);
    FrameProperties properties;
    properties.exif = QByteArray::fromStdString(test::exifBytes(orientation, true));
    properties.xmp = "<x:xmpmeta xmlns:x='adobe:ns:meta/'/>";
    destination->addImage(source->frame(0), properties, 1.0);
    destination->finalize();
    return folder / name;
}

std::filesystem::path webp(const TestFolder &folder, const std::filesystem::path &picture)
{
    return test::makeMedia(folder / "out.webp", {"-i", "file:" + picture.native(), "-c:v", "libwebp"});
}

TEST(WebpAssistance, leavesAPlainPictureToTheEngine)
{
    const TestFolder folder;
    const std::filesystem::path plain = jpeg(folder, "a.jpg", 1);
    EXPECT_EQ(WebpAssistance::pictureFor(plain, folder.path()), plain);
    EXPECT_FALSE(std::filesystem::exists(folder / "picture.png"));
}

// libvips ends the process at a picture of which shrinking leaves nothing.
TEST(WebpAssistance, takesAJpegThatIsSmallerThanOneOfItsBlocks)
{
    const TestFolder folder;
    for (const char *size : {"1:1", "48:4", "4:48", "7:7", "8:8"}) {
        const std::filesystem::path small = test::makeMedia(
            folder / "small.jpg", {"-f", "lavfi", "-i", "testsrc2=size=64x64", "-vf",
                                   std::string("format=yuvj444p,crop=") + size, "-frames:v", "1"});
        EXPECT_EQ(WebpAssistance::pictureFor(small, folder.path()), small) << size;
        std::filesystem::remove(small);
    }
}

TEST(WebpAssistance, turnsAPictureThatTheEngineWouldNot)
{
    const TestFolder folder;
    const std::filesystem::path picture = WebpAssistance::pictureFor(jpeg(folder, "a.jpg", 6), folder.path());
    EXPECT_EQ(picture, folder / "picture.png");
    const test::Picture seen = test::decodedByFfmpeg(picture, 32, 64);
    EXPECT_TRUE(test::near(seen.at(2, 2), test::blue, 3));
    EXPECT_TRUE(test::near(seen.at(29, 2), test::red, 3));
}

TEST(WebpAssistance, makesEightBitSrgbOfDeepCmykAndMisnamedPictures)
{
    const TestFolder folder;
    struct Case
    {
        const char *name;
        std::string bytes;
    };
    jpeg(folder, "a.jpg", 1);
    for (const Case &each : {Case{"a.tif", test::tiffBytes(4, 4, 2, 16, {9999, 0, 0})},
                             Case{"b.tif", test::tiffBytes(4, 4, 5, 8, {0, 255, 255, 0})},
                             Case{"c.png", folder.read("a.jpg")}}) {
        std::filesystem::remove(folder / "picture.png");
        EXPECT_EQ(WebpAssistance::pictureFor(folder.write(each.name, each.bytes), folder.path()),
                  folder / "picture.png");
        const std::string header = folder.read("picture.png").substr(24, 2);
        EXPECT_EQ(header, "\x08\x02") << each.name; // 8 bits, RGB
    }
}

TEST(WebpAssistance, refusesWhatTheEngineWouldTakeForWhole)
{
    const TestFolder folder;
    jpeg(folder, "a.jpg", 1);
    const std::string bytes = folder.read("a.jpg");
    const std::filesystem::path half = folder.write("b.jpg", bytes.substr(0, bytes.size() - 40));
    try {
        (void)WebpAssistance::pictureFor(half, folder.path());
        FAIL() << "a truncated picture was taken";
    } catch (const ConversionError &error) {
        EXPECT_EQ(error.errorDescription(), QStringLiteral("Lecture de l’image impossible."));
    }
}

TEST(WebpAssistance, carriesMetadataWithoutTouchingThePixels)
{
    const TestFolder folder;
    const std::filesystem::path source = jpeg(folder, "a.jpg", 6);
    const std::filesystem::path output = webp(folder, WebpAssistance::pictureFor(source, folder.path()));
    const test::Picture before = test::decodedByFfmpeg(output, 32, 64);

    WebpAssistance::carryMetadata(source, output);

    EXPECT_TRUE(imageMatches(source, output));
    EXPECT_EQ(test::decodedByFfmpeg(output, 32, 64).pixels, before.pixels);
    const FrameProperties kept = ImageSource::open(output, folder.path())->frameProperties(0);
    EXPECT_TRUE(kept.exif.contains("2021:05:04 03:02:01"));
    EXPECT_EQ(kept.xmp, "<x:xmpmeta xmlns:x='adobe:ns:meta/'/>");
    EXPECT_EQ(ImageSource::open(output, folder.path())->frameSize(0),
              (ImageSize{32, 64})); // not turned twice
    const std::string bytes = folder.read("out.webp");
    EXPECT_FALSE(imageMatches(source, folder.write("short.webp", bytes.substr(0, bytes.size() - 2))));
}

TEST(WebpAssistance, leavesTheOutputWhenMetadataCannotGoIn)
{
    const TestFolder folder;
    const std::filesystem::path output = folder.write("out.webp", "no WebP at all");
    WebpAssistance::carryMetadata(jpeg(folder, "a.jpg", 1), output);
    WebpAssistance::carryMetadata(folder / "missing.jpg", output);
    EXPECT_EQ(folder.read("out.webp"), "no WebP at all");
}

} // namespace
} // namespace quorvalent
