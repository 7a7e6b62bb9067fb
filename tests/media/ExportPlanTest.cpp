#include "media/ExportPlan.h"

#include "media/VideoFilters.h"

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

constexpr const char *copied = "-map 0:0 -c:0 copy -copyinkf:0 ";
constexpr const char *toH264 = "-map 0:0 -c:0 libx264 -preset:0 fast -crf:0 16 ";
constexpr const char *toAac = "-map 0:0 -c:0 aac -b:0 256k ";

TEST(ExportPlan, passesThroughWhatTheFileTypeCarriesAndReEncodesTheRest)
{
    const StreamCase cases[] = {
        {"h264ToMp4", Kind::Video, "h264", HighestQuality, Mpeg4, copied},
        {"hevcIsTaggedForEveryPlayer", Kind::Video, "hevc", HighestQuality, AppleM4V, "-tag:0 hvc1 "},
        {"av1ToMp4", Kind::Video, "av1", HighestQuality, Mpeg4, copied},
        {"av1ToMov", Kind::Video, "av1", HighestQuality, QuickTimeMovie, toH264},
        {"proresToMov", Kind::Video, "prores", HighestQuality, QuickTimeMovie, copied},
        {"proresToMp4", Kind::Video, "prores", HighestQuality, Mpeg4, toH264},
        {"vp9ToM4v", Kind::Video, "vp9", HighestQuality, AppleM4V, toH264},
        {"h264AtMedium", Kind::Video, "h264", MediumQuality, Mpeg4, "-crf:0 23 "},
        {"h264AtLow", Kind::Video, "h264", LowQuality, Mpeg4, "-crf:0 30 "},
        {"pcmToMov", Kind::Audio, "pcm_s24le", HighestQuality, QuickTimeMovie, copied},
        {"pcmToMp4", Kind::Audio, "pcm_s24le", HighestQuality, Mpeg4, toAac},
        {"alacToMp4", Kind::Audio, "alac", HighestQuality, Mpeg4, copied},
        {"mp3ToM4v", Kind::Audio, "mp3", HighestQuality, AppleM4V, toAac},
        {"ac3ToM4v", Kind::Audio, "ac3", HighestQuality, AppleM4V, copied},
        {"aacAtMedium", Kind::Audio, "aac", MediumQuality, Mpeg4, "-c:0 aac -b:0 160k "},
        {"aacAtLow", Kind::Audio, "aac", LowQuality, Mpeg4, "-c:0 aac -b:0 128k "},
        {"subripBecomesMovText", Kind::Subtitle, "subrip", HighestQuality, Mpeg4, "-c:0 mov_text "},
        {"coverToMp4", Kind::CoverPicture, "mjpeg", LowQuality, Mpeg4, "-disposition:0 attached_pic "},
        {"indexAtTheStart", Kind::Video, "h264", LowQuality, QuickTimeMovie, "+faststart -f mov "},
    };
    for (const StreamCase &c : cases) {
        std::vector<SourceStream> streams = {streamOf(c.kind, c.codec)};
        if (c.kind != Kind::Video)
            streams.push_back(streamOf(Kind::Video, "h264"));
        EXPECT_THAT(joined(planExport(mediaOf(streams), c.preset, c.type)), testing::HasSubstr(c.expected))
            << c.name;
    }
}

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

TEST(EncodedPicture, hasEvenSidesWithinTheLimitAsSeen)
{
    const PictureCase cases[] = {
        {"small", {640, 360}, 0, 1, {640, 360}, ""},
        {"odd", {321, 241}, 0, 1, {320, 240}, "crop=320:240:0:0,"},
        {"large", {1920, 1080}, 0, 1, {1280, 720}, "scale=1280:720:flags=bicubic,setsar=1,"},
        {"turned", {1280, 720}, 90, 1, {406, 720}, "scale=406:720:flags=bicubic,setsar=1,"},
        {"wide", {1440, 720}, 0, 4.0 / 3, {1280, 480}, "scale=1280:480:flags=bicubic,setsar=1,"},
        {"wide pixels within the limit", {720, 576}, 0, 64.0 / 45, {720, 576}, ""},
    };
    for (const PictureCase &c : cases) {
        SourceStream stream = streamOf(Kind::Video, "h264");
        stream.width = c.stored.width;
        stream.height = c.stored.height;
        stream.rotationDegrees = c.rotation;
        stream.pixelAspect = c.aspect;

        const EncodedPicture picture = encodedPicture(stream, {1280, 720});
        EXPECT_EQ(picture.size, c.expected) << c.name;
        EXPECT_EQ(picture.filters, std::string(c.filters) + "format=yuv420p") << c.name;
    }
}

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
