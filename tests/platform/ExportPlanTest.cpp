#include "platform/ExportPlan.h"

#include "platform/VideoFilters.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorvalent::test {

namespace {

using namespace Qt::StringLiterals;
using Kind = SourceStream::Kind;
using enum ExportPreset;
using enum MovieFileType;

SourceStream streamOf(Kind kind, const char *codec)
{
    SourceStream stream;
    stream.kind = kind;
    stream.codec = QString::fromLatin1(codec);
    stream.isDecodable = true;
    stream.width = kind == Kind::Video ? 640 : 0;
    stream.height = kind == Kind::Video ? 360 : 0;
    stream.channels = kind == Kind::Audio ? 2 : 0;
    return stream;
}

SourceMedia mediaOf(std::vector<SourceStream> streams, const QString &format = u"matroska,webm"_s)
{
    int index = 0;
    for (SourceStream &stream : streams)
        stream.index = index++;
    SourceMedia media;
    media.format = format;
    media.streams = std::move(streams);
    media.seconds = 1;
    return media;
}

// Every argument of the plan, each followed by a space.
std::string joined(const std::optional<ExportPlan> &plan)
{
    std::string line;
    for (const std::string &argument : plan.value().arguments)
        line += argument + " ";
    return line;
}

struct StreamCase
{
    const char *name;
    Kind kind;
    const char *codec;
    ExportPreset preset;
    MovieFileType type;
    const char *expected; ///< part of the arguments
};

void PrintTo(const StreamCase &value, std::ostream *out)
{
    *out << value.name;
}

class PlannedStream : public testing::TestWithParam<StreamCase>
{};

TEST_P(PlannedStream, isPassedThroughOrReEncoded)
{
    const StreamCase &c = GetParam();
    std::vector<SourceStream> streams = {streamOf(c.kind, c.codec)};
    if (c.kind != Kind::Video)
        streams.push_back(streamOf(Kind::Video, "h264"));

    EXPECT_THAT(joined(planExport(mediaOf(streams), c.preset, c.type)), testing::HasSubstr(c.expected));
}

constexpr const char *copied = "-map 0:0 -c:0 copy -copyinkf:0 ";
constexpr const char *toH264 = "-map 0:0 -c:0 libx264 -preset:0 fast -crf:0 16 ";
constexpr const char *toAac = "-map 0:0 -c:0 aac -b:0 256k ";

INSTANTIATE_TEST_SUITE_P(
    Streams, PlannedStream,
    testing::Values(
        StreamCase{"h264ToMp4", Kind::Video, "h264", HighestQuality, Mpeg4, copied},
        StreamCase{"hevcIsTaggedForEveryPlayer", Kind::Video, "hevc", HighestQuality, AppleM4V,
                   "-tag:0 hvc1 "},
        StreamCase{"av1ToMp4", Kind::Video, "av1", HighestQuality, Mpeg4, copied},
        StreamCase{"av1ToMov", Kind::Video, "av1", HighestQuality, QuickTimeMovie, toH264},
        StreamCase{"proresToMov", Kind::Video, "prores", HighestQuality, QuickTimeMovie, copied},
        StreamCase{"proresToMp4", Kind::Video, "prores", HighestQuality, Mpeg4, toH264},
        StreamCase{"vp9ToM4v", Kind::Video, "vp9", HighestQuality, AppleM4V, toH264},
        StreamCase{"h264AtMedium", Kind::Video, "h264", MediumQuality, Mpeg4, "-crf:0 23 "},
        StreamCase{"h264AtLow", Kind::Video, "h264", LowQuality, Mpeg4, "-crf:0 30 "},
        StreamCase{"pcmToMov", Kind::Audio, "pcm_s24le", HighestQuality, QuickTimeMovie, copied},
        StreamCase{"pcmToMp4", Kind::Audio, "pcm_s24le", HighestQuality, Mpeg4, toAac},
        StreamCase{"alacToMp4", Kind::Audio, "alac", HighestQuality, Mpeg4, copied},
        StreamCase{"mp3ToM4v", Kind::Audio, "mp3", HighestQuality, AppleM4V, toAac},
        StreamCase{"ac3ToM4v", Kind::Audio, "ac3", HighestQuality, AppleM4V, copied},
        StreamCase{"aacAtMedium", Kind::Audio, "aac", MediumQuality, Mpeg4, "-c:0 aac -b:0 160k "},
        StreamCase{"aacAtLow", Kind::Audio, "aac", LowQuality, Mpeg4, "-c:0 aac -b:0 128k "},
        StreamCase{"subripBecomesMovText", Kind::Subtitle, "subrip", HighestQuality, Mpeg4, "-c:0 mov_text "},
        StreamCase{"coverToMp4", Kind::CoverPicture, "mjpeg", LowQuality, Mpeg4,
                   "-disposition:0 attached_pic "},
        StreamCase{"indexAtTheStart", Kind::Video, "h264", LowQuality, QuickTimeMovie, "+faststart -f mov "}),
    [](const auto &test) { return std::string(test.param.name); });

TEST(ExportPlan, saysWhatStaysBehind)
{
    const SourceMedia source =
        mediaOf({streamOf(Kind::Video, "h264"), streamOf(Kind::Subtitle, "dvd_subtitle"),
                 streamOf(Kind::CoverPicture, "mjpeg"), streamOf(Kind::Other, "")});

    const std::optional<ExportPlan> plan = planExport(source, HighestQuality, QuickTimeMovie);

    EXPECT_EQ(plan.value().tracks.size(), 1U);
    EXPECT_EQ(plan->omissions, (QStringList{u"Piste 2 omise : sous-titres en images."_s,
                                            u"Piste 3 omise : image de couverture."_s,
                                            u"Piste 4 omise : données sans équivalent."_s}));
}

TEST(ExportPlan, keepsLeanAacAndReordersNoAviFrames)
{
    SourceStream lean = streamOf(Kind::Audio, "aac");
    lean.profile = u"LC"_s;
    lean.bitrateKbps = 96;
    SourceStream reordered = streamOf(Kind::Video, "h264");
    reordered.hasReorderedFrames = true;

    const SourceMedia source = mediaOf({reordered, lean}, u"avi"_s);

    EXPECT_THAT(joined(planExport(source, LowQuality, Mpeg4)), testing::HasSubstr("-c:1 copy "));
    EXPECT_THAT(joined(planExport(source, HighestQuality, Mpeg4)), testing::HasSubstr("-c:0 libx264 "));
}

TEST(ExportPlan, refusesWhatCannotBecomeAMovie)
{
    SourceStream encrypted = streamOf(Kind::Video, "h264");
    encrypted.isEncrypted = true;
    SourceStream unreadable = streamOf(Kind::Video, "");
    unreadable.isDecodable = false;
    SourceStream tooManyChannels = streamOf(Kind::Audio, "opus");
    tooManyChannels.channels = 16;
    SourceStream privateColours = streamOf(Kind::Video, "hevc");
    privateColours.dolbyVisionProfile = 5;
    SourceMedia cutOff = mediaOf({streamOf(Kind::Video, "h264")});
    cutOff.isTruncated = true;

    EXPECT_EQ(planExport(mediaOf({encrypted}), HighestQuality, Mpeg4), std::nullopt);
    EXPECT_EQ(planExport(mediaOf({unreadable}), HighestQuality, Mpeg4), std::nullopt);
    EXPECT_EQ(planExport(mediaOf({tooManyChannels}), HighestQuality, Mpeg4), std::nullopt);
    EXPECT_EQ(planExport(mediaOf({privateColours}), MediumQuality, Mpeg4), std::nullopt);
    EXPECT_NE(planExport(mediaOf({privateColours}), HighestQuality, Mpeg4), std::nullopt);
    EXPECT_EQ(planExport(mediaOf({streamOf(Kind::Subtitle, "subrip")}), HighestQuality, Mpeg4), std::nullopt);
    EXPECT_EQ(planExport(cutOff, HighestQuality, Mpeg4), std::nullopt);
}

struct PictureCase
{
    const char *name;
    PixelSize stored;
    int rotation;
    double aspect;
    PixelSize expected;
    const char *filters;
};

void PrintTo(const PictureCase &value, std::ostream *out)
{
    *out << value.name;
}

class FittedPicture : public testing::TestWithParam<PictureCase>
{};

TEST_P(FittedPicture, hasEvenSidesWithinTheLimitAsSeen)
{
    const PictureCase &c = GetParam();
    SourceStream stream = streamOf(Kind::Video, "h264");
    stream.width = c.stored.width;
    stream.height = c.stored.height;
    stream.rotationDegrees = c.rotation;
    stream.pixelAspect = c.aspect;

    const EncodedPicture picture = encodedPicture(stream, {1280, 720});

    EXPECT_EQ(picture.size, c.expected);
    EXPECT_EQ(picture.filters, c.filters);
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, FittedPicture,
    testing::Values(
        PictureCase{"small", {640, 360}, 0, 1, {640, 360}, "format=yuv420p"},
        PictureCase{"odd", {321, 241}, 0, 1, {320, 240}, "crop=320:240:0:0,format=yuv420p"},
        PictureCase{
            "large", {1920, 1080}, 0, 1, {1280, 720}, "scale=1280:720:flags=bicubic,setsar=1,format=yuv420p"},
        PictureCase{
            "turned", {1280, 720}, 90, 1, {406, 720}, "scale=406:720:flags=bicubic,setsar=1,format=yuv420p"},
        PictureCase{"wide",
                    {1440, 720},
                    0,
                    4.0 / 3,
                    {1280, 480},
                    "scale=1280:480:flags=bicubic,setsar=1,format=yuv420p"},
        PictureCase{"narrowPixels", {720, 576}, 0, 64.0 / 45, {720, 576}, "format=yuv420p"}),
    [](const auto &test) { return std::string(test.param.name); });

TEST(EncodedPicture, bringsEveryPictureIntoTheOrdinaryRange)
{
    SourceStream hdr = streamOf(Kind::Video, "hevc");
    hdr.transfer = u"arib-std-b67"_s;
    SourceStream fields = streamOf(Kind::Video, "mpeg2video");
    fields.isInterlaced = true;
    SourceStream full = streamOf(Kind::Video, "mjpeg");
    full.isFullRange = true;

    EXPECT_THAT(encodedPicture(hdr, {}).filters, testing::StartsWith("zscale=tin=arib-std-b67:pin=bt2020:"));
    EXPECT_THAT(encodedPicture(fields, {}).filters, testing::StartsWith("bwdif="));
    EXPECT_EQ(encodedPicture(full, {}).filters, "scale=out_range=tv,format=yuv420p");
}

} // namespace

} // namespace quorvalent::test
