#include "convert/Converter.h"

#include "convert/HelperEngines.h"
#include "core/ConversionError.h"
#include "support/TestFolder.h"
#include "support/TestMedia.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string_view>

// The engines as the program calls them: in the bundle's helper, in its cage.

namespace quorvalent::test {

namespace {

namespace fs = std::filesystem;
using Run = std::function<void(const fs::path &source, const fs::path &output, const Progress &)>;

struct Row
{
    const char *source, *output;
    Run run;
    std::string beginning;
    double most; ///< progress
};

std::vector<Row> rows()
{
    const auto external = [](auto &source, auto &output, auto &progress) {
        Converter::external(source, output, {}, progress);
    };
    return {
        {"a.png", "b.jpg",
         [](auto &source, auto &output, auto &progress) { Converter::image(source, output, 1.0, progress); },
         "\xff\xd8\xff", 0.9},
        {"a.wav", "b.m4a",
         [](auto &source, auto &output, auto &progress) { Converter::audio(source, output, 128, progress); },
         std::string("\0\0\0", 3), 0.98},
        {"a.mov", "b.mp4",
         [](auto &source, auto &output, auto &progress) { Converter::video(source, output, 2, progress); },
         std::string("\0\0\0", 3), 0.98},
        {"a.wav", "b.flac", external, "fLaC", 0.98},
        {"a.png", "b.webp", external, "RIFF", 0.98}};
}

TEST(Converter, runsEveryEngineInTheHelper)
{
    const TestFolder folder;
    makeMedia(folder / "a.png", {"-f", "lavfi", "-i", "testsrc=size=64x48", "-frames:v", "1"});
    makeMedia(folder / "a.wav", {"-f", "lavfi", "-i", "sine=duration=1"});
    makeMedia(folder / "a.mov", {"-f", "lavfi", "-i", "testsrc=size=64x48:duration=1"});
    for (const Row &row : rows()) {
        SCOPED_TRACE(row.output);
        double most = 0;
        const fs::path output = folder / row.output;
        row.run(folder / row.source, output,
                [&](std::optional<double> fraction) { most = std::max(most, fraction.value_or(0.0)); });
        EXPECT_THAT(folder.read(row.output), testing::StartsWith(row.beginning));
        EXPECT_LE(most, row.most);
        fs::remove(output);

        folder.write("broken.dat", "no media");
        EXPECT_THROW(row.run(folder / "broken.dat", output, [](auto) {}), ConversionError);
    }
}

// What a library or a probe does in the cage only for some files.
TEST(Converter, readsInTheCageWhatItWrites)
{
    const TestFolder folder;
    makeMedia(folder / "a.png", {"-f", "lavfi", "-i", "testsrc=size=64x48", "-frames:v", "1"});
    Converter::image(folder / "a.png", folder / "b.heic", 1.0, {}); // nobody wants to know how far it is
    Converter::image(folder / "b.heic", folder / "c.jpg", 1.0, [](auto) {});
    EXPECT_THAT(folder.read("c.jpg"), testing::StartsWith("\xff\xd8\xff"));

    makeMedia(folder / "a.mkv", {"-f", "lavfi", "-i", "testsrc=size=64x48:duration=1"});
    HelperEngines engines;
    engines.begin({folder.path(), {}}, EngineHelper::Family::Media);
    for (const char *const target : {"b.mp4", "b.avi", "b.webm"}) {
        const auto engine = std::string_view(target) == "b.mp4" ? EngineProtocol::EngineKind::Video
                                                                : EngineProtocol::EngineKind::External;
        engines.convert(engine, folder / "a.mkv", folder / target, {}, [](auto) {});
        EXPECT_TRUE(engines.matches(folder / "a.mkv", folder / target)) << target;
    }
}

TEST(Converter, passesOnWhatTheEngineSays)
{
    const TestFolder folder;
    folder.write("a.png", "no picture");
    try {
        Converter::image(folder / "a.png", folder / "b.jpg", 1.0, [](auto) {});
        ADD_FAILURE() << "converted";
    } catch (const ConversionError &error) {
        EXPECT_STREQ(error.what(), "Image non reconnue par macOS.");
    }
}

TEST(Converter, leavesTheEngineWithAnExceptionOutOfProgress)
{
    struct Stop
    {};
    const TestFolder folder;
    makeMedia(folder / "a.wav", {"-f", "lavfi", "-i", "sine=duration=600"});
    EXPECT_THROW(Converter::audio(folder / "a.wav", folder / "b.aiff", 128, [](auto) { throw Stop(); }),
                 Stop);
}

} // namespace

} // namespace quorvalent::test
