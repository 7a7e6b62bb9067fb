#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

namespace quorvalent::test {

/// What a WAVE file of a test holds; a sample is a fraction of full scale.
struct WaveContent
{
    int sampleRate = 44100; ///< Hz
    int channels = 2;
    int bits = 16;               ///< 16, 24 or 32, which is floating point
    std::vector<double> samples; ///< interleaved
};

std::filesystem::path writeWave(const std::filesystem::path &path, const WaveContent &content);

/// Noise that is the same in every run and uses the whole range of 16 bits, extremes included.
WaveContent noise(int sampleRate, int channels, int frames);

/// The samples of the file's first sound as FFmpeg's program decodes them, interleaved.
std::vector<std::int16_t> decoded(const std::filesystem::path &path);

} // namespace quorvalent::test
