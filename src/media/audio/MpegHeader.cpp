#include "media/audio/MpegHeader.h"

#include "media/audio/ByteSource.h"

#include <array>

namespace quorvalent {

namespace {

// The index lies where a packet would have its sound; two kinds are in use.
void readIndex(const ByteSource &file, std::int64_t start, std::int64_t sideInfo, MpegHeader &header)
{
    const std::int64_t index = start + 4 + sideInfo;
    if (file.holds(index, "Xing") || file.holds(index, "Info")) {
        const std::uint32_t fields = file.big32(index + 4);
        std::int64_t next = index + 8;
        if ((fields & 1U) != 0) {
            header.packets = file.big32(next);
            next += 4;
        }
        if ((fields & 2U) != 0)
            header.bytes = file.big32(next);
    } else if (file.holds(start + 36, "VBRI")) {
        header.bytes = file.big32(start + 46);
        header.packets = file.big32(start + 50);
    }
}

} // namespace

std::optional<MpegHeader> MpegHeader::read(const ByteSource &file, std::int64_t start)
{
    constexpr unsigned mpeg1 = 3;
    constexpr unsigned mpeg25 = 0;
    constexpr unsigned reservedVersion = 1;
    constexpr unsigned layer3 = 1;
    constexpr unsigned singleChannel = 3;
    constexpr std::array mpeg1Rates{44100, 48000, 32000};

    const std::uint32_t head = file.big32(start);
    const unsigned version = head >> 19U & 3U;
    const unsigned rate = head >> 10U & 3U;
    if (head >> 21U != 0x7FF || version == reservedVersion || (head >> 17U & 3U) != layer3 ||
        rate >= mpeg1Rates.size())
        return std::nullopt;

    const bool isMono = (head >> 6U & 3U) == singleChannel;
    MpegHeader header;
    header.channels = isMono ? 1 : 2;
    header.framesPerPacket = version == mpeg1 ? 1152 : 576;
    header.sampleRate = mpeg1Rates.at(rate) / (version == mpeg1 ? 1 : (version == mpeg25 ? 4 : 2));
    const std::int64_t sideInfo = version == mpeg1 ? (isMono ? 17 : 32) : (isMono ? 9 : 17);
    readIndex(file, start, sideInfo, header);
    return header;
}

} // namespace quorvalent
