#include "media/ExportSession.h"

#include "media/MovieIndex.h"
#include "platform/ChildProcess.h"
#include "support/TestFolder.h"
#include "support/TestMedia.h"
#include "support/WaitFor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <future>

namespace quorvalent::test {

namespace {

namespace fs = std::filesystem;
using namespace Qt::StringLiterals;
using enum ExportPreset;
using enum MovieFileType;
using Status = ExportSession::Status;

const std::vector<std::string> clip = {"-f",   "lavfi",   "-i",   "testsrc2=size=128x96:rate=25:duration=1",
                                       "-f",   "lavfi",   "-i",   "sine=duration=1",
                                       "-c:v", "libx264", "-c:a", "aac"};

fs::path script(const TestFolder &folder, const std::string &body)
{
    fs::path path = folder.write("program", "#!/bin/sh\n" + body);
    fs::permissions(path, fs::perms::owner_all);
    return path;
}

Status runToEnd(ExportSession &session, const fs::path &output, MovieFileType type)
{
    session.outputURL = output;
    session.outputFileType = type;
    std::promise<void> ended;
    session.exportAsynchronously([&ended] { ended.set_value(); });
    ended.get_future().wait();
    return session.status();
}

// One line a stream with a hash of all its packets, as FFmpeg sees them.
std::string packetHashes(const fs::path &movie)
{
    ChildCommand command;
    command.program = ffmpegProgram();
    command.arguments = {
        "-loglevel", "quiet",      "-i", "file:" + movie.native(), "-map", "0:v", "-map", "0:a", "-c", "copy",
        "-f",        "streamhash", "-"};
    ChildProcess child(command);
    std::string lines;
    child.readLines([&lines](const QByteArray &line) { lines += line.toStdString() + "\n"; });
    return child.wait().isSuccess() ? lines : "unreadable";
}

TEST(ExportSession, passesEveryPacketThroughAtTheHighestQuality)
{
    const TestFolder folder;
    std::vector<std::string> phoneClip = clip;
    phoneClip.insert(phoneClip.end(), {"-metadata", "com.apple.quicktime.make=Fabricant", "-movflags",
                                       "use_metadata_tags", "-timecode", "01:00:00:00"});
    const fs::path source = makeMedia(folder / "a.mov", phoneClip);
    const auto session = ExportSession::create(source, HighestQuality);
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(session->supportedFileTypes(), (std::set{QuickTimeMovie, AppleM4V, Mpeg4}));

    EXPECT_EQ(runToEnd(*session, folder / "b.m4v", AppleM4V), Status::Completed);

    EXPECT_EQ(packetHashes(folder / "b.m4v"), packetHashes(source));
    EXPECT_THAT(packetHashes(source), testing::HasSubstr("0,v,SHA256="));
    const MovieIndex result = MovieIndex::read(folder / "b.m4v").value();
    EXPECT_EQ(result.brand, "M4V ");
    EXPECT_EQ(result.tracks.at(2).handler, "tmcd");
    EXPECT_THAT(folder.read("b.m4v"), testing::HasSubstr("Fabricant"));
    EXPECT_EQ(folder.listing(), (std::vector<std::string>{"a.mov", "b.m4v"}));
}

TEST(ExportSession, carriesTracksLanguagesSubtitlesAndChapters)
{
    const TestFolder folder;
    const fs::path subtitles = folder.write("s.srt", "1\n00:00:00,200 --> 00:00:00,800\nBonjour\n");
    const fs::path chapters =
        folder.write("c.txt", ";FFMETADATA1\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=500\n"
                              "title=Un\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=500\nEND=1000\n"
                              "title=Deux\n");
    std::vector<std::string> inputs = {"-f", "lavfi", "-i", "testsrc2=size=129x97:rate=25:duration=1"};
    inputs.insert(inputs.end(), {"-f", "lavfi", "-i", "sine=duration=1", "-i", "file:" + subtitles.native()});
    inputs.insert(inputs.end(), {"-i", "file:" + chapters.native(), "-map", "0", "-map", "1", "-map", "1"});
    inputs.insert(inputs.end(), {"-map", "2", "-map_chapters", "3", "-c:v", "mpeg4", "-c:a", "libvorbis"});
    inputs.insert(inputs.end(), {"-metadata:s:a:0", "language=fra", "-metadata:s:a:1", "language=eng"});
    inputs.insert(inputs.end(),
                  {"-metadata", "title=Essai", "-disposition:a:0", "0", "-disposition:a:1", "default"});
    const fs::path source = makeMedia(folder / "a.mkv", inputs);

    const auto session = ExportSession::create(source, HighestQuality);
    ASSERT_NE(session, nullptr);
    ASSERT_EQ(runToEnd(*session, folder / "b.mp4", Mpeg4), Status::Completed);

    ChildCommand probe;
    probe.program = QUORVALENT_FFPROBE_PROGRAM;
    const std::string entries =
        "stream=codec_name,width,height:stream_disposition=default:stream_tags=language:"
        "chapter=start_time:chapter_tags=title:format_tags=title";
    probe.arguments = {"-loglevel",
                       "quiet",
                       "-print_format",
                       "csv=p=0",
                       "-show_entries",
                       entries,
                       "file:" + (folder / "b.mp4").native()};
    ChildProcess child(probe);
    std::vector<std::string> lines;
    child.readLines([&lines](const QByteArray &line) { lines.push_back(line.toStdString()); });
    EXPECT_TRUE(child.wait().isSuccess());
    EXPECT_THAT(lines, testing::IsSupersetOf({"h264,128,96,1,und", "aac,0,fra", "aac,1,eng", "0.000000,Un",
                                              "0.500000,Deux", "Essai"}));
    EXPECT_THAT(lines, testing::Contains(testing::StartsWith("mov_text,")));
}

TEST(ExportSession, isNotToBeHadForWhatCannotBeExported)
{
    const TestFolder folder;
    const fs::path source = makeMedia(folder / "a.mp4", clip);

    EXPECT_EQ(ExportSession::create(source, HighestQuality, folder / "no program"), nullptr);
    EXPECT_EQ(ExportSession::create(folder.write("text.mov", "no movie"), HighestQuality), nullptr);
    truncate(source, 0.5);
    EXPECT_EQ(ExportSession::create(source, LowQuality), nullptr);
}

TEST(ExportSession, failsWithTheLastWordsOfItsProgram)
{
    const TestFolder folder;
    const fs::path source = makeMedia(folder / "a.mov", clip);
    struct
    {
        const char *program;
        const char *sentence; ///< empty when FFmpeg itself has no complaint
    } const deaths[] = {
        {"echo '[out @ 0x1] [error] Broken.' >&2; exit 3", "Échec de l’export vidéo (code 3) : Broken."},
        {"echo '[error] x: No space left on device' >&2; exit 1", "Espace disque insuffisant."},
        {"kill -9 $$", "Échec de l’export vidéo (signal 9)."},
        {"exit 0", ""},
        {"for last; do :; done; echo stump > \"${last#file:}\"", ""},
    };
    for (const auto &death : deaths) {
        const auto session = ExportSession::create(source, HighestQuality, script(folder, death.program));
        ASSERT_NE(session, nullptr);
        EXPECT_EQ(runToEnd(*session, folder / "b.mp4", Mpeg4), Status::Failed) << death.program;
        EXPECT_EQ(session->error() ? session->error()->what() : std::string(), death.sentence)
            << death.program;
    }
}

TEST(ExportSession, endsItsProgramWhenItIsDestroyed)
{
    const TestFolder folder;
    const fs::path source = makeMedia(folder / "a.mov", clip);
    const fs::path sleeper =
        script(folder, "echo $$ > \"${0%/*}/pid\"; echo out_time_us=500000; exec sleep 1000");
    auto session = ExportSession::create(source, HighestQuality, sleeper);
    ASSERT_NE(session, nullptr);
    session->outputURL = folder / "b.mp4";
    session->outputFileType = Mpeg4;
    session->exportAsynchronously([] {});
    ASSERT_TRUE(waitFor([&] { return session->progress() > 0.4; }));

    const int processId = std::stoi(folder.read("pid"));

    session.reset();

    EXPECT_EQ(::kill(processId, 0), -1);
    EXPECT_EQ(errno, ESRCH);
}

} // namespace

} // namespace quorvalent::test
