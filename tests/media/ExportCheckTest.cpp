#include "media/ExportCheck.h"

#include <gtest/gtest.h>

namespace quorvalent::test {

namespace {

using namespace Qt::StringLiterals;
using Kind = SourceStream::Kind;

struct Export
{
    ExportPlan plan;
    ExportLog log;
    MovieIndex result;
};

MovieTrack trackOf(const char *handler, std::uint64_t samples, double seconds)
{
    MovieTrack track;
    track.handler = handler;
    track.samples = samples;
    track.seconds = seconds;
    return track;
}

// A re-encoded picture and a sound that was passed through.
Export goodExport()
{
    PlannedTrack picture;
    picture.kind = Kind::Video;
    picture.codec = u"h264"_s;
    picture.seconds = 10;
    picture.width = 640;
    picture.height = 360;
    PlannedTrack sound;
    sound.sourceIndex = 1;
    sound.kind = Kind::Audio;
    sound.isCopied = true;
    sound.codec = u"aac"_s;
    sound.seconds = 10;
    Export good;
    good.plan.tracks = {picture, sound};
    good.plan.seconds = 10;
    good.log.packetsRead = {{0, 250}, {1, 431}};
    good.result.precedesData = true;
    good.result.tracks = {trackOf("vide", 250, 10), trackOf("soun", 431, 10.02), trackOf("tmcd", 1, 10)};
    good.result.tracks[0].width = 640;
    good.result.tracks[0].height = 360;
    return good;
}

struct CheckCase
{
    const char *name;
    bool isFaithful;
    void (*change)(Export &);
};

TEST(ExportCheck, tellsAWholeResultFromABrokenOne)
{
    const CheckCase cases[] = {
        {"good", true, [](Export &) {}},
        {"indexAtTheEnd", false, [](Export &e) { e.result.precedesData = false; }},
        {"cutOff", false, [](Export &e) { e.result.isTruncated = true; }},
        {"soundLost", false, [](Export &e) { e.result.tracks.erase(e.result.tracks.begin() + 1); }},
        {"trackTooMany", false, [](Export &e) { e.result.tracks.push_back(trackOf("soun", 1, 10)); }},
        {"tracksSwapped", false, [](Export &e) { std::swap(e.result.tracks[0], e.result.tracks[1]); }},
        {"sampleLost", false, [](Export &e) { e.result.tracks[1].samples = 430; }},
        {"encodedFrameDropped", true, [](Export &e) { e.result.tracks[0].samples = 249; }},
        {"pictureTooShort", false, [](Export &e) { e.result.tracks[0].seconds = 9.4; }},
        {"pictureTooLong", false, [](Export &e) { e.result.tracks[0].seconds = 20; }},
        {"turned", false, [](Export &e) { e.result.tracks[0].rotationDegrees = 90; }},
        {"shrunk", false, [](Export &e) { e.result.tracks[0].width = 320; }},
        {"lengthCountedFromZero", true,
         [](Export &e) {
             e.plan.tracks[0].seconds = 15;
             e.plan.tracks[0].startSeconds = 5;
         }},
        {"lengthOfTheWholeAlone", false,
         [](Export &e) {
             e.plan.tracks[0].seconds = e.plan.tracks[1].seconds = std::nullopt;
             e.plan.omissions = QStringList(u"Piste 3 omise : sous-titres en images."_s);
             e.result.seconds = 5;
         }},
        {"nothingRead", false, [](Export &e) { e.log.packetsRead.clear(); }},
    };
    for (const CheckCase &c : cases) {
        Export changed = goodExport();
        c.change(changed);
        EXPECT_EQ(isFaithful(changed.plan, changed.log, changed.result), c.isFaithful) << c.name;
    }
}

TEST(ExportLog, countsPacketsAndKeepsTheLastWords)
{
    const ExportLog log = ExportLog::parse(
        "[mov @ 0x1] [error] stream 0: bad sample\n"
        "[verbose]   Input stream #0:0 (video): 90 packets read (53858597 bytes); 90 frames decoded; \n"
        "[verbose]   Input stream #0:1 (audio): 2585 packets read (1081760 bytes); \n"
        "[verbose]   Output stream #0:0 (video): 88 frames encoded; 88 packets muxed (1 bytes); \n"
        "[fatal] Conversion failed!\n");

    EXPECT_EQ(log.packetsRead, (std::map<int, std::uint64_t>{{0, 90}, {1, 2585}}));
    EXPECT_EQ(log.packetsMuxed, (std::map<int, std::uint64_t>{{0, 88}}));
    EXPECT_EQ(log.lastWords, u"stream 0: bad sample Conversion failed!"_s);
}

} // namespace

} // namespace quorvalent::test
