#include "engine/MediaFamily.h"

#include "core/ConversionError.h"
#include "support/TestFolder.h"
#include "support/TestMedia.h"

#include <gtest/gtest.h>

#include <fstream>
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

TEST(MediaFamily, convertsHalfASourceOnlyWhereTheOriginalStays)
{
    const TestFolder folder;
    struct Row
    {
        const char *source;
        EngineProtocol::EngineKind engine;
        const char *output, *sentence;
    };
    for (const Row &row : {Row{"source.wav", Kind::External, "output.aif",
                               "Fichier source incomplet : 3 s lisibles sur 4 s annoncées."},
                           Row{"source.ogg", Kind::External, "output.mp3",
                               "Fichier source incomplet : il s’interrompt après 2 s."},
                           Row{"source.mkv", Kind::External, "output.mp4",
                               "Fichier source incomplet : 3 s lisibles sur 4 s annoncées."}}) {
        SCOPED_TRACE(row.source);
        const fs::path source =
            makeMedia(folder / row.source, {"-f", "lavfi", "-i", "aevalsrc=sin(t*2000)*random(0):d=4"});
        truncate(source, 0.7);
        EngineProtocol::Conversion conversion{.engine = row.engine, .files = {row.source, row.output}};
        const auto convert = [&]() -> std::string {
            try {
                MediaFamily family(ffmpegProgram());
                const EngineReport report = family.convert(conversion, source, folder / row.output, {});
                EXPECT_TRUE(family.matches(source, folder / row.output));
                return report.remarks.join(u' ').toStdString();
            } catch (const Error &error) {
                EXPECT_FALSE(fs::exists(folder / row.output)) << "known before anything is encoded";
                return "refused: " + std::string(error.what());
            }
        };
        EXPECT_EQ(convert(), "refused: " + std::string(row.sentence));
        conversion.keepsOriginal = true;
        EXPECT_EQ(convert(), row.sentence);
    }
}

TEST(MediaFamily, blamesASourceWhosePacketsDoNotDecode)
{
    const TestFolder folder;
    const fs::path source = makeMedia(
        folder / "source.m4a", {"-f", "lavfi", "-i", "aevalsrc=sin(t*2000)*random(0):d=4", "-c:a", "aac"});
    std::fstream file(source, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(fs::file_size(source) / 3));
    file << std::string(2000, '\xA5') << std::flush;
    MediaFamily family(ffmpegProgram());
    try {
        family.convert({.engine = Kind::External, .files = {"source.m4a", "output.mp3"}}, source,
                       folder / "output.mp3", {});
        ADD_FAILURE() << "converted";
    } catch (const Error &error) {
        EXPECT_STREQ(error.what(), "Fichier source endommagé : certaines parties sont illisibles.");
    }
}

} // namespace quorvalent::test
