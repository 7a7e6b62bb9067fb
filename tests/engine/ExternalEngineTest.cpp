#include "engine/ExternalEngine.h"

#include "core/ConversionError.h"
#include "engine/ExternalArguments.h"
#include "engine/MissingExternalEncoders.h"
#include "media/MediaAsset.h"
#include "support/TestFolder.h"
#include "support/TestMedia.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

namespace quorvalent::test {

namespace {

namespace fs = std::filesystem;
using namespace Qt::StringLiterals;
using testing::ElementsAre;

const std::vector<std::string> tone = {"-f", "lavfi", "-i", "sine=duration=2"};

void ignoreProgress(std::optional<double> /*fraction*/) {}

// The sentence that the run ends with, or nothing.
std::optional<QString> failureOf(const std::optional<fs::path> &program, const fs::path &source,
                                 const fs::path &output, const ImageAssistance &images = {})
{
    try {
        runExternalEngine(program, source, output, Preferences{}, ignoreProgress, images);
    } catch (const ConversionError &error) {
        return error.errorDescription();
    }
    return std::nullopt;
}

// A program in FFmpeg's place.
fs::path script(const TestFolder &folder, const std::string &body)
{
    const fs::path path = folder.write("program", "#!/bin/sh\n" + body);
    fs::permissions(path, fs::perms::owner_all);
    return path;
}

TEST(MissingEncoders, areThoseThatFfmpegDoesNotList)
{
    const TestFolder folder;
    const fs::path ffmpeg = script(folder, "echo ' V..... = Video'\n"
                                           "echo ' V....D libx264              libx264 H.264'\n"
                                           "echo ' A....D aac                  AAC (libopus is another)'\n");
    const QStringList targets{u"mp4"_s, u"mp3"_s, u"webm"_s, u"m4a"_s, u"webp"_s};
    EXPECT_THAT(missingExternalEncoders(ffmpeg, targets),
                ElementsAre(MissingEncoder{{u"mp3"_s}, u"FFmpeg + libmp3lame"_s},
                            MissingEncoder{{u"webm"_s}, u"FFmpeg + libvpx-vp9"_s},
                            MissingEncoder{{u"webm"_s}, u"FFmpeg + libopus"_s},
                            MissingEncoder{{u"webp"_s}, u"FFmpeg + libwebp"_s}));
    EXPECT_THAT(missingExternalEncoders(std::nullopt, targets),
                ElementsAre(MissingEncoder{targets, u"FFmpeg"_s}));
}

TEST(MissingEncoders, areWhatBothHelpersTell)
{
    const TestFolder folder;
    const MissingEncoder heic{{u"heic"_s, u"heif"_s}, u"libheif + x265"_s};
    const MissingEncoder mp3{{u"mp3"_s}, u"FFmpeg + libmp3lame"_s};
    folder.write("told", MissingEncoders::encoded({heic, mp3}).toStdString());
    const fs::path helper = script(folder, "[ \"$*\" = --missing-encoders ] && cat \"${0%/*}/told\"");
    EXPECT_THAT(MissingEncoders::of({helper, "/bin/true"}), ElementsAre(heic, mp3));
    EXPECT_EQ(heic.description(),
              u"Cette machine ne peut pas encoder .heic, .heif : il manque libheif + x265."_s);
    EXPECT_THROW((void)MissingEncoders::of({helper, "/bin/false"}), ConversionError);
    EXPECT_THROW((void)MissingEncoders::of({folder / "none", helper}), ConversionError);
}

struct ArgumentsCase
{
    const char *target;
    const char *familyPart;
    std::optional<double> setting = {}; ///< quality, bit rate or level
};

const ArgumentsCase argumentsCases[] = {
    {"png", "-frames:v 1"},
    {"webp", "-frames:v 1 -c:v libwebp -quality 100"},
    {"webp", "-frames:v 1 -c:v libwebp -quality 85", 0.85},
    {"webp", "-frames:v 1 -c:v libwebp -quality 28", 0.29},
    {"mp3", "-vn -c:a libmp3lame -b:a 256k"},
    {"m4a", "-vn -c:a aac -b:a 256k"},
    {"aac", "-vn -c:a aac -b:a 128k", 128},
    {"ogg", "-vn -c:a libvorbis -q:a 8"},
    {"ogg", "-vn -c:a libvorbis -q:a 2", 96},
    {"ogg", "-vn -c:a libvorbis -q:a 4", 128},
    {"ogg", "-vn -c:a libvorbis -q:a 6", 192},
    {"ogg", "-vn -c:a libvorbis -q:a 10", 320},
    {"ogg", "-vn -c:a libvorbis -q:a 8", 160},
    {"flac", "-vn -c:a flac"},
    {"wav", "-vn -c:a pcm_s16le"},
    {"aiff", "-vn -c:a pcm_s16be"},
    {"webm", "-c:v libvpx-vp9 -crf 18 -b:v 0 -c:a libopus"},
    {"webm", "-c:v libvpx-vp9 -crf 40 -b:v 0 -c:a libopus", 2},
    {"mp4", "-c:v libx264 -preset fast -crf 18 -pix_fmt yuv420p -c:a aac -b:a 192k", -1},
    {"mov", "-c:v libx264 -preset fast -crf 30 -pix_fmt yuv420p -c:a aac -b:a 192k", 5},
    {"m4v", "-c:v libx264 -preset fast -crf 30 -pix_fmt yuv420p -c:a aac -b:a 192k", 2},
    {"mkv", "-c:v libx264 -preset fast -crf 23 -pix_fmt yuv420p -c:a aac -b:a 192k", 1},
    {"avi", "-c:v libx264 -preset fast -crf 18 -pix_fmt yuv420p -c:a aac -b:a 192k"},
};

} // namespace

TEST(ExternalEngine, hasArgumentsForEveryTarget)
{
    for (const ArgumentsCase &row : argumentsCases) {
        const QString target = QString::fromLatin1(row.target);
        Preferences preferences;
        if (row.setting) {
            preferences.imageQuality[target] = *row.setting;
            preferences.audioBitrate[target] = static_cast<qint64>(*row.setting);
            preferences.videoQuality[target] = static_cast<qint64>(*row.setting);
        }
        std::string line;
        const std::string output = "/w/output." + target.toStdString();
        for (const std::string &argument : externalArguments("/w/source.x", output, preferences))
            line += argument + " ";
        EXPECT_EQ(line, "-nostdin -hide_banner -loglevel error -n -i /w/source.x " +
                            std::string(row.familyPart) + " -progress pipe:1 -nostats " + output + " ");
    }
    EXPECT_THROW(std::ignore = externalArguments("/w/source.png", "/w/output.pdf", {}), ConversionError);
}

TEST(ExternalEngine, worksInAnyFolderThatAUserMayHave)
{
    const TestFolder folder;
    const auto still =
        makeMedia(folder / "still.png", {"-f", "lavfi", "-i", "color=s=8x8", "-frames:v", "1"});
    const auto sound = makeMedia(folder / "sound.wav", tone);
    const ImageAssistance images = {
        .isSingleStillImage = [](const fs::path &) { return true; },
        .pictureToEncode = [](const fs::path &source, const fs::path &) { return source; },
        .carryMetadata = [](const fs::path &, const fs::path &) {}};
    for (const char *name : {"%d", "a%03d b%%", "100 %*d", "[x]{a,b}*?", "-y", "'\"\\$(x)", "two\nlines",
                             "concat:a|b", "\xff\xfe"}) {
        SCOPED_TRACE(name);
        const fs::path work = folder / name;
        fs::create_directory(work);
        fs::copy_file(still, work / "source.png");
        fs::copy_file(sound, work / "source.wav");
        EXPECT_EQ(failureOf(ffmpegProgram(), work / "source.png", work / "output.webp", images),
                  std::nullopt);
        EXPECT_EQ(failureOf(ffmpegProgram(), work / "source.wav", work / "output.mp3"), std::nullopt);
        EXPECT_TRUE(fs::file_size(work / "output.webp") > 20);
        const auto song = MediaAsset::read(work / "output.mp3");
        ASSERT_TRUE(song && song->duration);
        EXPECT_NEAR(song->duration->count(), 2.0, 0.1);
    }
}

TEST(ExternalEngine, reportsProgressOfTheKnownLength)
{
    const TestFolder folder;
    const auto source = makeMedia(folder / "source.wav", tone);
    const auto program = script(folder, "printf 'out_time_us=-9223372036854775808\\nout_time_us=N/A\\n"
                                        "frame=7\\nout_time_us=50'; printf '0000\\nout_time_us=1e6\\n'\n"
                                        "printf 'out_time_us=99000000\\nprogress=end\\nout_time_us=5'");
    std::vector<std::optional<double>> reports;
    const auto note = [&](std::optional<double> fraction) { reports.push_back(fraction); };
    runExternalEngine(program, source, folder / "output.mp3", {}, note, {},
                      {.streams = {}, .length = MediaSeconds(2)});
    EXPECT_THAT(reports, ElementsAre(std::nullopt, 0.0, 0.25, 0.5, 0.98));

    reports.clear();
    runExternalEngine(program, source, folder / "output.mp3", {}, note, {});
    EXPECT_THAT(reports, ElementsAre(std::nullopt));
}

TEST(ExternalEngine, quotesTheEndOfTheLogOnFailure)
{
    const TestFolder folder;
    const auto source = makeMedia(folder / "source.wav", tone);
    const auto output = folder / "output.mp3";
    EXPECT_EQ(failureOf(script(folder, "echo wrong >&2; exit 1"), source, output), u"FFmpeg : wrong\n"_s);
    EXPECT_EQ(failureOf(script(folder, "kill -9 $$"), source, output), u"FFmpeg : "_s);
    EXPECT_EQ(failureOf(script(folder, "yes é | head -n 9000 | tr -d '\\n' >&2; printf END >&2; exit 3"),
                        source, output),
              u"FFmpeg : "_s + QString(347, u'é') + u"END"_s);
    EXPECT_EQ(failureOf(script(folder, "echo \"$LC_ALL|$TMPDIR|$HOME\" >&2; exit 1"), source, output),
              u"FFmpeg : C.UTF-8|"_s + displayText(folder.path()) + u"|\n"_s);

    const auto refused =
        failureOf(ffmpegProgram(), folder.write("source.mp3", "no sound"), folder / "output.flac");
    EXPECT_TRUE(refused && refused->startsWith(u"FFmpeg : "_s) && refused->size() > 20);
}

TEST(ExternalEngine, startsNothingWhereItIsMissing)
{
    const TestFolder folder;
    EXPECT_EQ(failureOf(std::nullopt, folder / "source.wav", folder / "output.mp3"),
              u"Le moteur intégré est manquant. Réinstallez Quorvalent."_s);
    EXPECT_TRUE(folder.listing().empty());
    const auto source = folder.write("source.wav", "");
    EXPECT_THROW(failureOf(folder / "gone", source, folder / "output.mp3"), FileError);
    EXPECT_THROW(failureOf(ffmpegProgram(), source, folder / "no folder/output.mp3"), FileError);
}

TEST(ExternalEngine, handsOverThePreparedPictureAndTheMetadata)
{
    const TestFolder folder;
    const auto program = script(folder, "printf '%s\\n' \"$@\" > arguments; touch output.webp");
    bool isStill = false;
    std::vector<fs::path> carried;
    const ImageAssistance images = {
        .isSingleStillImage = [&](const fs::path &) { return isStill; },
        .pictureToEncode = [](const fs::path &, const fs::path &work) { return work / "prepared.png"; },
        .carryMetadata =
            [&](const fs::path &source, const fs::path &output) {
                carried = {source, output};
            }};
    EXPECT_EQ(failureOf(program, folder / "source.gif", folder / "output.webp", images),
              u"Le moteur externe accepte ici uniquement les images fixes reconnues par macOS."_s);
    EXPECT_THAT(folder.listing(), ElementsAre("program"));

    isStill = true;
    EXPECT_EQ(failureOf(program, folder / "source.heic", folder / "output.webp", images), std::nullopt);
    EXPECT_THAT(folder.read("arguments"),
                testing::HasSubstr("\n-i\n" + (folder / "prepared.png").native() + "\n"));
    EXPECT_THAT(carried, ElementsAre(folder / "source.heic", folder / "output.webp"));
}

} // namespace quorvalent::test
