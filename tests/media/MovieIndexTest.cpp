#include "media/MovieIndex.h"

#include "support/TestFolder.h"
#include "support/TestMedia.h"

#include <gtest/gtest.h>

namespace quorvalent::test {

namespace {

namespace fs = std::filesystem;

const std::vector<std::string> clip = {"-f",   "lavfi",   "-i",   "testsrc=size=64x48:rate=10:duration=2",
                                       "-f",   "lavfi",   "-i",   "sine=duration=1",
                                       "-c:v", "libx264", "-c:a", "aac"};

fs::path movie(const fs::path &path, const std::vector<std::string> &more = {})
{
    std::vector<std::string> arguments = clip;
    arguments.insert(arguments.end(), more.begin(), more.end());
    return makeMedia(path, arguments);
}

TEST(MovieIndex, tellsTracksLengthsAndOrder)
{
    const TestFolder folder;
    const fs::path path = movie(folder / "a.mov", {"-timecode", "01:00:00:00"});

    const MovieIndex index = MovieIndex::read(path).value();

    EXPECT_EQ(index.brand, "qt  ");
    EXPECT_FALSE(index.precedesData);
    EXPECT_FALSE(index.hasFragments || index.isTruncated || index.isEncrypted || index.hasMakerTags);
    ASSERT_EQ(index.tracks.size(), 3U);
    EXPECT_EQ(index.tracks[0].sampleFormat, "avc1");
    EXPECT_EQ(index.tracks[0].samples, 20U);
    EXPECT_NEAR(index.tracks[0].seconds, 2, 0.01);
    EXPECT_EQ(index.tracks[0].width, 64);
    EXPECT_EQ(index.tracks[0].height, 48);
    EXPECT_EQ(index.tracks[1].sampleFormat, "mp4a");
    EXPECT_EQ(index.tracks[1].objectType, 0x40);
    EXPECT_NEAR(index.tracks[1].seconds, 1, 0.03); // to a packet of 1024 samples
    EXPECT_EQ(index.tracks[2].handler, "tmcd");
}

TEST(MovieIndex, seesWhatIsOutOfTheOrdinary)
{
    const TestFolder folder;
    const fs::path plain = movie(folder / "plain.mp4", {"-movflags", "+faststart"});
    const std::string source = "file:" + plain.native();

    EXPECT_TRUE(MovieIndex::read(plain).value().precedesData);
    EXPECT_EQ(MovieIndex::read(plain)->tracks[0].rotationDegrees, 0);
    for (const int turn : {90, 180, 270}) {
        const fs::path turned = makeMedia(folder / "turned.mp4", {"-i", source, "-c", "copy"});
        turnPictures(turned, turn);
        EXPECT_EQ(MovieIndex::read(turned).value().tracks[0].rotationDegrees, turn);
    }
    const fs::path parts = makeMedia(folder / "parts.mp4",
                                     {"-i", source, "-c", "copy", "-movflags", "+frag_keyframe+empty_moov"});
    EXPECT_TRUE(MovieIndex::read(parts).value().hasFragments);
    const fs::path secret =
        makeMedia(folder / "secret.mp4", {"-i", source, "-c", "copy", "-encryption_scheme", "cenc-aes-ctr",
                                          "-encryption_key", "00112233445566778899aabbccddeeff",
                                          "-encryption_kid", "00112233445566778899aabbccddeeff"});
    EXPECT_TRUE(MovieIndex::read(secret).value().isEncrypted);
    truncate(plain, 0.9);
    EXPECT_TRUE(MovieIndex::read(plain).value().isTruncated);
}

TEST(MovieIndex, survivesAnyDamage)
{
    const TestFolder folder;
    const fs::path path = movie(folder / "a.mp4", {"-movflags", "+faststart"});
    const std::string bytes = folder.read("a.mp4");
    const std::size_t indexEnd = bytes.find("mdat");

    EXPECT_EQ(MovieIndex::read(folder / "none.mp4"), std::nullopt);
    EXPECT_EQ(MovieIndex::read(folder.write("text.mp4", "not a movie at all")), std::nullopt);
    EXPECT_EQ(MovieIndex::read(folder.write("head.mp4", bytes.substr(0, indexEnd / 2))), std::nullopt);
    // A length or a count that lies, anywhere in the index: an answer or none, but no read outside it.
    std::size_t answers = 0;
    for (std::size_t i = 0; i < indexEnd; i += 11) {
        std::string broken = bytes.substr(0, indexEnd + 64);
        broken[i] = static_cast<char>(0xFF);
        answers += MovieIndex::read(folder.write("broken.mp4", broken)).has_value() ? 1U : 0U;
    }
    EXPECT_GT(answers, 0U);
    EXPECT_LT(answers, indexEnd / 11);
}

} // namespace

} // namespace quorvalent::test
