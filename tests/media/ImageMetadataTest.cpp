#include "media/image/FrameTiming.h"
#include "media/image/Metadata.h"
#include "media/image/TagDirectory.h"
#include "support/Pictures.h"

#include <gtest/gtest.h>

namespace quorvalent {
namespace {

class UprightExif : public testing::TestWithParam<bool>
{};

TEST_P(UprightExif, turnsTheTagResizesAndDropsTheThumbnail)
{
    const bool bigEndian = GetParam();
    const QByteArray block = QByteArray::fromStdString(test::exifBytes(6, bigEndian));

    const QByteArray upright = uprightExif("Exif" + QByteArray(2, '\0') + block, {40, 30});

    const std::optional<TiffBytes> structure = TiffBytes::of(upright);
    ASSERT_TRUE(structure);
    const TagEntries image = entriesAt(*structure, 8);
    EXPECT_EQ(structure->u16(image.find(Tags::orientation)->valueAt), 1);
    EXPECT_EQ(structure->u32(image.nextAt), 0U);
    const TagEntries exif = entriesAt(*structure, *structure->u32(image.find(Tags::exifDirectory)->valueAt));
    EXPECT_EQ(structure->u32(exif.find(Tags::pixelWidth)->valueAt), 40U);
    EXPECT_EQ(structure->u16(exif.find(Tags::pixelHeight)->valueAt), 30);
    EXPECT_TRUE(upright.contains("2021:05:04 03:02:01"));
    EXPECT_FALSE(upright.contains("thumbnail"));
}

TEST_P(UprightExif, survivesEveryTruncationAndEveryChangedByte)
{
    const QByteArray block = QByteArray::fromStdString(test::exifBytes(8, GetParam()));
    for (qsizetype i = 0; i < block.size(); ++i) {
        EXPECT_LE(uprightExif(block.first(i), {1, 1}).size(), i);
        QByteArray changed = block;
        changed[i] = '\xff';
        EXPECT_LE(uprightExif(changed, {1, 1}).size(), block.size());
    }
}

INSTANTIATE_TEST_SUITE_P(InEitherByteOrder, UprightExif, testing::Bool());

TEST(ExifTags, goThroughABlockOfEitherByteOrder)
{
    const QByteArray big = QByteArray::fromStdString(test::exifBytes(1, true));
    const ExifTags tags = exifTagsAt(*TiffBytes::of(big), 8);
    ASSERT_EQ(tags.image.size(), 1U); // the date; orientation belongs to the pixels
    ASSERT_EQ(tags.exif.size(), 2U);

    const QByteArray block = exifBlock(tags);

    const ExifTags again = exifTagsAt(*TiffBytes::of(block), 8);
    ASSERT_EQ(again.image.size(), 1U);
    EXPECT_EQ(again.image[0].value, QByteArray("2021:05:04 03:02:01\0", 20));
    ASSERT_EQ(again.exif.size(), 2U);
    EXPECT_EQ(again.exif[0].value, QByteArray("\xe7\x03\0\0", 4)); // 999
    EXPECT_EQ(again.exif[1].value, QByteArray("\x78\x03", 2));     // 888
}

TEST(Iptc, isFoundAmongPhotoshopResources)
{
    const QByteArray records("\x1c\x02\x50\0\3Ann", 8);
    const QByteArray other("8BIM\x04\x0f\1x\0\0\0\3abc\0", 16);
    const QByteArray wanted("8BIM\x04\x04\0\0\0\0\0\x08", 12);
    EXPECT_EQ(iptcFromPhotoshop(QByteArray("Photoshop 3.0\0", 14) + other + wanted + records), records);
    EXPECT_EQ(iptcFromPhotoshop(records), records);
    EXPECT_EQ(iptcFromPhotoshop(wanted + records.first(4)), QByteArray()); // cut off
}

TEST(Xmp, losesItsOrientationInEitherSpelling)
{
    EXPECT_EQ(uprightXmp("<x tiff:Orientation=\"6\"/>"), "<x tiff:Orientation=\"1\"/>");
    EXPECT_EQ(uprightXmp("<tiff:Orientation>8</tiff:Orientation>"), "<tiff:Orientation>1</tiff:Orientation>");
    EXPECT_EQ(uprightXmp("<x GCamera:MotionPhoto=\"1\" GCamera:MotionPhotoVersion=\"1\"/>"),
              "<x GCamera:MotionPhoto=\"0\" GCamera:MotionPhotoVersion=\"1\"/>")
        << "a film that is not there";
}

TEST(FrameTiming, isALineOfItsOwnBehindTheUsersText)
{
    const FrameTiming timing{std::chrono::milliseconds(70), 3};
    QByteArray description = withTiming("Été", timing);
    EXPECT_EQ(takeTiming(description), timing);
    EXPECT_EQ(description, QByteArray("Été"));

    QByteArray foreign = "animation frame: delay soon";
    EXPECT_EQ(takeTiming(foreign), FrameTiming{});
    EXPECT_EQ(foreign, "animation frame: delay soon");
}

} // namespace
} // namespace quorvalent
