#include "platform/audio/Quantizer.h"

#include <algorithm>
#include <cmath>

namespace quorvalent {

namespace {

constexpr float fullScale = 32768.0F;

// A mixed counter instead of a recurrence: every sample's noise is computed by itself, several at a time.
float triangularNoise(std::uint32_t counter)
{
    std::uint32_t bits = counter * 0x9E3779B1U;
    bits = (bits ^ bits >> 15U) * 0x85EBCA6BU;
    bits = (bits ^ bits >> 13U) * 0xC2B2AE35U;
    bits ^= bits >> 16U;
    // The difference of two even distributions is triangular, from -1 to 1.
    const auto first = static_cast<std::int32_t>(bits & 0xFFFFU);
    const auto second = static_cast<std::int32_t>(bits >> 16U);
    return static_cast<float>(first - second) * (1.0F / 65536.0F);
}

std::int16_t clipped(float value)
{
    const float bounded = value > -fullScale ? (value < fullScale - 1 ? value : fullScale - 1) : -fullScale;
    return static_cast<std::int16_t>(std::lrint(std::isnan(value) ? 0.0F : bounded));
}

bool isInteger16(float sample)
{
    const float scaled = sample * fullScale;
    return scaled >= -fullScale && scaled < fullScale && scaled == std::nearbyint(scaled);
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
                to[i] = static_cast<std::int16_t>(std::lrint(from[i] * fullScale));
            continue;
        }
        for (std::size_t i = 0; i < from.size(); ++i)
            to[i] = clipped(from[i] * fullScale + triangularNoise(m_noiseCounter++));
    }
}

} // namespace quorvalent
