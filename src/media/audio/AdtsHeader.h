#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace quorvalent {

/// The head of one AAC frame in an ADTS stream (ISO 13818-7, 6.2).
struct AdtsHeader
{
    static constexpr std::size_t shortestBytes = 7;
    static constexpr int framesPerBlock =
        1024; ///< sound frames in one raw data block, before HE-AAC's doubling

    unsigned objectType = 0;           ///< MPEG-4's number, 2 for AAC-LC
    unsigned rateIndex = 0;            ///< into the table of MPEG-4
    unsigned channelConfiguration = 0; ///< 0 when the stream describes its channels itself
    int sampleRate = 0;                ///< Hz
    std::size_t headerBytes = 0;
    std::size_t frameBytes = 0; ///< with the header
    int blocks = 1;

    /// Nothing when no frame starts here.
    [[nodiscard]] static std::optional<AdtsHeader> parse(std::span<const std::uint8_t> bytes);
};

/// Whether AAC has a number for the rate in Hz.
[[nodiscard]] bool isAacSampleRate(int sampleRate);

} // namespace quorvalent
