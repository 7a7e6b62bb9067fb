#include "media/PictureExtras.h"
#include "support/TestFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>

namespace quorvalent {
namespace {

using test::TestFolder;
using testing::ElementsAreArray;
using Extras = std::vector<PictureExtra>;

std::string number(std::size_t value, int bytes)
{
    std::string text;
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8)
        text += static_cast<char>(value >> static_cast<unsigned>(shift));
    return text;
}

std::string box(const std::string &type, const std::string &content)
{
    return number(content.size() + 8, 4) + type + content;
}

std::string heic(const std::string &meta, const std::string &more = {})
{
    return box("ftyp", "heicmif1heic") + box("meta", meta) + box("mdat", "pixels") + more;
}

std::string segment(char marker, const std::string &content)
{
    return std::string("\xff") + marker + number(content.size() + 2, 2) + content;
}

/// Segments, and one scan with a byte that looks like a marker.
std::string jpeg(const std::string &segments = {})
{
    return "\xff\xd8" + segments + segment('\xda', "scan") + std::string("a\xff\0b\xff\xd0", 6) + "c\xff\xd9";
}

/// A JPEG with another one behind it, which its index names as of that kind.
std::string twoPictures(const std::string &kind, const std::string &second)
{
    const auto index = [&](std::size_t offset) {
        const std::string entries = std::string(16, '\0') + kind + number(second.size(), 4) +
                                    number(offset, 4) + std::string(4, '\0');
        const std::string mp = std::string("MM\0*\0\0\0\x08\0\1\xb0\2\0\7", 14) + number(entries.size(), 4) +
                               number(26, 4) + std::string(4, '\0') + entries;
        return jpeg(segment('\xe2', std::string("MPF\0", 4) + mp));
    };
    const std::size_t size = index(0).size();
    return index(size - std::string("\xff\xd8\xff\xe2..MPF.").size()) + second;
}

std::string tiffWith(std::uint16_t tag)
{
    return std::string("MM\0*\0\0\0\x08\0\1", 10) + number(tag, 2) + number(1, 2) + number(4, 4) + "1234" +
           std::string(4, '\0');
}

const std::string film = box("ftyp", "isomiso2mp41") + box("moov", "");
const std::string xmp = std::string("http://ns.adobe.com/xap/1.0/\0", 29);

struct ExtrasCase
{
    const char *name;
    std::string bytes;
    Extras extras;
};

void PrintTo(const ExtrasCase &row, std::ostream *out)
{
    *out << row.name;
}

class EachPicture : public testing::TestWithParam<ExtrasCase>
{};

TEST_P(EachPicture, tellsWhatItHoldsBesideItself)
{
    const TestFolder folder;
    EXPECT_THAT(pictureExtras(folder.write("picture", GetParam().bytes)),
                ElementsAreArray(GetParam().extras));
}

INSTANTIATE_TEST_SUITE_P(
    PictureExtras, EachPicture,
    testing::Values(
        ExtrasCase{"plainJpeg", jpeg(), {}}, //
        ExtrasCase{"jpegWithFilm", jpeg() + std::string(7, '\0') + film, {PictureExtra::Film}},
        ExtrasCase{"jpegWhoseMetadataNameAFilmType", jpeg(segment('\xe1', film)), {}},
        ExtrasCase{"jpegCutInAFilmType", jpeg() + film.substr(0, 10), {}},
        ExtrasCase{
            "jpegWithGainMap",
            twoPictures(std::string(4, '\0'), jpeg(segment('\xe1', "http://ns.adobe.com/hdr-gain-map/1.0/"))),
            {PictureExtra::GainMap}},
        ExtrasCase{"jpegWithPreview", twoPictures(std::string("\0\1\0\2", 4), jpeg()), {}},
        ExtrasCase{
            "jpegOfAStereoPair", twoPictures(std::string("\0\2\0\2", 4), jpeg()), {PictureExtra::OtherViews}},
        ExtrasCase{"jpegWithDepthBehindIt",
                   jpeg(segment('\xe1', xmp + "Semantic=\"DepthMap\"")) + jpeg(),
                   {PictureExtra::DepthMap}},
        ExtrasCase{"jpegThatLostItsGainMap", jpeg(segment('\xe1', xmp + "Semantic=\"GainMap\"")), {}},
        ExtrasCase{"jpegOfAThermalCamera",
                   jpeg(segment('\xe1', std::string("FLIR\0", 5))),
                   {PictureExtra::SensorData}},
        ExtrasCase{"plainHeic", heic("urn:mpeg:hevc:2015:auxid:1"), {}},
        ExtrasCase{"heicWithFilm", heic("", box("mpvd", film)), {PictureExtra::Film}},
        ExtrasCase{"heicOfASequence", heic("", box("moov", "")), {PictureExtra::Film}},
        ExtrasCase{"heicWithMaps",
                   heic("urn:com:apple:photo:2020:aux:hdrgainmap urn:mpeg:hevc:2015:auxid:2"),
                   {PictureExtra::GainMap, PictureExtra::DepthMap}},
        ExtrasCase{"heicWithToneMap", heic("infe tmap"), {PictureExtra::GainMap}},
        ExtrasCase{"plainTiff", tiffWith(0x100), {}},
        ExtrasCase{"tiffWithLayers", tiffWith(0x935c), {PictureExtra::Layers}},
        ExtrasCase{"tiffOfACamera", tiffWith(0xc612), {PictureExtra::SensorData}}),
    [](const auto &row) { return row.param.name; });

} // namespace
} // namespace quorvalent
