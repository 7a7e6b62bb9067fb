#include "engine/MediaCheck.h"

#include "core/ConversionError.h"
#include "support/TestFolder.h"
#include "support/TestMedia.h"

#include <gtest/gtest.h>

#include <fstream>
#include <ostream>

namespace quorvalent::test {

namespace {

namespace fs = std::filesystem;
using Arguments = std::vector<std::string>;

bool mediaMatches(MediaCheck &check, const fs::path &output, bool isCut = false)
{
    try {
        return check.matches(output);
    } catch (const ConversionError &error) {
        EXPECT_TRUE(isCut) << error.what();
        return false;
    }
}

bool mediaMatches(const fs::path &source, const fs::path &output)
{
    MediaCheck check(source);
    return mediaMatches(check, output);
}

// One stereo tone and one small moving picture of the given lengths in seconds, as inputs.
Arguments tone(const std::string &seconds)
{
    return {"-f", "lavfi", "-i", "aevalsrc=sin(t*2000)*random(0):d=" + seconds};
}

Arguments movie(const std::string &picture, const std::string &sound)
{
    return {"-f",   "lavfi", "-i",   "testsrc2=s=64x48:d=" + picture,
            "-f",   "lavfi", "-i",   "sine=d=" + sound,
            "-c:v", "mpeg4", "-c:a", "aac"};
}

Arguments operator+(Arguments left, const Arguments &right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

struct Case
{
    const char *name;
    const char *source;
    Arguments sourceArguments;
    const char *output;
    Arguments outputArguments; ///< empty: converted from the source
    bool matches;
    double sourceShare = 1; ///< of its bytes that are left before the conversion
};

void PrintTo(const Case &row, std::ostream *stream)
{
    *stream << row.name;
}

const Case cases[] = {
    {"mp3", "s.wav", tone("4"), "o.mp3", {}, true},
    {"m4a", "s.wav", tone("4"), "o.m4a", {}, true},
    {"aac", "s.wav", tone("4"), "o.aac", {}, true},
    {"flac", "s.wav", tone("4"), "o.flac", {}, true},
    {"ogg", "s.wav", tone("4"), "o.ogg", {}, true},
    {"aif", "s.wav", tone("4"), "o.aif", {}, true},
    {"wav", "s.flac", tone("4"), "o.wav", {}, true},
    {"mkv", "s.mov", movie("4", "4"), "o.mkv", {}, true},
    {"webm", "s.mov", movie("3", "3"), "o.webm", {}, true},
    {"avi", "s.mov", movie("4", "3"), "o.avi", {}, true},
    {"mp4", "s.mkv", movie("3", "4"), "o.mp4", {}, true},
    {"soundOnlyMovie", "s.mp4", tone("3") + Arguments{"-c:a", "aac"}, "o.mkv", {}, true},
    {"lengthOnlyGuessed", "s.aac", tone("4"), "o.mp3", {}, true},
    {"lateStart", "s.mkv", movie("3", "3") + Arguments{"-output_ts_offset", "50"}, "o.mp4", {}, true},
    {"lastPictureShort",
     "s.mp4",
     {"-f", "lavfi", "-i", "testsrc2=s=64x48:r=25:d=2", "-vf", "select='eq(n,0)+eq(n,49)'", "-vsync", "vfr",
      "-c:v", "libx264"},
     "o.mkv",
     {},
     true},

    {"cutSourceFlac", "s.flac", tone("4"), "o.mp3", {}, false, 0.5},
    {"cutSourceMkv", "s.mkv", movie("4", "4"), "o.avi", {}, false, 0.5},
    {"cutSourceGuessed", "s.aac", tone("4"), "o.flac", tone("2"), false},
    {"soundLost", "s.mov", movie("3", "3"), "o.mkv", movie("3", "3") + Arguments{"-an"}, false},
    {"pictureLost", "s.mov", movie("3", "3"), "o.mkv", movie("3", "3") + Arguments{"-vn"}, false},
    {"pictureShort", "s.mov", movie("4", "4"), "o.mkv", movie("2", "4"), false},
    {"tooLong", "s.mov", movie("2", "2"), "o.mkv", movie("4", "4"), false},
    {"otherContainer", "s.wav", tone("3"), "o.flac", tone("3") + Arguments{"-f", "wav"}, false},
    {"otherCodec", "s.wav", tone("3"), "o.m4a", tone("3") + Arguments{"-c:a", "ac3", "-f", "mp4"}, false},
};

class MediaCheckOf : public testing::TestWithParam<Case>
{};

// As a driver would: what the source holds, made into the output.
Arguments conversion(const fs::path &source)
{
    return {"-i", source.native(), "-pix_fmt", "yuv420p"};
}

} // namespace

TEST_P(MediaCheckOf, tellsAConversionFromAStump)
{
    const Case &row = GetParam();
    const TestFolder folder;
    const fs::path source = makeMedia(folder / row.source, row.sourceArguments);
    truncate(source, row.sourceShare);
    MediaCheck check(source);
    const fs::path output = makeMedia(folder / row.output,
                                      row.outputArguments.empty() ? conversion(source) : row.outputArguments);
    if (row.sourceShare < 1)
        EXPECT_THROW((void)check.matches(output), ConversionError) << "the source is to blame";
    else
        EXPECT_EQ(check.matches(output), row.matches);
    for (const double share : {0.5, 0.0}) {
        truncate(output, share);
        MediaCheck again(source);
        EXPECT_FALSE(mediaMatches(again, output, row.sourceShare < 1))
            << "with " << fs::file_size(output) << " bytes";
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, MediaCheckOf, testing::ValuesIn(cases),
                         [](const auto &row) { return std::string(row.param.name); });

TEST(MediaCheck, doesNotCountWhatAConversionLeavesOut)
{
    const TestFolder folder;
    const fs::path text = folder.write("t.srt", "1\n00:00:00,000 --> 00:00:09,000\nSalut\n");
    const fs::path source = makeMedia(
        folder / "s.mkv", movie("3", "3") + Arguments{"-i", text, "-map", "0", "-map", "1", "-map", "2"});
    EXPECT_TRUE(mediaMatches(source, makeMedia(folder / "o.avi", conversion(source))));

    const fs::path cover =
        makeMedia(folder / "c.png", {"-f", "lavfi", "-i", "color=s=8x8", "-frames:v", "1"});
    const fs::path song =
        makeMedia(folder / "s.flac", tone("3") + Arguments{"-i", cover, "-map", "0", "-map", "1",
                                                           "-disposition:v", "attached_pic"});
    EXPECT_TRUE(mediaMatches(song, makeMedia(folder / "o.mp3", conversion(song) + Arguments{"-vn"})));
}

TEST(MediaCheck, findsOutALengthStatedTooShort)
{
    const TestFolder folder;
    const fs::path source = makeMedia(folder / "s.flac", tone("4"));
    std::fstream file(source, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(22); // the stream header's count of samples, its lower 32 bits
    file.write("\0\0\xac\x44", 4);
    file.close();
    EXPECT_TRUE(mediaMatches(source, makeMedia(folder / "o.mp3", conversion(source))));
    EXPECT_FALSE(mediaMatches(source, makeMedia(folder / "o.wav", tone("2.5"))));
}

// A FLAC stream of no stated length that goes on at another rate: FFmpeg loses the second half on the way to
// some of its encoders, and keeps it on the way to others.
TEST(MediaCheck, missesWhatIsLostBehindAChangeOfRate)
{
    const TestFolder folder;
    const auto bytes = [&](const char *name, const char *rate) {
        std::ifstream file(makeMedia(folder / name, tone("3") + Arguments{"-ar", rate}), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    };
    const auto firstFrame = [](const std::string &flac) {
        std::size_t at = 4;
        for (bool isLast = false; !isLast;) {
            const auto byte = [&](std::size_t offset) {
                return static_cast<unsigned char>(flac.at(at + offset));
            };
            isLast = (byte(0) & 0x80U) != 0;
            at += 4 + (std::size_t{byte(1)} << 16U | std::size_t{byte(2)} << 8U | byte(3));
        }
        return at;
    };
    std::string joined = bytes("32.flac", "32000");
    const std::string rest = bytes("8.flac", "8000");
    joined.replace(22, 20, 20, '\0'); // the count of samples and the checksum of them: unknown
    const fs::path source = folder.write("s.flac", joined + rest.substr(firstFrame(rest)));

    EXPECT_TRUE(mediaMatches(source, makeMedia(folder / "o.wav", conversion(source))));
    EXPECT_FALSE(mediaMatches(source, makeMedia(folder / "o.m4a", conversion(source))));
}

} // namespace quorvalent::test
