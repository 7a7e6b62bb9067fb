#include "media/ImageDestination.h"
#include "media/ImageSource.h"
#include "media/image/BmpRle.h"
#include "support/Pictures.h"
#include "support/TestFolder.h"

#include <gtest/gtest.h>

#include <ostream>

namespace quorvalent {
namespace {

using namespace std::string_literals;
using test::Colour;

/// A file of 2 × 2 pixels: red and green above blue and white, bottom row first.
struct BmpCase
{
    const char *name;
    int bits;
    int compression;
    std::string tables; ///< masks or palette
    std::string pixels;
};

void PrintTo(const BmpCase &bmp, std::ostream *out)
{
    *out << bmp.name;
}

std::string file(const BmpCase &bmp)
{
    const auto number = [](int value) {
        return std::string{static_cast<char>(value), static_cast<char>(value >> 8), '\0', '\0'};
    };
    const int start = 54 + static_cast<int>(bmp.tables.size());
    return "BM" + number(start + static_cast<int>(bmp.pixels.size())) + std::string(4, '\0') + number(start) +
           number(40) + number(2) + number(2) + "\1\0"s + number(bmp.bits).substr(0, 2) +
           number(bmp.compression) + std::string(20, '\0') + bmp.tables + bmp.pixels;
}

const std::string fourColours = "\0\0\xff\0\0\xff\0\0\xff\0\0\0\xff\xff\xff\0"s; // red, green, blue, white
const std::string masks565 = "\0\xf8\0\0\xe0\7\0\0\x1f\0\0\0"s;

const std::array bmpCases{
    BmpCase{"bits1", 1, 0, "\0\0\xff\0\xff\xff\xff\0"s, "\x40\0\0\0\x40\0\0\0"s}, // only red and white
    BmpCase{"bits4", 4, 0, fourColours, "\x23\0\0\0\x01\0\0\0"s},
    BmpCase{"bits8", 8, 0, fourColours, "\2\3\0\0\0\1\0\0"s},
    BmpCase{"rle8", 8, 1, fourColours, "\1\2\1\3\0\0\1\0\1\1\0\1"s},
    BmpCase{"rle8Literal", 8, 1, fourColours, "\0\3\2\3\0\0\0\0\1\0\1\1\0\1"s},
    BmpCase{"rle4", 4, 2, fourColours, "\2\x23\0\0\2\x01\0\1"s},
    BmpCase{"bits16", 16, 0, "", "\x1f\0\xff\x7f\0\x7c\xe0\3"s},
    BmpCase{"bits565", 16, 3, masks565, "\x1f\0\xff\xff\0\xf8\xe0\7"s},
    BmpCase{"bits24", 24, 0, "", "\xff\0\0\xff\xff\xff\0\0\0\0\xff\0\xff\0\0\0"s},
    BmpCase{"bits32", 32, 0, "", "\xff\0\0\0\xff\xff\xff\0\0\0\xff\0\0\xff\0\0"s},
};

class Bmp : public testing::TestWithParam<BmpCase>
{};

TEST_P(Bmp, isReadAsItLooks)
{
    const test::TestFolder folder;
    const std::optional<ImageSource> source =
        ImageSource::open(folder.write("a.bmp", file(GetParam())), folder.path());
    ASSERT_TRUE(source);
    std::optional<ImageDestination> destination =
        ImageDestination::create(folder / "a.png", ImageType::Png, 1);
    destination->addImage(source->frame(0), {}, 1.0);
    destination->finalize();

    const test::Picture picture = test::decodedByFfmpeg(folder / "a.png", 2, 2);
    const bool twoColours = GetParam().bits == 1;
    EXPECT_EQ(picture.at(0, 0), test::red);
    EXPECT_EQ(picture.at(1, 0), twoColours ? test::white : test::green);
    EXPECT_EQ(picture.at(0, 1), twoColours ? test::red : test::blue);
    EXPECT_EQ(picture.at(1, 1), test::white);
}

TEST_P(Bmp, cutShortIsAReadingFailure)
{
    const test::TestFolder folder;
    const std::string whole = file(GetParam());
    for (std::size_t length = 26; length < whole.size(); ++length) {
        const std::filesystem::path path = folder.write("a.bmp", whole.substr(0, length));
        EXPECT_THROW(ImageSource::open(path, folder.path())->frame(0).decode(), ImageReadError) << length;
    }
}

INSTANTIATE_TEST_SUITE_P(OfEachKind, Bmp, testing::ValuesIn(bmpCases),
                         [](const auto &row) { return row.param.name; });

// Each skip moves 255 pixels to the right: more of them than fit an int once led to the pixels before the
// picture.
TEST(BmpRle, skipsAsFarAsItIsTold)
{
    constexpr std::size_t skips = (std::size_t{1} << 23U) + 40'000;
    std::string codes;
    codes.reserve(4 * skips + 8);
    for (std::size_t i = 0; i < skips; ++i)
        codes += "\0\2\xff\0"s;
    codes += "\2\7"s + "\0\1"s;
    BmpHeader header;
    header.size = {2, 2};
    header.coding = BmpHeader::Coding::Rle8;
    EXPECT_EQ(unpackBmpRle(codes, header), QByteArray(4, '\0'));
}

TEST(BmpWriter, putsTransparencyOntoWhite)
{
    const test::TestFolder folder;
    const auto source =
        ImageSource::open(folder.write("a.bmp", test::bmpBytes(test::plain(3, 2, test::clear))), {});
    std::optional<ImageDestination> destination =
        ImageDestination::create(folder / "b.bmp", ImageType::Bmp, 1);
    destination->addImage(source->frame(0), {}, 1.0);
    destination->finalize();
    EXPECT_EQ(test::decodedByFfmpeg(folder / "b.bmp", 3, 2).at(2, 1), test::white);
}

} // namespace
} // namespace quorvalent
