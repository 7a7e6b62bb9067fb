#include "media/audio/AdtsHeader.h"

#include <algorithm>
#include <array>

namespace quorvalent {

namespace {

// ISO 14496-3, table of samplingFrequencyIndex.
constexpr std::array aacSampleRates{96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                    22050, 16000, 12000, 11025, 8000,  7350};

} // namespace

bool isAacSampleRate(int sampleRate)
{
    return std::find(aacSampleRates.begin(), aacSampleRates.end(), sampleRate) != aacSampleRates.end();
}

std::optional<AdtsHeader> AdtsHeader::parse(std::span<const std::uint8_t> bytes)
{
    // Twelve sync bits, then the two bits of the layer, which are always zero.
    if (bytes.size() < shortestBytes || bytes[0] != 0xFF || (bytes[1] & 0xF6U) != 0xF0)
        return std::nullopt;
    AdtsHeader header;
    header.objectType = (bytes[2] >> 6U) + 1U;
    header.rateIndex = bytes[2] >> 2U & 0xFU;
    header.channelConfiguration = (bytes[2] & 1U) << 2U | bytes[3] >> 6U;
    header.headerBytes = (bytes[1] & 1U) != 0 ? 7 : 9;
    header.frameBytes = (bytes[3] & 3UL) << 11U | bytes[4] * 8UL | bytes[5] >> 5U;
    header.blocks = (bytes[6] & 3) + 1;
    if (header.rateIndex >= aacSampleRates.size() || header.frameBytes < header.headerBytes)
        return std::nullopt;
    header.sampleRate = aacSampleRates.at(header.rateIndex);
    return header;
}

} // namespace quorvalent
