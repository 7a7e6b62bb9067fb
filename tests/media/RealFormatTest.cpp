#include "media/RealFormat.h"

#include "support/TestFolder.h"
#include "support/TestMedia.h"

#include <gtest/gtest.h>

namespace quorvalent::test {

namespace {

using namespace std::string_literals;

const std::vector<std::string> every{"jpg",  "jpeg", "png", "heic", "heif", "tif", "tiff", "gif",
                                     "bmp",  "webp", "mp3", "m4a",  "aac",  "wav", "aif",  "aiff",
                                     "flac", "ogg",  "mp4", "mov",  "m4v",  "mkv", "webm", "avi"};

// The extensions that the file is known by, in the order above.
std::string formatsOf(const std::filesystem::path &file)
{
    std::string found;
    for (const std::string &extension : every) {
        if (isOfFormat(file, QString::fromStdString(extension)))
            found += (found.empty() ? "" : " ") + extension;
    }
    return found;
}

TEST(RealFormat, isToldByTheContentAlone)
{
    struct Row
    {
        std::vector<std::string> arguments;
        const char *muxer;
        const char *formats;
    };
    const std::vector<std::string> picture{"-f", "lavfi", "-i", "testsrc=size=64x48", "-frames:v", "1"};
    const std::vector<std::string> sound{"-f", "lavfi", "-i", "sine=duration=1"};
    const std::vector<std::string> film{"-f", "lavfi", "-i", "testsrc=size=64x48:duration=1"};
    const auto with = [](std::vector<std::string> arguments, std::initializer_list<std::string> more) {
        arguments.insert(arguments.end(), more);
        return arguments;
    };
    const TestFolder folder;
    for (const Row &row : {
             Row{with(picture, {"-c:v", "mjpeg"}), "image2", "jpg jpeg"},
             Row{with(picture, {"-c:v", "png"}), "image2", "png"},
             Row{with(picture, {"-c:v", "tiff"}), "image2", "tif tiff"},
             Row{with(picture, {"-c:v", "bmp"}), "image2", "bmp"},
             Row{picture, "gif", "gif"},
             Row{picture, "webp", "webp"},
             Row{sound, "mp3", "mp3"},
             Row{sound, "adts", "aac"},
             Row{sound, "wav", "wav"},
             Row{sound, "aiff", "aif aiff"},
             Row{sound, "flac", "flac"},
             Row{sound, "ogg", "ogg"},
             Row{with(sound, {"-c:a", "libopus"}), "ogg", "ogg"},
             Row{sound, "ipod", "m4a"},
             Row{sound, "mp4", "m4a"}, // no film, whatever it is called
             Row{with(sound, {"-c:a", "ac3"}), "mp4", ""},
             Row{sound, "mov", ""},
             Row{sound, "matroska", ""},
             Row{film, "mp4", "mp4"},
             Row{with(film, {"-movflags", "frag_keyframe+empty_moov"}), "mp4", "mp4"},
             Row{film, "mov", "mov"},
             Row{with(film, {"-brand", "M4V "}), "mp4", "m4v"},
             Row{with(film, {"-brand", "3gp5"}), "mp4", ""},
             Row{film, "matroska", "mkv"},
             Row{film, "webm", "mkv webm"},
             Row{with(film, {"-live", "1"}), "matroska", "mkv"},
             Row{film, "avi", "avi"},
             Row{with(film, {"-c:v", "libtheora"}), "ogg", ""},
             Row{film, "mpegts", ""},
         }) {
        SCOPED_TRACE(row.muxer);
        std::vector<std::string> arguments = row.arguments;
        arguments.insert(arguments.end(), {"-f", row.muxer});
        makeMedia(folder / "unnamed", arguments);
        EXPECT_EQ(formatsOf(folder / "unnamed"), row.formats);
    }
}

std::string brands(const std::string &major, const std::string &compatible)
{
    return "\0\0\0\x18"s + "ftyp" + major + "\0\0\0\0"s + compatible;
}

// A directory of one entry, which stands at 8.
std::string tiff(const std::string &entry)
{
    return "II*\0\x08\0\0\0\x01\0"s + entry + std::string(8, '\0');
}

TEST(RealFormat, isNoneWhereItIsNotCertain)
{
    const TestFolder folder;
    for (const auto &[bytes, formats] : std::vector<std::pair<std::string, std::string>>{
             {"", ""},
             {"a text of some length", ""},
             {"BMW drivers of the town", ""},
             {"RIFF\x10\0\0\0WAVEfmt "s, "wav"},
             {"\xff\xd8\xff\xe0 and so on"s, "jpg jpeg"},
             {"\xff\xd8\xff\xf7 is JPEG-LS"s, ""},
             {brands("heic", "mif1heic"), "heic heif"},
             {brands("mif1", "mif1heic"), "heic heif"},
             {brands("mif1", "mif1avif"), ""},
             {brands("avif", "mif1heic"), ""},
             {tiff("\x06\x01\x03\0\x01\0\0\0\x02\0\0\0"s), "tif tiff"},
             {tiff("\x06\x01\x03\0\x01\0\0\0\x23\x80\0\0"s), ""}, // a sensor's pixels
             {tiff("\xfe\0\x04\0\x01\0\0\0\x01\0\0\0"s), ""},     // a preview comes first
             {tiff("\x12\xc6\x01\0\x04\0\0\0\x01\x04\0\0"s), ""}, // DNG
             {"\xff\xfb\x90\x64"s + std::string(413, '\0') + "\xff\xfb\x90\x64"s, "mp3"},
             {"\xff\xfb\x90\x64"s + std::string(500, '\0'), ""}, // one packet may be chance
             {"ID3\x04\0\0\0\0\0\x04tagsfLaC"s, "flac"},
             {"OggS\0\x02"s + std::string(20, '\0') + "\x01\x07\x80theora", ""},
         }) {
        folder.write("unnamed", bytes);
        EXPECT_EQ(formatsOf(folder / "unnamed"), formats) << bytes;
    }
}

} // namespace

} // namespace quorvalent::test
