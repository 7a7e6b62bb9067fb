#pragma once

#include <cstdint>
#include <span>

namespace quorvalent {

/// Makes 16-bit integers of floating-point samples: triangular dither of two steps' width, so that the
/// rounding error is noise and not distortion, then clipping. A run of samples that are 16-bit integers
/// already, digital silence among them, passes unchanged.
class Quantizer
{
public:
    /// Both spans have the same size. What is no number becomes silence.
    void quantize(std::span<const float> samples, std::span<std::int16_t> integers);

private:
    std::uint32_t m_noiseCounter = 0;
};

} // namespace quorvalent
