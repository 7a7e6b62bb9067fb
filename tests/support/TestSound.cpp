#include "support/TestSound.h"

#include "support/TestFolder.h"
#include "support/TestMedia.h"

#include <cmath>
#include <cstring>
#include <fstream>
#include <random>
#include <string>

namespace quorvalent::test {

namespace {

void append(std::string &bytes, std::uint64_t value, int count)
{
    for (int i = 0; i < count; ++i)
        bytes.push_back(static_cast<char>(value >> (8 * i) & 0xFFU));
}

std::string encoded(const WaveContent &content)
{
    std::string bytes;
    for (const double sample : content.samples) {
        if (content.bits == 32) {
            const auto number = static_cast<float>(sample);
            std::uint32_t pattern = 0;
            std::memcpy(&pattern, &number, sizeof pattern);
            append(bytes, pattern, 4);
        } else {
            const double scaled = std::round(sample * std::ldexp(1.0, content.bits - 1));
            append(bytes, static_cast<std::uint64_t>(static_cast<std::int64_t>(scaled)), content.bits / 8);
        }
    }
    return bytes;
}

} // namespace

std::filesystem::path writeWave(const std::filesystem::path &path, const WaveContent &content)
{
    const std::string data = encoded(content);
    const auto frameBytes = static_cast<unsigned>(content.channels * content.bits / 8);
    std::string file = "RIFF";
    append(file, data.size() + 36, 4);
    file += "WAVEfmt ";
    append(file, 16, 4);
    append(file, content.bits == 32 ? 3 : 1, 2); // floating point or integers
    append(file, static_cast<unsigned>(content.channels), 2);
    append(file, static_cast<unsigned>(content.sampleRate), 4);
    append(file, std::uint64_t{frameBytes} * static_cast<unsigned>(content.sampleRate), 4);
    append(file, frameBytes, 2);
    append(file, static_cast<unsigned>(content.bits), 2);
    file += "data";
    append(file, data.size(), 4);
    std::ofstream(path, std::ios::binary) << file << data;
    return path;
}

WaveContent noise(int sampleRate, int channels, int frames)
{
    WaveContent content{
        .sampleRate = sampleRate, .channels = channels, .bits = 16, .samples = {-1, 32767 / 32768.0}};
    std::mt19937 generator(7);
    content.samples.resize(static_cast<std::size_t>(channels) * static_cast<std::size_t>(frames));
    for (std::size_t i = 2; i < content.samples.size(); ++i)
        content.samples[i] = (static_cast<double>(generator() % 65536) - 32768) / 32768;
    return content;
}

std::vector<std::int16_t> decoded(const std::filesystem::path &path)
{
    const TestFolder folder;
    const std::filesystem::path raw =
        makeMedia(folder / "samples.raw", {"-i", "file:" + path.native(), "-map", "0:a:0", "-f", "s16le"});
    const std::string bytes = folder.read(raw.filename());
    std::vector<std::int16_t> samples(bytes.size() / sizeof(std::int16_t));
    std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(std::int16_t));
    return samples;
}

} // namespace quorvalent::test
