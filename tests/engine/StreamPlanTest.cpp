#include "engine/StreamPlan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <sstream>

namespace quorvalent {

namespace {

using Kind = MediaStream::Kind;

// Streams as words: a kind, a codec, and for pictures the size, for sounds the layout or a bare number.
MediaAsset asset(const std::string &text)
{
    static const std::map<std::string, Kind> kinds{
        {"v", Kind::Video},           {"a", Kind::Audio},
        {"s", Kind::Subtitle},        {"cover", Kind::AttachedPicture},
        {"file", Kind::Attachment},   {"time", Kind::Timecode},
        {"chapters", Kind::Chapters}, {"data", Kind::Data}};
    MediaAsset asset;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        std::istringstream parts(word);
        std::string kind, codec, detail;
        std::getline(parts, kind, ':');
        std::getline(parts, codec, ':');
        std::getline(parts, detail);
        std::replace(detail.begin(), detail.end(), '_', ' ');
        MediaStream stream;
        stream.kind = kinds.at(kind);
        stream.codec = QString::fromStdString(codec);
        stream.width = stream.height = detail.empty() || stream.kind != Kind::Video ? 64 : std::stoi(detail);
        stream.channels = detail == "5.1(side)" ? 6 : 2;
        if (stream.kind == Kind::Audio && !detail.empty())
            stream.channelLayout = QString::fromStdString(detail);
        if (detail.starts_with("9"))
            stream.channels = 9;
        asset.chapters += stream.kind == Kind::Chapters ? 1 : 0;
        asset.streams.push_back(stream);
    }
    return asset;
}

constexpr char data[] = " omise : données sans équivalent.";

TEST(StreamPlan, addsTheLeastToTheFixedLineAndNamesWhatStaysBehind)
{
    const std::string pan = "-filter:a:0 pan=7.1|c0=c0|c1=c1|c2=c2|c3=c3|c4=c4|c5=c5|c6=c6|c7=c7";
    const std::string even = "crop=floor(iw/2)*2:floor(ih/2)*2:0:0";
    const std::string nineTold = "Piste 2 : 9 canaux réduits à 8.";
    for (const auto &[streams, target, added, omissions] : std::vector<std::array<std::string, 4>>{
             // the fixed line carries all
             {"v:h264 a:aac s:mov_text time chapters", "mkv", "", ""},
             {"a:aac v:h264 s:ass", "webm", "", ""},
             {"v:h264 a:ac3", "avi", "", ""},
             {"a:flac cover:mjpeg", "mp3", "", ""},
             {"a:pcm:9_channels", "wav", "", ""},
             // it would leave behind what the target holds
             {"v:h264 a:aac a:aac", "mkv", "-map 0:0 -map 0:1 -map 0:2", ""},
             {"v:h264 a:aac a:aac s:subrip", "avi", "-map 0:0 -map 0:1 -map 0:2",
              "Piste 4 omise : sous-titres."},
             {"v:h264 v:h264 a:aac s:webvtt s:ass", "webm",
              "-map 0:0 -map 0:1 -map 0:2 -map 0:3 -map 0:4 -c:s:0 copy -c:s:1 webvtt", ""},
             {"v:h264 s:dvd_subtitle file:ttf s:mov_text", "mkv",
              "-map 0:0 -map 0:1 -map 0:2 -map 0:3 -c:s:0 copy -c:s:1 ass", ""},
             {"v:h264 cover:png", "mkv",
              "-attach cover.png -metadata:s:t:0 mimetype=image/png -metadata:s:t:0 filename=cover.png", ""},
             {"v:h264 file:ttf cover:mjpeg", "mkv",
              "-map 0:0 -map 0:1 -attach cover.jpg -metadata:s:t:1 mimetype=image/jpeg -metadata:s:t:1 "
              "filename=cover.jpg",
              ""},
             {"v:h264 a:aac s:subrip", "m4v", "-map 0:0 -map 0:1 -map 0:2 -c:s:0 mov_text", ""},
             // what it does not hold
             {"v:h264 s:hdmv_pgs_subtitle s:subrip s file:ttf cover:png data", "webm", "",
              "Piste 2 omise : sous-titres en images. Piste 4 omise : sous-titres illisibles. "
              "Piste 5 omise : fichier joint. Piste 6 omise : image de couverture. Piste 7" +
                  std::string(data)},
             {"v:h264 v:h264 time chapters", "avi", "",
              "Piste 2 omise : vidéo. Piste 3" + std::string(data) + " Chapitres omis."},
             {"a:aac a:aac chapters", "mp3", "", "Piste 2 omise : son."},
             {"v:theora a:vorbis chapters", "wav", "", "Piste 1 omise : vidéo. Chapitres omis."},
             // what the encoders do not take
             {"v:vp9:65 v:vp9", "mkv", "-map 0:0 -map 0:1 -filter:v:0 " + even, ""},
             {"v:vp9:65", "avi", "-filter:v:0 " + even, ""},
             {"v:vp9:65", "webm", "", ""},
             {"v:h264 a:ac3:5.1(side)", "webm", "-filter:a:0 aformat=channel_layouts=5.1", ""},
             {"v:h264 a:ac3:2.1", "webm", "-filter:a:0 aformat=channel_layouts=5.1", ""},
             {"v:h264 a:ac3:hexagonal", "webm", "-filter:a:0 aformat=channel_layouts=7.1", ""},
             {"v:h264 a:ac3:5.1(side)", "mkv", "", ""},
             {"v:h264 a:pcm:9_channels", "webm", pan, nineTold},
             {"v:h264 a:pcm:9.0", "mp4", "-filter:a:0 aformat=channel_layouts=7.1", nineTold}}) {
        const StreamPlan plan = planStreams(asset(streams), QString::fromStdString(target));
        std::string line;
        for (const std::string &argument : plan.arguments)
            line += (line.empty() ? "" : " ") + argument;
        EXPECT_EQ(line, added) << streams << " -> " << target;
        EXPECT_EQ(plan.omissions.join(QLatin1Char(' ')).toStdString(), omissions)
            << streams << " -> " << target;
    }
}

} // namespace

} // namespace quorvalent
