#include "convert/Converter.h"

#include "core/ConversionError.h"
#include "platform/MovieIndex.h"
#include "support/TestFolder.h"
#include "support/TestMedia.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

namespace quorvalent::test {

namespace {

namespace fs = std::filesystem;
using namespace Qt::StringLiterals;

fs::path clip(const fs::path &path, const std::string &seconds = "1")
{
    return makeMedia(path, {"-f", "lavfi", "-i", "testsrc2=size=640x480:rate=25:duration=" + seconds, "-f",
                            "lavfi", "-i", "sine=duration=" + seconds, "-c:v", "libx264", "-preset",
                            "ultrafast", "-c:a", "aac"});
}

void ignoreProgress(std::optional<double> /*fraction*/) {}

TEST(VideoEngine, writesTheContainerThatTheExtensionNames)
{
    const TestFolder folder;
    const fs::path source = clip(folder / "a.mov");
    struct
    {
        const char *name;
        const char *brand;
    } const targets[] = {{"b.mp4", "isom"}, {"b.mov", "qt  "}, {"b.m4v", "M4V "}, {"b.MOV", "isom"}};

    for (const auto &target : targets) {
        Converter::video(source, folder / target.name, 0, ignoreProgress);
        const MovieIndex index = MovieIndex::read(folder / target.name).value();
        EXPECT_EQ(index.brand, target.brand) << target.name;
        EXPECT_TRUE(index.precedesData) << target.name;
        EXPECT_EQ(index.tracks.at(0).samples, 25U) << target.name;
    }
}

TEST(VideoEngine, takesThePresetOfTheLevel)
{
    const TestFolder folder;
    const fs::path source = clip(folder / "a.mov");
    const auto sizeAt = [&](qint64 level) {
        const fs::path output = folder / ("level" + std::to_string(level) + ".mp4");
        Converter::video(source, output, level, ignoreProgress);
        return fs::file_size(output);
    };

    const auto high = sizeAt(0);
    const auto medium = sizeAt(1);
    const auto low = sizeAt(2);
    EXPECT_GT(high, medium);
    EXPECT_GT(medium, low);
    EXPECT_EQ(sizeAt(3), low);
    EXPECT_EQ(sizeAt(-1), low);
}

TEST(VideoEngine, reportsRisingProgressOnTheCallingThread)
{
    const TestFolder folder;
    const fs::path source = clip(folder / "a.mov", "8");
    std::vector<double> fractions;
    bool isCallingThread = true;

    Converter::video(source, folder / "b.mp4", 1,
                     [&, caller = std::this_thread::get_id()](std::optional<double> f) {
                         fractions.push_back(f.value());
                         isCallingThread = isCallingThread && std::this_thread::get_id() == caller;
                     });

    ASSERT_FALSE(fractions.empty());
    EXPECT_TRUE(isCallingThread);
    EXPECT_TRUE(std::is_sorted(fractions.begin(), fractions.end()));
    EXPECT_GT(fractions.back(), 0);
    EXPECT_LE(fractions.back(), 0.98);
}

struct RefusalCase
{
    const char *name;
    const char *sentence;
    fs::path (*source)(const TestFolder &folder);
};

void PrintTo(const RefusalCase &value, std::ostream *out)
{
    *out << value.name;
}

class RefusedVideo : public testing::TestWithParam<RefusalCase>
{};

TEST_P(RefusedVideo, saysSoBeforeAnythingIsWritten)
{
    const TestFolder folder;
    const fs::path source = GetParam().source(folder);
    try {
        Converter::video(source, folder / "b.mp4", 0, ignoreProgress);
        FAIL() << "no failure";
    } catch (const ConversionError &error) {
        EXPECT_STREQ(error.what(), GetParam().sentence);
    }
    EXPECT_EQ(folder.listing(), (std::vector<std::string>{source.filename().native()}));
}

INSTANTIATE_TEST_SUITE_P(
    Sources, RefusedVideo,
    testing::Values(
        RefusalCase{"noVideo",
                    "Vidéo incompatible avec le moteur Apple. Le moteur intégré sera utilisé si disponible.",
                    [](const TestFolder &folder) { return folder.write("a.mov", "no movie"); }},
        RefusalCase{"cutOff",
                    "Vidéo incompatible avec le moteur Apple. Le moteur intégré sera utilisé si disponible.",
                    [](const TestFolder &folder) {
                        const fs::path path =
                            makeMedia(folder / "a.mov", {"-f", "lavfi", "-i", "testsrc2=duration=1",
                                                         "-movflags", "+faststart"});
                        truncate(path, 0.6);
                        return path;
                    }},
        // More channels than AAC has: QuickTime carries them as they are, MPEG-4 cannot.
        RefusalCase{"noSuchContainer", "Conteneur vidéo non disponible avec le moteur Apple.",
                    [](const TestFolder &folder) {
                        return makeMedia(folder / "a.mov",
                                         {"-f", "lavfi", "-i", "testsrc2=duration=0.2", "-f", "lavfi", "-i",
                                          "aevalsrc=0|0|0|0|0|0|0|0|0|0|0|0|0|0|0|0:c=hexadecagonal:d=0.2",
                                          "-c:a", "pcm_s16le"});
                    }}),
    [](const auto &test) { return std::string(test.param.name); });

TEST(VideoEngine, namesTheFailureOfTheExport)
{
    const TestFolder folder;
    const fs::path source = clip(folder / "a.mov");
    const fs::path taken = folder.write("b.mp4", "the user's own");

    EXPECT_THROW(Converter::video(source, taken, 0, ignoreProgress), Error);
    EXPECT_EQ(folder.read("b.mp4"), "the user's own");
}

} // namespace

} // namespace quorvalent::test
