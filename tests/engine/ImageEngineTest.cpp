#include "engine/ImageEngine.h"
#include "core/ConversionError.h"
#include "engine/ImageCheck.h"
#include "engine/ImageFamily.h"
#include "media/ImageSource.h"
#include "support/FreshProcess.h"
#include "support/Pictures.h"
#include "support/TestFolder.h"

#include <sys/resource.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <new>
#include <ostream>

namespace quorvalent {
namespace {

using test::TestFolder;

void ignore(std::optional<double>) {}

std::filesystem::path bmp(const TestFolder &folder, const test::Picture &picture)
{
    return folder.write("a.bmp", test::bmpBytes(picture));
}

/// A GIF of four frames, by hand: 1 × 1 pixel each.
std::string fourFrames()
{
    const std::string frame("\x21\xf9\4\0\x0a\0\0\0\x2c\0\0\0\0\1\0\1\0\0\2\2\x44\1\0", 23);
    return std::string("GIF89a\1\0\1\0\x80\0\0\xff\0\0\0\0\xff", 19) + frame + frame + frame + frame + ";";
}

QString failure(const std::filesystem::path &source, const std::filesystem::path &output)
{
    try {
        runImageEngine(source, output, 1.0, ignore);
    } catch (const ConversionError &error) {
        return error.errorDescription();
    }
    return {};
}

struct RefusalCase
{
    const char *name;
    std::string source;
    const char *output;
    const char16_t *sentence;
};

void PrintTo(const RefusalCase &refusal, std::ostream *out)
{
    *out << refusal.name;
}

class ImageRefusal : public testing::TestWithParam<RefusalCase>
{};

TEST_P(ImageRefusal, saysWhyAndWritesNothing)
{
    const TestFolder folder;
    const std::filesystem::path source = folder.write("source", GetParam().source);
    EXPECT_EQ(failure(source, folder / GetParam().output), QString::fromUtf16(GetParam().sentence));
    EXPECT_EQ(folder.listing(), std::vector<std::string>{"source"});
}

constexpr const char16_t *unknownImage = u"Image non reconnue par macOS.";
constexpr const char16_t *unknownTarget = u"Format image non pris en charge.";
constexpr const char16_t *severalPages =
    u"Cette image contient plusieurs pages ou une animation. Choisissez GIF ou "
    u"TIFF pour les conserver.";
constexpr const char16_t *unreadable = u"Lecture de l’image impossible.";
const std::string still = test::bmpBytes(test::plain(1, 1, test::red));
// A whole PNG without a size.
const std::string headless("\x89PNG\r\n\x1a\n\0\0\0\0IEND\xae\x42\x60\x82", 20);
// Its chain goes on behind the end of the file.
const std::string pageMissing = [] {
    std::string tiff = test::tiffBytes(2, 2, 1, 8, {7});
    return tiff.replace(8 + 2 + 9 * 12, 4, std::string("\xff\xff\0\0", 4));
}();

INSTANTIATE_TEST_SUITE_P(
    OfEachKind, ImageRefusal,
    testing::Values(RefusalCase{"noImage", "hello, world", "o.png", unknownImage},
                    RefusalCase{"noImageToNoTarget", "hello, world", "o.xyz", unknownImage},
                    RefusalCase{"unknownTarget", still, "o.xyz", unknownTarget},
                    RefusalCase{"webpIsNotOurs", still, "o.webp", unknownTarget},
                    RefusalCase{"animationToUnknown", fourFrames(), "o.webp", unknownTarget},
                    RefusalCase{"animationToPng", fourFrames(), "o.PNG", severalPages},
                    RefusalCase{"animationToHeic", fourFrames(), "o.heic", severalPages},
                    RefusalCase{"animationToBmp", fourFrames(), "o.bmp", severalPages},
                    RefusalCase{"headersNobodyReads", headless, "o.jpg", unknownImage},
                    RefusalCase{"breaksOff", still.substr(0, still.size() - 1), "o.jpg", unreadable},
                    RefusalCase{"animationBreaksOff", fourFrames().substr(0, 70), "o.gif", unreadable},
                    RefusalCase{"pageIsNotThere", pageMissing, "o.gif", unreadable},
                    RefusalCase{"pageIsNotThereToPng", pageMissing, "o.png", severalPages}),
    [](const auto &row) { return row.param.name; });

TEST(ImageEngine, reportsEachFrameUpToNineTenths)
{
    const TestFolder folder;
    std::vector<double> fractions;
    runImageEngine(folder.write("a.gif", fourFrames()), folder / "b.tif", 1.0,
                   [&](std::optional<double> fraction) { fractions.push_back(fraction.value()); });
    EXPECT_THAT(fractions, testing::ElementsAre(0.225, 0.45, testing::DoubleEq(0.675), 0.9));
    EXPECT_TRUE(imageMatches(folder / "a.gif", folder / "b.tif"));
}

TEST(ImageEngine, saysThatTheOutputCouldNotBeWritten)
{
    const TestFolder folder;
    EXPECT_EQ(failure(bmp(folder, test::plain(2, 2, test::red)), folder / "missing" / "b.jpg"),
              QStringLiteral("Écriture de l’image impossible."));
    EXPECT_EQ(
        failure(bmp(folder, test::plain(70'000, 1, test::red)), folder / "b.jpg"), // JPEG ends at 65 535
        QStringLiteral("Écriture de l’image impossible."));
}

TEST(ImageEngine, flattensOnWhiteForJpegAndKeepsAlphaForPng)
{
    const TestFolder folder;
    const std::filesystem::path source = bmp(folder, test::plain(16, 16, test::clear));
    runImageEngine(source, folder / "b.jpg", 1.0, ignore);
    runImageEngine(source, folder / "b.png", 1.0, ignore);
    EXPECT_EQ(test::decodedByFfmpeg(folder / "b.jpg", 16, 16).at(8, 8), test::white);
    EXPECT_EQ(test::decodedByFfmpeg(folder / "b.png", 16, 16).at(8, 8).back(), 0);
}

TEST(ImageFamily, keepsTheOriginalForWhatNoTargetTakesAlong)
{
    const TestFolder folder;
    runImageEngine(bmp(folder, test::plain(16, 16, test::red)), folder / "plain.jpg", 1.0, ignore);
    const std::string picture = folder.read("plain.jpg");
    folder.write("motion.jpg", picture + std::string("\0\0\0\x10"
                                                     "ftypisom\0\0\0\0\0\0\0\x08moov",
                                                     24));
    const auto report = [&](const char *source) {
        const EngineProtocol::Conversion conversion{
            .engine = EngineProtocol::EngineKind::Image, .files = {}, .imageQuality = 1.0};
        return ImageFamily({}).convert(conversion, folder / source, folder / (source + std::string(".png")),
                                       ignore);
    };
    EXPECT_EQ(report("plain.jpg"), EngineReport());
    EXPECT_EQ(report("motion.jpg"),
              (EngineReport{{QStringLiteral("Vidéo de la photo animée omise.")}, true}));
}

class EachTarget : public testing::TestWithParam<const char *>
{};
INSTANTIATE_TEST_SUITE_P(Images, EachTarget,
                         testing::Values("jpg", "JPEG", "png", "heic", "heif", "tif", "tiff", "gif", "bmp"));

TEST_P(EachTarget, passesTheCheckAndNothingElseDoes)
{
    const TestFolder folder;
    const std::filesystem::path source = bmp(folder, test::fourFields(21, 13));
    const std::filesystem::path output = folder / ("out." + std::string(GetParam()));

    runImageEngine(source, output, 0.8, ignore);

    EXPECT_TRUE(imageMatches(source, output));
    const std::filesystem::path other = folder.write("other.bmp", test::bmpBytes(test::fourFields(21, 14)));
    EXPECT_FALSE(imageMatches(other, output));
    EXPECT_FALSE(imageMatches(folder.write("four.gif", fourFrames()), output));
    const std::string bytes = folder.read(output.filename());
    EXPECT_FALSE(imageMatches(source, folder.write("misnamed.webp", bytes)));
    folder.write(output.filename(), bytes.substr(0, bytes.size() / 2));
    EXPECT_FALSE(imageMatches(source, output));
    EXPECT_FALSE(imageMatches(source, folder / "missing.png"));
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // what these reserve has no limit

// Private memory of this process, in bytes.
rlim_t memoryInUse()
{
    std::ifstream status("/proc/self/status");
    std::string word;
    rlim_t kilobytes = 0;
    while (status >> word && word != "VmData:") {
    }
    status >> kilobytes;
    return kilobytes * 1024;
}

// The orientation takes the place of the number of samples, which is 1 where nothing is said.
std::string lying(std::string tiff)
{
    constexpr std::size_t seventhTag = 8 + 2 + 6 * 12;
    EXPECT_EQ(tiff.substr(seventhTag, 2), "\x15\1");
    tiff[seventhTag] = '\x12';
    tiff[seventhTag + 8] = 6;
    return tiff;
}

TEST(ImageEngineTest, doesNotTakeAWantOfMemoryForADamagedPicture)
{
    EXPECT_TRUE(test::holdsWithoutRights([] {
        // Lying on its side, it has to be turned, in memory: 64 MB.
        const TestFolder folder;
        const std::filesystem::path source =
            folder.write("a.tiff", lying(test::tiffBytes(8000, 8000, 1, 8, {7})));
        ImageSource::prepare();
        const rlim_t allowed = memoryInUse() + (40UL << 20U);
        const rlimit limit = {.rlim_cur = allowed, .rlim_max = allowed};
        if (::setrlimit(RLIMIT_DATA, &limit) != 0)
            return false;
        try {
            runImageEngine(source, folder / "a.png", 1.0, ignore);
        } catch (const std::bad_alloc &) {
            return true;
        }
        return false;
    }));
}

#endif

} // namespace
} // namespace quorvalent
