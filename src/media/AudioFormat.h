#pragma once

#include "platform/Error.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace quorvalent {

/// A sound that cannot be read, or that cannot be written as asked.
class AudioError : public Error
{
public:
    using Error::Error;
};

/// How samples lie in memory. Int16 holds sources of up to 16 bits exactly, Float32 everything else: full
/// scale is 1.0, and values beyond it are allowed.
enum class SampleKind { Int16, Float32 };

/// Loudspeakers as WAVE numbers them: bit 0 front left, 1 front right, 2 front centre, 3 low frequency,
/// 4 and 5 back, 8 back centre, 9 and 10 sides.
using Speakers = std::uint32_t;

struct AudioFormat
{
    int sampleRate = 0; ///< Hz
    int channels = 0;
    SampleKind samples = SampleKind::Float32;
    Speakers speakers = 0; ///< one bit a channel, or 0 where the source does not say

    bool operator==(const AudioFormat &) const = default;
};

/// The usual loudspeakers of so many channels, 1 to 8; 0 for other numbers.
[[nodiscard]] Speakers usualSpeakers(int channels);

/// One block of interleaved samples, the channels of a frame in the order of their speakers' bits.
class AudioBuffer
{
public:
    /// Throws std::bad_alloc.
    AudioBuffer(const AudioFormat &format, std::size_t capacityFrames);

    [[nodiscard]] SampleKind kind() const { return m_kind; }
    [[nodiscard]] std::size_t channels() const { return m_channels; }
    [[nodiscard]] std::size_t capacityFrames() const { return m_capacityFrames; }
    /// Frames that hold sound, from the first on.
    [[nodiscard]] std::size_t frames() const { return m_frames; }
    void setFrames(std::size_t frames) { m_frames = frames; }

    /// The whole capacity; empty for a buffer of the other kind.
    [[nodiscard]] std::span<std::int16_t> integers() { return m_integers; }
    [[nodiscard]] std::span<float> floats() { return m_floats; }
    /// The samples that hold sound; empty for a buffer of the other kind.
    [[nodiscard]] std::span<const std::int16_t> integerSound() const;
    [[nodiscard]] std::span<const float> floatSound() const;
    [[nodiscard]] std::span<const std::byte> soundBytes() const;

private:
    SampleKind m_kind;
    std::size_t m_channels;
    std::size_t m_capacityFrames;
    std::size_t m_frames = 0;
    std::vector<std::int16_t> m_integers;
    std::vector<float> m_floats;
};

} // namespace quorvalent
