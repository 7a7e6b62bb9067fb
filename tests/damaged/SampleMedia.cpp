#include "damaged/SampleMedia.h"

#include "media/ImageDestination.h"
#include "media/ImageSource.h"
#include "support/TestMedia.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <random>

namespace quorvalent::test {

namespace fs = std::filesystem;

namespace {

void makeHeic(const fs::path &png, const fs::path &heic)
{
    const std::optional<ImageSource> source = ImageSource::open(png, png.parent_path());
    std::optional<ImageDestination> destination = ImageDestination::create(heic, ImageType::Heic, 1);
    destination->addImage(source->frame(0), {}, 0.8);
    destination->finalize();
}

// FFmpeg makes all files of a family at once; the last of them is makeMedia()'s own argument.
void make(const fs::path &folder, std::vector<std::string> arguments,
          const std::vector<std::vector<std::string>> &outputs)
{
    for (const std::vector<std::string> &output : outputs) {
        arguments.insert(arguments.end(), output.begin(), output.end() - 1);
        if (&output != &outputs.back())
            arguments.push_back("file:" + (folder / output.back()).native());
    }
    makeMedia(folder / outputs.back().back(), arguments);
}

std::string bytesOf(const fs::path &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

constexpr std::array families{"image", "audio", "video"};

} // namespace

std::vector<Sample> madeSamples(const fs::path &folder)
{
    for (const char *family : families)
        fs::create_directories(folder / family);
    const std::vector<std::string> picture{"-f", "lavfi", "-i", "testsrc2=size=48x36:rate=5:duration=0.6"};
    const std::vector<std::string> sound{"-f", "lavfi", "-i", "sine=duration=0.6:sample_rate=44100"};
    std::vector<std::string> both = picture;
    both.insert(both.end(), sound.begin(), sound.end());

    make(folder / "image", picture,
         {{"-frames:v", "1", "a.png"},
          {"-frames:v", "1", "a.jpg"},
          {"-frames:v", "1", "a.bmp"},
          {"-frames:v", "1", "a.tiff"},
          {"-frames:v", "1", "-c:v", "libwebp", "a.webp"},
          {"a.gif"}});
    makeHeic(folder / "image/a.png", folder / "image/a.heic");
    make(folder / "audio", sound,
         {{"a.wav"}, {"a.aiff"}, {"a.flac"}, {"a.mp3"}, {"a.m4a"}, {"a.aac"}, {"a.ogg"}});
    make(folder / "video", both, {{"a.mp4"}, {"a.mov"}, {"a.m4v"}, {"a.mkv"}, {"a.webm"}, {"a.avi"}});
    return samplesIn(folder);
}

std::vector<Sample> samplesIn(const fs::path &folder)
{
    constexpr std::uintmax_t mostBytes = 140'000;
    std::vector<Sample> samples;
    for (const char *family : families) {
        std::vector<fs::path> paths;
        for (const fs::directory_entry &entry : fs::directory_iterator(folder / family)) {
            if (entry.file_size() <= mostBytes)
                paths.push_back(entry.path());
        }
        std::sort(paths.begin(), paths.end());
        for (const fs::path &path : paths)
            samples.push_back({family, path.extension().native(), bytesOf(path)});
    }
    return samples;
}

std::string damaged(const Sample &sample, unsigned number)
{
    std::mt19937 random(number);
    const auto below = [&random](std::size_t limit) { return random() % std::max<std::size_t>(limit, 1); };
    std::string bytes = sample.bytes;
    const auto flipBits = [&](std::size_t within) {
        for (std::size_t left = 1 + below(12); left > 0; --left)
            bytes[below(std::min(within, bytes.size()))] ^= static_cast<char>(1 + below(255));
    };
    constexpr std::size_t headerBytes = 400;
    const std::size_t at = below(bytes.size());
    const std::size_t length = below(std::min<std::size_t>(bytes.size() - at, 4000));
    switch (below(6)) {
    case 0:
        bytes.resize(at);
        break;
    case 1:
        bytes.replace(at, length, length, '\0');
        break;
    case 2:
        bytes.erase(at, length);
        break;
    case 3:
        bytes.insert(at, bytes.substr(at, length));
        break;
    case 4:
        flipBits(headerBytes);
        break;
    default:
        flipBits(bytes.size());
    }
    return bytes;
}

} // namespace quorvalent::test
