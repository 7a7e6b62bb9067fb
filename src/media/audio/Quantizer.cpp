#include "media/audio/Quantizer.h"

#include <algorithm>

namespace quorvalent {

namespace {

constexpr float fullScale = 32768.0F;

// A mixed counter instead of a recurrence: every sample's noise is computed by itself, several at a time.
float triangularNoise(std::uint32_t counter)
{
    std::uint32_t bits = counter * 0x9E3779B1U;
    bits = (bits ^ bits >> 15U) * 0x85EBCA6BU;
    bits ^= bits >> 13U;
    // The difference of two even distributions is triangular, from -1 to 1.
    const auto first = static_cast<std::int32_t>(bits & 0xFFFFU);
    const auto second = static_cast<std::int32_t>(bits >> 16U);
    return static_cast<float>(first - second) * (1.0F / 65536.0F);
}

// Rounds by cutting off a positive number, for which every processor has an instruction on several at a time.
std::int16_t clippedAndRounded(float value)
{
    const float number = value == value ? value : 0.0F;
    const float bounded = std::min(std::max(number, -fullScale), fullScale - 1);
    return static_cast<std::int16_t>(static_cast<std::int32_t>(bounded + (fullScale + 0.5F)) - 32768);
}

bool isInteger16(float sample)
{
    const float scaled = sample * fullScale;
    return scaled >= -fullScale && scaled < fullScale &&
           scaled == static_cast<float>(static_cast<std::int32_t>(scaled));
}

} // namespace

void Quantizer::quantize(std::span<const float> samples, std::span<std::int16_t> integers)
{
    // Short runs, so that sound which starts inside a block does not bring noise to the silence before it.
    constexpr std::size_t run = 512;
    for (std::size_t start = 0; start < samples.size(); start += run) {
        const auto from = samples.subspan(start, std::min(run, samples.size() - start));
        const auto to = integers.subspan(start, from.size());
        if (std::all_of(from.begin(), from.end(), isInteger16)) {
            for (std::size_t i = 0; i < from.size(); ++i)
                to[i] = static_cast<std::int16_t>(from[i] * fullScale);
            continue;
        }
        for (std::size_t i = 0; i < from.size(); ++i)
            to[i] = clippedAndRounded(from[i] * fullScale +
                                      triangularNoise(m_noiseCounter + static_cast<std::uint32_t>(i)));
        m_noiseCounter += static_cast<std::uint32_t>(from.size());
    }
}

} // namespace quorvalent
