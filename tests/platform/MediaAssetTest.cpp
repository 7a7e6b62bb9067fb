#include "platform/MediaAsset.h"

#include "support/TestFolder.h"
#include "support/TestMedia.h"

#include <gtest/gtest.h>

namespace quorvalent::test {

namespace {

using Kind = MediaStream::Kind;
using Arguments = std::vector<std::string>;

const Arguments tone = {"-f", "lavfi", "-i", "sine=duration=2:sample_rate=22050"};

MediaStream expected(Kind kind, const char *codec)
{
    MediaStream stream;
    stream.kind = kind;
    stream.codec = QLatin1String(codec);
    return stream;
}

// What the file states of a stream, without the lengths.
MediaStream description(MediaStream stream)
{
    stream.duration.reset();
    stream.packets.reset();
    return stream;
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

    MediaStream video = expected(Kind::Video, "mpeg4");
    video.width = 64;
    video.height = 48;
    video.rotationDegrees = 90;
    video.isDefault = true;
    EXPECT_EQ(description(asset->streams[0]), video);
    EXPECT_NEAR(asset->streams[0].duration.value().count(), 1.5, 0.05);
    MediaStream audio = expected(Kind::Audio, "aac");
    audio.sampleRate = 22050;
    audio.channels = 2;
    audio.isDefault = true;
    EXPECT_EQ(description(asset->streams[1]), audio);
    EXPECT_EQ(asset->streams[2].kind, Kind::Subtitle);
    EXPECT_EQ(asset->streams[3].kind, Kind::Data);
}

TEST(MediaAsset, tellsCoverArtFromVideo)
{
    const TestFolder folder;
    const auto cover =
        makeMedia(folder / "cover.png", {"-f", "lavfi", "-i", "color=s=8x8", "-frames:v", "1"});
    const auto song =
        makeMedia(folder / "song.flac", {"-f", "lavfi", "-i", "sine=duration=1", "-i", cover, "-map", "0",
                                         "-map", "1", "-disposition:v", "attached_pic"});
    const auto asset = MediaAsset::read(song);
    ASSERT_TRUE(asset);
    ASSERT_EQ(asset->streams.size(), 2U);
    EXPECT_EQ(asset->streams[0].kind, Kind::Audio);
    EXPECT_EQ(asset->streams[1].kind, Kind::AttachedPicture);
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

TEST(MediaAsset, measuresByPackets)
{
    const TestFolder folder;
    const auto sound = makeMedia(folder / "tone.aac", tone);
    const auto whole = MediaAsset::read(sound, MediaSeconds(0));
    ASSERT_TRUE(whole && whole->streams.at(0).packets);
    EXPECT_EQ(whole->streams[0].packets->first.count(), 0.0);
    EXPECT_NEAR(whole->streams[0].packets->end.count(), 2.0, 0.1);

    const auto tail = MediaAsset::read(makeMedia(folder / "tone.flac", tone), MediaSeconds(1.5));
    ASSERT_TRUE(tail && tail->streams.at(0).packets);
    EXPECT_GT(tail->streams[0].packets->first.count(), 1.0);
    EXPECT_NEAR(tail->streams[0].packets->end.count(), 2.0, 0.01);
    EXPECT_EQ(MediaAsset::read(sound)->streams.at(0).packets, std::nullopt);
}

} // namespace quorvalent::test
