#include "media/AudioTags.h"

#include "support/TestFolder.h"
#include "support/TestMedia.h"
#include "support/TestSound.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorvalent::test {

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

const std::vector<std::string> tagOptions = {"-metadata", "title=Été",
                                             "-metadata", "artist=Björk",
                                             "-metadata", "album=Début",
                                             "-metadata", "album_artist=Tous",
                                             "-metadata", "track=3/12",
                                             "-metadata", "disc=1/2",
                                             "-metadata", "date=1993-07-05",
                                             "-metadata", "genre=Jazz",
                                             "-metadata", "composer=Debussy",
                                             "-metadata", "lyrics=La la la",
                                             "-metadata", "REPLAYGAIN_TRACK_GAIN=-6.50 dB"};

// A second of tone with the tags and, unless the format has no place for one, a cover.
fs::path tagged(const TestFolder &folder, const fs::path &name)
{
    if (!fs::exists(folder / "cover.png"))
        makeMedia(folder / "cover.png", {"-f", "lavfi", "-i", "testsrc=s=64x64:d=0.04", "-frames:v", "1"});
    std::vector<std::string> arguments = {"-f", "lavfi", "-i", "sine=duration=1"};
    if (name.extension() != ".ogg" && name.extension() != ".wav")
        arguments.insert(arguments.end(), {"-i", "file:" + (folder / "cover.png").native(), "-map", "0",
                                           "-map", "1", "-c:v", "copy", "-disposition:v", "attached_pic"});
    arguments.insert(arguments.end(), tagOptions.begin(), tagOptions.end());
    if (name.extension() == ".aif")
        arguments.insert(arguments.end(), {"-write_id3v2", "1"});
    return makeMedia(folder / name, arguments);
}

// The tags as FFmpeg reads them.
std::string tagsOf(const TestFolder &folder, const fs::path &file)
{
    makeMedia(folder / "tags.txt", {"-i", "file:" + file.native(), "-f", "ffmetadata", "-map_metadata:g",
                                    file.extension() == ".ogg" ? "0:s:0" : "0:g"});
    return folder.read("tags.txt");
}

std::string coverOf(const TestFolder &folder, const fs::path &file)
{
    makeMedia(folder / "found.png",
              {"-i", "file:" + file.native(), "-map", "0:v:0", "-c", "copy", "-f", "image2"});
    return folder.read("found.png");
}

} // namespace

class TagsOf : public testing::TestWithParam<std::string>
{};

TEST_P(TagsOf, reachEveryFormat)
{
    const TestFolder folder;
    const auto source = tagged(folder, "source." + GetParam());
    for (const std::string target : {"mp3", "m4a", "flac", "ogg", "aif", "wav"}) {
        const auto result =
            makeMedia(folder / ("result." + target), {"-f", "lavfi", "-i", "sine=440:duration=1"});
        const auto samples = decoded(result);
        carryAudioTags(source, result);

        const std::string tags = tagsOf(folder, result);
        for (const char *text : {"Été", "Björk", "Début", "Jazz", "1993", "3"})
            EXPECT_THAT(tags, HasSubstr(text)) << target;
        // FFmpeg reads only the older, poorer kind of tag of a WAVE file that has both.
        if (target != "wav") {
            for (const char *text : {"Tous", "Debussy", "La la la"})
                EXPECT_THAT(tags, HasSubstr(text)) << target;
        }
        // It does not show an MPEG-4 file's freely named items either.
        const std::string bytes = folder.read(result.filename());
        EXPECT_NE(bytes.find("-6.50 dB"), std::string::npos) << target;
        if (GetParam() != "ogg") {
            EXPECT_TRUE(coverOf(folder, result) == folder.read("cover.png")) << target;
        }
        EXPECT_TRUE(decoded(result) == samples) << target;
    }
}

INSTANTIATE_TEST_SUITE_P(EachFormat, TagsOf, testing::Values("mp3", "flac", "ogg", "aif"),
                         [](const auto &row) { return row.param; });

TEST(AudioTags, leaveBehindWhatDescribesTheOldEncoding)
{
    const TestFolder folder;
    const auto source =
        makeMedia(folder / "source.flac",
                  {"-f", "lavfi", "-i", "sine=duration=1", "-metadata", "TITLE=Kept", "-metadata",
                   "ENCODER_=x", "-metadata", "ITUNSMPB=0 840", "-metadata", "R128_TRACK_GAIN=77"});
    const auto result = makeMedia(folder / "result.ogg", {"-f", "lavfi", "-i", "sine=duration=1"});
    carryAudioTags(source, result);
    const std::string tags = tagsOf(folder, result);
    EXPECT_THAT(tags, HasSubstr("Kept"));
    EXPECT_THAT(tags, testing::Not(HasSubstr("ITUNSMPB")));
    EXPECT_THAT(tags, testing::Not(HasSubstr("R128")));
}

TEST(AudioTags, leaveTheResultAsItIsWhereTheyCannotBeCarried)
{
    const TestFolder folder;
    const auto good = tagged(folder, "good.mp3");
    const auto broken =
        folder.write("broken.mp3", std::string("ID3\x04\0\0\x7F\x7F\x7F\x7F", 10) + "TIT2 and so on");
    const auto wave = makeMedia(folder / "result.wav", {"-f", "lavfi", "-i", "sine=duration=1", "-bitexact"});
    const auto adts = makeMedia(folder / "result.aac", {"-f", "lavfi", "-i", "sine=duration=1"});
    const auto damaged = folder.write("damaged.m4a", std::string("\0\0\0\x14", 4) + "ftypM4A and no more");
    const auto before = folder.listing();

    for (const auto &[source, result] : std::vector<std::pair<fs::path, fs::path>>{
             {broken, wave}, {good, adts}, {good, damaged}, {folder / "missing.flac", wave}, {adts, wave}}) {
        const std::string bytes = folder.read(result.filename());
        carryAudioTags(source, result);
        EXPECT_TRUE(folder.read(result.filename()) == bytes) << source << result;
    }
    EXPECT_EQ(folder.listing(), before);
}

} // namespace quorvalent::test
