#include "engine/VideoEngine.h"

#include "core/ConversionError.h"
#include "media/MovieIndex.h"
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
        runVideoEngine(source, folder / target.name, 0, ignoreProgress);
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
        runVideoEngine(source, output, level, ignoreProgress);
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

    runVideoEngine(source, folder / "b.mp4", 1,
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

// What the conversion to MPEG-4 fails with, having written nothing.
std::string refusalOf(const TestFolder &folder, const fs::path &source)
{
    try {
        runVideoEngine(source, folder / "b.mp4", 0, ignoreProgress);
    } catch (const ConversionError &error) {
        EXPECT_FALSE(fs::exists(folder / "b.mp4"));
        return error.what();
    }
    return "no failure";
}

TEST(VideoEngine, saysWhatItCannotConvertBeforeAnythingIsWritten)
{
    const TestFolder folder;
    const std::string noSession =
        "Vidéo incompatible avec le moteur Apple. Le moteur intégré sera utilisé si disponible.";
    EXPECT_EQ(refusalOf(folder, folder.write("text.mov", "no movie")), noSession);

    const fs::path cutOff = clip(folder / "cut.mov");
    makeMedia(folder / "front.mov",
              {"-i", "file:" + cutOff.native(), "-c", "copy", "-movflags", "+faststart"});
    truncate(folder / "front.mov", 0.6);
    EXPECT_EQ(refusalOf(folder, folder / "front.mov"), noSession);

    // More channels than AAC has: QuickTime carries them as they are, MPEG-4 cannot.
    const fs::path crowded =
        makeMedia(folder / "crowded.mov",
                  {"-f", "lavfi", "-i", "testsrc2=duration=0.2", "-f", "lavfi", "-i",
                   "aevalsrc=0|0|0|0|0|0|0|0|0|0|0|0|0|0|0|0:c=hexadecagonal:d=0.2", "-c:a", "pcm_s16le"});
    EXPECT_EQ(refusalOf(folder, crowded), "Conteneur vidéo non disponible avec le moteur Apple.");
}

TEST(VideoEngine, namesTheFailureOfTheExport)
{
    const TestFolder folder;
    const fs::path source = clip(folder / "a.mov");
    const fs::path taken = folder.write("b.mp4", "the user's own");

    EXPECT_THROW(runVideoEngine(source, taken, 0, ignoreProgress), Error);
    EXPECT_EQ(folder.read("b.mp4"), "the user's own");
}

} // namespace

} // namespace quorvalent::test
