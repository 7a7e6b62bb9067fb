#include "engine/MediaFamily.h"

#include "support/TestFolder.h"
#include "support/TestMedia.h"

#include <gtest/gtest.h>

#include <map>

namespace quorvalent::test {

namespace {

namespace fs = std::filesystem;
using Kind = EngineProtocol::EngineKind;
using Arguments = std::vector<std::string>;

Arguments operator+(Arguments left, const Arguments &right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

// Pictures, sounds, subtitles, covers and files of a movie.
std::string streamsOf(const fs::path &movie)
{
    const std::map<MediaStream::Kind, char> letters{{MediaStream::Kind::Video, 'v'},
                                                    {MediaStream::Kind::Audio, 'a'},
                                                    {MediaStream::Kind::Subtitle, 's'},
                                                    {MediaStream::Kind::AttachedPicture, 'c'},
                                                    {MediaStream::Kind::Attachment, 'f'}};
    std::string text;
    const std::optional<MediaAsset> asset = MediaAsset::read(movie);
    for (const MediaStream &stream : asset.value().streams)
        text += letters.count(stream.kind) > 0 ? letters.at(stream.kind) : '?';
    return text;
}

} // namespace

TEST(MediaFamily, carriesEveryStreamThatTheTargetHoldsAndTellsTheRest)
{
    const TestFolder folder;
    const fs::path text = folder.write("text.srt", "1\n00:00:00,100 --> 00:00:00,800\nSalut\n");
    const fs::path cover =
        makeMedia(folder / "art.jpg", {"-f", "lavfi", "-i", "color=red:s=16x16", "-frames:v", "1"});
    const Arguments inputs{"-f",   "lavfi", "-i",   "testsrc2=s=64x48:d=1",
                           "-f",   "lavfi", "-i",   "sine=d=1",
                           "-f",   "lavfi", "-i",   "sine=d=1:f=880",
                           "-i",   text,    "-map", "0",
                           "-map", "1",     "-map", "2",
                           "-map", "3",     "-map", "3"};
    const fs::path film =
        makeMedia(folder / "source.mkv",
                  inputs + Arguments{"-vf", "scale=63:47,format=yuv444p", "-c:v", "ffv1", "-c:a", "flac",
                                     "-attach", cover, "-metadata:s:t", "mimetype=image/jpeg", "-attach",
                                     text, "-metadata:s:t:1", "mimetype=text/plain"});
    struct Row
    {
        const char *output, *streams, *omitted;
    };
    for (const Row &row :
         {Row{"output.mkv", "vaassfc", ""},
          Row{"output.webm", "vaass", "Piste 6 omise : image de couverture. Piste 7 omise : fichier joint."},
          Row{"output.avi", "vaa",
              "Piste 4 omise : sous-titres. Piste 5 omise : sous-titres. Piste 6 omise : image de "
              "couverture. Piste 7 omise : fichier joint."}}) {
        SCOPED_TRACE(row.output);
        MediaFamily family(ffmpegProgram());
        const EngineReport report = family.convert(
            {.engine = Kind::External, .files = {"source.mkv", row.output}}, film, folder / row.output, {});
        EXPECT_EQ(report.remarks.join(u' ').toStdString(), row.omitted);
        EXPECT_EQ(report.keepsOriginal, *row.omitted != '\0');
        EXPECT_EQ(streamsOf(folder / row.output), row.streams);
        fs::rename(folder / row.output, folder / "whole");
        makeMedia(folder / row.output,
                  {"-i", folder / "whole", "-map", "0:v:0", "-map", "0:a:0", "-c", "copy"});
        fs::rename(folder / row.output, folder / "part");
        fs::rename(folder / "whole", folder / row.output);
        EXPECT_TRUE(family.matches(film, folder / row.output));
        fs::rename(folder / "part", folder / row.output);
        EXPECT_FALSE(family.matches(film, folder / row.output)) << "the second sound is lost";
    }
}

} // namespace quorvalent::test
