#include "media/SourceEnd.h"

#include "support/TestFolder.h"
#include "support/TestMedia.h"

#include <gtest/gtest.h>

#include <fstream>
#include <vector>

namespace quorvalent::test {

namespace {

namespace fs = std::filesystem;
using Arguments = std::vector<std::string>;
using State = SourceEnd::State;

struct Row
{
    const char *name;
    Arguments options = {};
    bool isStreamed = false;  ///< by a writer that can never go back to a header
    bool announcesEnd = true; ///< else nothing tells where it would have ended
};

const Row rows[] = {
    {"a.wav"},
    {"streamed.wav", {}, true, false},
    {"a.aif"},
    {"a.flac"},
    {"streamed.flac", {}, true},
    {"a.mp3"},
    {"plain.mp3", {"-write_xing", "0"}},
    {"a.aac"},
    {"a.ogg"},
    {"a.m4a"},
    {"front.m4a", {"-movflags", "+faststart"}},
    {"a.mp4"},
    {"fragmented.mp4", {"-movflags", "frag_keyframe+empty_moov+skip_trailer", "-g", "5"}},
    {"a.mkv"},
    {"live.mkv", {"-f", "matroska"}, true},
    {"a.webm", {"-deadline", "realtime"}},
    {"a.avi"},
};

fs::path make(const TestFolder &folder, const Row &row)
{
    const std::string extension = fs::path(row.name).extension();
    const bool isFilm =
        extension == ".mp4" || extension == ".mkv" || extension == ".webm" || extension == ".avi";
    Arguments arguments{"-f", "lavfi", "-i", "aevalsrc=sin(t*2000)*random(0):d=2"};
    if (isFilm)
        arguments.insert(arguments.begin(), {"-f", "lavfi", "-i", "testsrc2=s=64x48:d=2"});
    arguments.insert(arguments.end(), row.options.begin(), row.options.end());
    if (!row.isStreamed)
        return makeMedia(folder / row.name, arguments);
    arguments.insert(arguments.end(), {"-flush_packets", "1", "-seekable", "0"});
    return makeMedia(folder / row.name, arguments);
}

} // namespace

TEST(SourceEnd, isWhereTheStructureOfTheFileSaysAndNoLengthDoes)
{
    const TestFolder folder;
    for (const Row &row : rows) {
        const fs::path file = make(folder, row);
        const auto bytes = fs::file_size(file);
        EXPECT_EQ(SourceEnd::of(file).state, State::Whole) << row.name;
        for (const auto left : {bytes - 40, bytes * 3 / 5}) {
            fs::resize_file(file, left);
            EXPECT_EQ(SourceEnd::of(file).state, row.announcesEnd ? State::BreaksOff : State::Whole)
                << row.name << " of " << left << " bytes";
        }
    }
    EXPECT_EQ(SourceEnd::of(folder.write("text.ts", "no media")).state, State::Unknown);
}

TEST(SourceEnd, doesNotCountWhatStandsBehindTheSound)
{
    const TestFolder folder;
    for (const char *const name : {"a.mp3", "a.flac", "a.mp4", "a.aac"}) {
        const fs::path file = make(folder, {name});
        std::ofstream(file, std::ios::app | std::ios::binary)
            << "TAG" + std::string(125, name == std::string_view("a.mp4") ? '\0' : ' ');
        EXPECT_EQ(SourceEnd::of(file).state, State::Whole) << name;
    }
}

} // namespace quorvalent::test
