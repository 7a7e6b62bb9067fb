#include "media/AudioFormat.h"

#include <array>

namespace quorvalent {

Speakers usualSpeakers(int channels)
{
    // The arrangements that FLAC fixes for these numbers of channels.
    constexpr std::array<Speakers, 9> arrangements{0, 0x4, 0x3, 0x7, 0x33, 0x37, 0x3F, 0x70F, 0x63F};
    const auto index = static_cast<std::size_t>(channels);
    return index < arrangements.size() ? arrangements.at(index) : 0;
}

AudioBuffer::AudioBuffer(const AudioFormat &format, std::size_t capacityFrames)
    : m_kind(format.samples)
    , m_channels(static_cast<std::size_t>(format.channels))
    , m_capacityFrames(capacityFrames)
{
    if (m_kind == SampleKind::Int16)
        m_integers.resize(capacityFrames * m_channels);
    else
        m_floats.resize(capacityFrames * m_channels);
}

std::span<const std::int16_t> AudioBuffer::integerSound() const
{
    if (m_kind != SampleKind::Int16)
        return {};
    return std::span(m_integers).first(m_frames * m_channels);
}

std::span<const float> AudioBuffer::floatSound() const
{
    if (m_kind != SampleKind::Float32)
        return {};
    return std::span(m_floats).first(m_frames * m_channels);
}

std::span<const std::byte> AudioBuffer::soundBytes() const
{
    return m_kind == SampleKind::Int16 ? std::as_bytes(integerSound()) : std::as_bytes(floatSound());
}

} // namespace quorvalent
