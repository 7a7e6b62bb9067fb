#include "fuzz/FuzzInputs.h"
#include "support/TestFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

// Inputs that once found a fault, from the fuzzers and from reading the code: each would crash, or break a
// promise, again. Some show under the sanitizers only.

namespace quorvalent::test {
namespace {

using namespace std::string_literals;

using Try = std::function<void(std::span<const std::uint8_t>)>;

void expectNoFault(const Try &tryInput, const std::string &bytes)
{
    EXPECT_NO_THROW(tryInput({reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size()}));
}

std::string number(std::uint64_t value, int bytes, bool bigEndian)
{
    std::string result;
    for (int i = 0; i < bytes; ++i)
        result += static_cast<char>(value >> (8 * (bigEndian ? bytes - 1 - i : i)) & 0xff);
    return result;
}
std::string little(std::uint64_t value, int bytes)
{
    return number(value, bytes, false);
}
std::string big(std::uint64_t value, int bytes)
{
    return number(value, bytes, true);
}

std::string box(const std::string &type, const std::string &content)
{
    return big(content.size() + 8, 4) + type + content;
}

// Rows and height whose product passes 64 bits.
std::string bmpOfAllThePixelsThereAre()
{
    return "BM" + little(54, 4) + little(0, 4) + little(54, 4) + little(40, 4) + little(0x7fffffff, 4) +
           little(0x7fffffff, 4) + little(1, 2) + little(32, 2) + std::string(24, '\0');
}

// 65 535 tags for one value: the block made from them would have 4 GB.
std::string tiffThatNamesOneValueManyTimes()
{
    constexpr std::uint64_t tags = 0xffff;
    const std::uint64_t valueAt = 10;
    std::string file = "II*\0"s + little(0, 4) + little(0, 2) + std::string(65536, 'x');
    const std::uint64_t exifAt = file.size();
    file += little(tags, 2);
    for (std::uint64_t i = 0; i < tags; ++i)
        file += little(0x9000, 2) + little(7, 2) + little(65536, 4) + little(valueAt, 4);
    const std::uint64_t imageAt = file.size();
    file += little(1, 2) + little(0x8769, 2) + little(4, 2) + little(1, 4) + little(exifAt, 4) + little(0, 4);
    return file.replace(4, 4, little(imageAt, 4));
}

// Each of the frames it announces is visited when the sizes are compared.
std::string pngOfTwoBillionFrames()
{
    const std::string header = big(2, 4) + big(2, 4) + "\x08\0\0\0\0"s;
    const std::string zlib = "\x78\x01\x01\x06\0\xf9\xff\0\0\0\0\0\0\0\x06\0\x01"s;
    // No reader minds the checks' values that are wrong here, apart from the first.
    return "\x89PNG\r\n\x1a\n" + big(header.size(), 4) + "IHDR" + header + "\x57\xdd\x52\xf8" + big(8, 4) +
           "acTL" + big(0x7fffffff, 4) + big(0, 4) + big(0, 4) + big(zlib.size(), 4) + "IDAT" + zlib +
           big(0, 4) + big(0, 4) + "IEND\xae\x42\x60\x82";
}

std::string movieWithAnEditBeyond64Bits()
{
    const std::string flags(4, '\0');
    const std::string head = flags + std::string(8, '\0') + big(1, 4) + big(1000, 4);
    const std::string media = flags + std::string(8, '\0') + big(48000, 4) + big(1000, 4);
    const std::string edits = "\1\0\0\0"s + big(1, 4) + big(0x7fffffffffffffff, 8) + big(0, 8) + big(1, 4);
    return box("ftyp", "M4A \0\0\0\0"s) +
           box("moov", box("mvhd", head) +
                           box("trak", box("edts", box("elst", edits)) +
                                           box("mdia", box("mdhd", media) +
                                                           box("hdlr", std::string(8, '\0') + "soun"))));
}

// A size in bits beyond 63.
std::string aiffOfTheMostSamples()
{
    const std::string common =
        big(0xffff, 2) + big(0xffffffff, 4) + big(0xffff, 2) + "\x40\x0e\xac\x44\0\0\0\0\0\0"s;
    return "FORM" + big(100, 4) + "AIFFCOMM" + big(common.size(), 4) + common + "SSND" + big(8, 4) +
           std::string(8, '\0');
}

struct MadeInput
{
    const char *name;
    Try tryInput;
    std::string (*bytes)();
};

void PrintTo(const MadeInput &input, std::ostream *out)
{
    *out << input.name;
}

class MadeFind : public testing::TestWithParam<MadeInput>
{};

TEST_P(MadeFind, endsInAResultOrARefusal)
{
    expectNoFault(GetParam().tryInput, GetParam().bytes());
}

INSTANTIATE_TEST_SUITE_P(
    , MadeFind,
    testing::Values(MadeInput{"bmpOfAllThePixelsThereAre", tryHeaders, bmpOfAllThePixelsThereAre},
                    MadeInput{"tiffThatNamesOneValueManyTimes", tryHeaders, tiffThatNamesOneValueManyTimes},
                    MadeInput{"pngOfTwoBillionFrames", tryPicture, pngOfTwoBillionFrames},
                    MadeInput{"movieWithAnEditBeyond64Bits", tryHeaders, movieWithAnEditBeyond64Bits},
                    MadeInput{"aiffOfTheMostSamples", tryHeaders, aiffOfTheMostSamples}),
    [](const auto &row) { return std::string(row.param.name); });

} // namespace
} // namespace quorvalent::test
