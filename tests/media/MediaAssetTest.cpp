#include "media/MediaAsset.h"

#include "support/TestFolder.h"
#include "support/TestMedia.h"

#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <ostream>

namespace quorvalent::test {

namespace {

using Arguments = std::vector<std::string>;

const Arguments tone = {"-f", "lavfi", "-i", "sine=duration=2:sample_rate=22050"};

// What the file states of a stream, in one line.
std::string line(const MediaStream &stream)
{
    constexpr std::array names = {"video", "audio", "subtitle", "cover", "file", "time", "chapters", "data"};
    return QStringLiteral("%1 %2 %3x%4 turned %5, %6 Hz, %7 channels")
        .arg(QLatin1String(names.at(static_cast<std::size_t>(stream.kind))), stream.codec)
        .arg(stream.width)
        .arg(stream.height)
        .arg(stream.rotationDegrees)
        .arg(stream.sampleRate)
        .arg(stream.channels)
        .toStdString();
}

} // namespace

TEST(MediaAsset, tellsStreamsOfEveryKind)
{
    const TestFolder folder;
    const auto upright =
        makeMedia(folder / "upright.mov",
                  {"-f", "lavfi", "-i", "testsrc=s=64x48:d=1.5", "-f", "lavfi", "-i",
                   "sine=duration=2:sample_rate=22050", "-c:v", "mpeg4", "-c:a", "aac", "-ac", "2"});
    const auto text = folder.write("text.srt", "1\n00:00:00,000 --> 00:00:01,000\nSalut\n");
    const auto movie =
        makeMedia(folder / "movie.mov", {"-i", upright, "-i", text, "-map", "0", "-map", "1", "-c", "copy",
                                         "-c:s", "mov_text", "-timecode", "00:00:00:00"});
    turnPictures(movie, 270); // ffprobe counts the other way round
    const auto asset = MediaAsset::read(movie);
    ASSERT_TRUE(asset);
    EXPECT_EQ(asset->format, QStringLiteral("mov,mp4,m4a,3gp,3g2,mj2"));
    EXPECT_NEAR(asset->duration.value().count(), 2.0, 0.05);
    ASSERT_EQ(asset->streams.size(), 4U);

    EXPECT_EQ(line(asset->streams[0]), "video mpeg4 64x48 turned 90, 0 Hz, 0 channels");
    EXPECT_NEAR(asset->streams[0].duration.value().count(), 1.5, 0.05);
    EXPECT_EQ(line(asset->streams[1]), "audio aac 0x0 turned 0, 22050 Hz, 2 channels");
    EXPECT_EQ(line(asset->streams[2]), "subtitle mov_text 0x0 turned 0, 0 Hz, 0 channels");
    EXPECT_EQ(line(asset->streams[3]), "time  0x0 turned 0, 0 Hz, 0 channels");
}

TEST(MediaAsset, knowsAStatedLengthFromAGuess)
{
    const TestFolder folder;
    struct Case
    {
        const char *name;
        Arguments options;
        bool isEstimated;
    };
    const Case cases[] = {{"indexed.mp3", {}, false},
                          {"plain.mp3", {"-write_xing", "0", "-id3v2_version", "0"}, true},
                          {"adts.aac", {}, true},
                          {"pcm.wav", {}, false},
                          {"tagged.mka", {}, false}};
    for (const Case &row : cases) {
        SCOPED_TRACE(row.name);
        Arguments arguments = tone;
        arguments.insert(arguments.end(), row.options.begin(), row.options.end());
        const auto asset = MediaAsset::read(makeMedia(folder / row.name, arguments));
        ASSERT_TRUE(asset && asset->duration);
        EXPECT_EQ(asset->isDurationEstimated, row.isEstimated);
        ASSERT_TRUE(asset->streams.at(0).duration);
        EXPECT_NEAR(asset->streams[0].duration->count(), 2.0, row.isEstimated ? 0.5 : 0.1);
    }
    // Where a Matroska file starts late, its lengths mean one thing or another.
    Arguments late = tone;
    late.insert(late.end(), {"-output_ts_offset", "100"});
    const auto asset = MediaAsset::read(makeMedia(folder / "late.mka", late));
    ASSERT_TRUE(asset);
    EXPECT_FALSE(asset->duration || asset->streams.at(0).duration);
}

TEST(MediaAsset, takesAnyNameForAName)
{
    const TestFolder folder;
    const auto plain = makeMedia(folder / "plain.wav", tone);
    const auto expectedAsset = MediaAsset::read(plain);
    ASSERT_TRUE(expectedAsset);
    for (const char *name : {"-i", "%03d.wav", "a%*d.mp4", "[x]{y}*?.wav", "concat:a|b.wav", "http:x",
                             "l\n.wav", "\xff\xfe.wav", "file:.wav", "%d/-x:/s.wav"}) {
        SCOPED_TRACE(name);
        std::filesystem::create_directories((folder / name).parent_path());
        std::filesystem::copy_file(plain, folder / name);
        EXPECT_EQ(MediaAsset::read(folder / name), expectedAsset);
    }
}

TEST(MediaAsset, hasNothingToTellOfOtherFiles)
{
    const TestFolder folder;
    EXPECT_EQ(MediaAsset::read(folder.write("text.mp3", "no sound at all")), std::nullopt);
    EXPECT_EQ(MediaAsset::read(folder.write("empty.wav", "")), std::nullopt);
    EXPECT_EQ(MediaAsset::read(folder / "missing.mp4"), std::nullopt);
    const auto playlist = "#EXTM3U\n#EXTINF:1,\nhttp://127.0.0.1:9/a.ts\n#EXT-X-ENDLIST\n";
    EXPECT_EQ(MediaAsset::read(folder.write("playlist.mp4", playlist)), std::nullopt);
}

struct HeaderCase
{
    const char *name;
    Arguments options;
    bool hasPicture = false;
    int turned = 0; ///< degrees
};

void PrintTo(const HeaderCase &row, std::ostream *stream)
{
    *stream << row.name;
}

const Arguments clip = {"-f",   "lavfi",   "-i",       "testsrc2=s=64x48:d=2",
                        "-f",   "lavfi",   "-i",       "sine=d=1.5",
                        "-c:v", "libx264", "-pix_fmt", "yuv420p",
                        "-c:a", "aac"};

class MediaHeadersOf : public testing::TestWithParam<HeaderCase>
{};

// A header is believed only when it says what the probe finds, and only while the file is whole.
TEST_P(MediaHeadersOf, agreeWithTheProbeOrKeepSilent)
{
    const HeaderCase &row = GetParam();
    const TestFolder folder;
    Arguments arguments = row.hasPicture ? clip : tone;
    arguments.insert(arguments.end(), row.options.begin(), row.options.end());
    const auto path = makeMedia(folder / row.name, arguments);
    if (row.turned != 0)
        turnPictures(path, row.turned);

    const auto asset = MediaAsset::fromHeaders(path);
    const auto probed = MediaAsset::read(path, MediaSeconds(0));
    ASSERT_TRUE(asset && probed);
    EXPECT_EQ(asset->format, probed->format);
    EXPECT_NEAR(asset->duration.value().count(), probed->duration.value().count(), 0.1);
    ASSERT_EQ(asset->streams.size(), probed->streams.size());
    for (std::size_t i = 0; i < asset->streams.size(); ++i) {
        const MediaStream &stream = asset->streams[i];
        MediaStream expected = probed->streams[i];
        if (stream.sampleRate == 0)
            expected.sampleRate = 0;
        if (stream.channels == 0)
            expected.channels = 0;
        EXPECT_EQ(line(stream), line(expected));
        EXPECT_NEAR(stream.duration.value().count(), expected.duration.value().count(), 0.1);
        if (stream.packets)
            EXPECT_NEAR(stream.packets->end.count(), expected.packets.value().end.count(), 0.1);
        else
            EXPECT_EQ(stream.codec, QStringLiteral("flac"));
    }

    truncate(path, 0.6);
    const auto stump = MediaAsset::fromHeaders(path);
    EXPECT_TRUE(!stump || !stump->streams.at(0).packets);
}

INSTANTIATE_TEST_SUITE_P(Kinds, MediaHeadersOf,
                         testing::Values(HeaderCase{"s16.wav", {}}, HeaderCase{"u8.wav", {"-c:a", "pcm_u8"}},
                                         HeaderCase{"f32.wav", {"-c:a", "pcm_f32le", "-ac", "6"}},
                                         HeaderCase{"rf64.wav", {"-rf64", "always"}},
                                         HeaderCase{"s24.aiff", {"-c:a", "pcm_s24be", "-ac", "2"}},
                                         HeaderCase{"sowt.aifc", {"-c:a", "pcm_s16le", "-f", "aiff"}},
                                         HeaderCase{"s.flac", {}}, HeaderCase{"cbr.mp3", {}},
                                         HeaderCase{"low.mp3", {"-ar", "11025", "-q:a", "4"}},
                                         HeaderCase{"plain.mov", {}, true},
                                         HeaderCase{"turned.mp4", {}, true, 90}, HeaderCase{"sound.m4a", {}}),
                         [](const auto &row) {
                             return QByteArray(row.param.name).replace('.', '_').toStdString();
                         });

TEST(MediaHeaders, leaveTheUnusualToTheProbe)
{
    const TestFolder folder;
    const HeaderCase cases[] = {{"adpcm.wav", {"-c:a", "adpcm_ms"}},
                                {"ulaw.aifc", {"-c:a", "pcm_mulaw", "-f", "aiff"}},
                                {"plain.mp3", {"-write_xing", "0"}},
                                {"s.ogg", {}},
                                {"s.aac", {}},
                                {"fragments.mp4", {"-c:a", "aac", "-movflags", "frag_keyframe"}},
                                {"two.m4a", {"-c:a", "aac", "-map", "0", "-map", "0"}}};
    for (const HeaderCase &row : cases) {
        Arguments arguments = tone;
        arguments.insert(arguments.end(), row.options.begin(), row.options.end());
        EXPECT_EQ(MediaAsset::fromHeaders(makeMedia(folder / row.name, arguments)), std::nullopt) << row.name;
    }
    EXPECT_EQ(MediaAsset::fromHeaders(folder.write("text.mp3", "no sound at all")), std::nullopt);
    EXPECT_EQ(MediaAsset::fromHeaders(folder.write("empty.wav", "")), std::nullopt);

    // Two streams behind one another, of which the index knows the first.
    const auto first = makeMedia(folder / "first.mp3", tone);
    std::filesystem::copy_file(first, folder / "joined.mp3");
    std::ofstream(folder / "joined.mp3", std::ios::binary | std::ios::app)
        << std::ifstream(first, std::ios::binary).rdbuf();
    EXPECT_EQ(MediaAsset::fromHeaders(folder / "joined.mp3"), std::nullopt);
}

} // namespace quorvalent::test
