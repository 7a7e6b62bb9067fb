#include "media/ImageDestination.h"
#include "media/ImageSource.h"
#include "media/image/Metadata.h"
#include "support/Pictures.h"
#include "support/TestFolder.h"
#include "support/TestMedia.h"

#include <gtest/gtest.h>

namespace quorvalent {
namespace {

using test::Colour;
using test::TestFolder;

QByteArray number(quint32 value, int bytes = 4)
{
    QByteArray text;
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8)
        text += static_cast<char>(value >> static_cast<unsigned>(shift));
    return text;
}

struct Frame
{
    int left, top, side;
    Colour colour;
    char disposal, blend; ///< as the format's numbers
};

QByteArray pixels(const Frame &frame)
{
    QByteArray rows;
    for (int y = 0; y < frame.side; ++y) {
        rows += '\0';
        for (int x = 0; x < frame.side; ++x)
            rows.append(QByteArrayView(frame.colour));
    }
    return qCompress(rows).sliced(4);
}

/// Four by four pixels, RGBA, each frame a square of one colour that is shown for two fiftieths of a second.
std::string apng(const std::vector<Frame> &frames, quint32 announced, quint32 plays)
{
    quint32 sequence = 0;
    QByteArray file = QByteArray("\x89PNG\r\n\x1a\n") +
                      pngChunk("IHDR", number(4) + number(4) + QByteArray("\x8\6\0\0\0", 5)) +
                      pngChunk("acTL", number(announced) + number(plays));
    for (const Frame &frame : frames) {
        const auto side = static_cast<quint32>(frame.side);
        file += pngChunk("fcTL", number(sequence++) + number(side) + number(side) +
                                     number(static_cast<quint32>(frame.left)) +
                                     number(static_cast<quint32>(frame.top)) + number(2, 2) + number(50, 2) +
                                     frame.disposal + frame.blend);
        file += &frame == frames.data() ? pngChunk("IDAT", pixels(frame))
                                        : pngChunk("fdAT", number(sequence++) + pixels(frame));
    }
    return (file + pngChunk("IEND", {})).toStdString();
}

/// Pixels of which each lies in other frames.
std::vector<Colour> corners(const std::filesystem::path &picture)
{
    const test::Picture decoded = test::decodedByFfmpeg(picture, 4, 4);
    return {decoded.at(0, 0), decoded.at(1, 1), decoded.at(2, 2), decoded.at(3, 3), decoded.at(3, 0)};
}

std::vector<Colour> shownByFfmpeg(const TestFolder &folder, const std::filesystem::path &file, int frame)
{
    const auto still = folder / "expected.png";
    std::filesystem::remove(still);
    return corners(
        test::makeMedia(still, {"-i", "file:" + file.native(), "-vf",
                                "select=eq(n\\," + std::to_string(frame) + ")", "-frames:v", "1"}));
}

TEST(Apng, becomesWhatAPlayerShows)
{
    const std::vector<Frame> frames{{0, 0, 4, test::red, 0, 0},
                                    {1, 1, 2, {0, 0, 255, 128}, 1, 1}, // over it, then a hole
                                    {2, 2, 2, {0, 255, 0, 128}, 2, 0}, // instead of it, then back
                                    {0, 0, 2, {255, 255, 255, 100}, 0, 1},
                                    {3, 3, 1, test::clear, 0, 1}};
    const TestFolder folder;
    const auto file = folder.write("a.png", apng(frames, 5, 3));
    const std::optional<ImageSource> source = ImageSource::open(file, folder.path());
    ASSERT_TRUE(source);
    ASSERT_EQ(source->frameCount(), 5);
    EXPECT_EQ(source->properties(), (ContainerProperties{3, {4, 4}}));
    int made = 0;
    for (const int start : {0, 3, 1}) { // in any order
        for (int i = start; i < 5; ++i) {
            const auto still = folder / (std::to_string(made++) + ".png");
            ImageDestination png = ImageDestination::createPlainPng(still);
            png.addImage(source->frame(i), {}, 1.0);
            png.finalize();
            EXPECT_EQ(corners(still), shownByFfmpeg(folder, file, i)) << "frame " << i;
            EXPECT_EQ(source->frameProperties(i).delay, std::chrono::milliseconds(40));
        }
    }
}

TEST(Apng, isDamagedWhereFramesAreMissing)
{
    const TestFolder folder;
    const std::vector<Frame> two{{0, 0, 4, test::red, 0, 0}, {0, 0, 4, test::blue, 0, 0}};
    const auto opened = [&](const std::string &bytes) {
        return ImageSource::open(folder.write("a.png", bytes), folder.path());
    };
    const auto announcesThree = opened(apng(two, 3, 0));
    ASSERT_EQ(announcesThree->frameCount(), 3);
    EXPECT_NO_THROW((void)announcesThree->frame(1));
    EXPECT_THROW((void)announcesThree->frame(2), ImageReadError);
    std::string wrong = apng(two, 2, 0);
    wrong[wrong.size() - 20] =
        static_cast<char>(wrong[wrong.size() - 20] ^ 1); // in the second frame's pixels
    EXPECT_THROW((void)opened(wrong)->frame(1), ImageReadError);
    EXPECT_FALSE(opened(apng({two.front(), {3, 3, 2, test::blue, 0, 0}}, 2, 0))) << "outside of the canvas";
}

} // namespace
} // namespace quorvalent
