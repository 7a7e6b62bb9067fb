#include "platform/MediaAsset.h"

#include "support/TestFolder.h"
#include "support/TestMedia.h"

#include <gtest/gtest.h>

#include <array>

namespace quorvalent::test {

namespace {

using Arguments = std::vector<std::string>;

const Arguments tone = {"-f", "lavfi", "-i", "sine=duration=2:sample_rate=22050"};

// What the file states of a stream, in one line.
std::string line(const MediaStream &stream)
{
    constexpr std::array names = {"video", "audio", "subtitle", "cover", "data"};
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
    const auto movie = makeMedia(folder / "movie.mov",
                                 {"-i", upright, "-i", text, "-map", "0", "-map", "1", "-c", "copy", "-c:s",
                                  "mov_text", "-metadata:s:v", "rotate=90", "-timecode", "00:00:00:00"});
    const auto asset = MediaAsset::read(movie);
    ASSERT_TRUE(asset);
    EXPECT_EQ(asset->format, QStringLiteral("mov,mp4,m4a,3gp,3g2,mj2"));
    EXPECT_NEAR(asset->duration.value().count(), 2.0, 0.05);
    ASSERT_EQ(asset->streams.size(), 4U);

    EXPECT_EQ(line(asset->streams[0]), "video mpeg4 64x48 turned 90, 0 Hz, 0 channels");
    EXPECT_NEAR(asset->streams[0].duration.value().count(), 1.5, 0.05);
    EXPECT_EQ(line(asset->streams[1]), "audio aac 0x0 turned 0, 22050 Hz, 2 channels");
    EXPECT_EQ(line(asset->streams[2]), "subtitle mov_text 0x0 turned 0, 0 Hz, 0 channels");
    EXPECT_EQ(line(asset->streams[3]), "data  0x0 turned 0, 0 Hz, 0 channels");
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

} // namespace quorvalent::test
