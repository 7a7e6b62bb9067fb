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

namespace {

// The bits of a packet's head for version, layer and rate, which do not change on the way.
constexpr std::uint32_t sameInAll = 0xFFFE0C00;

// Bytes of a packet of layer III, by its head; 0 where the rate is free or none.
std::int64_t packetBytes(std::uint32_t head)
{
    constexpr std::array mpeg1Kbps{0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 0};
    constexpr std::array mpeg2Kbps{0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, 0};
    constexpr std::array mpeg1Rates{44100, 48000, 32000, 0};
    const unsigned version = head >> 19U & 3U;
    const bool isMpeg1 = version == 3;
    const unsigned kbps = static_cast<unsigned>((isMpeg1 ? mpeg1Kbps : mpeg2Kbps).at(head >> 12U & 0xFU));
    const int rate = mpeg1Rates.at(head >> 10U & 3U) / (isMpeg1 ? 1 : (version == 0 ? 4 : 2));
    if (rate == 0)
        return 0;
    return std::int64_t{isMpeg1 ? 144 : 72} * kbps * 1000 / rate + (head >> 9U & 1U);
}

} // namespace

bool startsMpegStream(const ByteSource &file, std::int64_t start)
{
    if (!MpegHeader::read(file, start))
        return false;
    const std::uint32_t head = file.big32(start);
    const std::int64_t next = start + packetBytes(head);
    return next > start && MpegHeader::read(file, next) &&
           (file.big32(next) & sameInAll) == (head & sameInAll);
}

bool endsInsideMpegPacket(const ByteSource &file, std::int64_t start)
{
    constexpr std::int64_t window = 64L * 1024;
    constexpr int enough = 4; // packets in a row: no accident
    const std::uint32_t kind = file.big32(start) & sameInAll;
    const std::int64_t from = std::max(start, file.size() - window);
    for (std::int64_t first = from; first < file.size() - 4; ++first) {
        std::int64_t offset = first;
        for (int packets = 0;; ++packets) {
            const std::uint32_t head = file.big32(offset);
            const bool isPacket =
                offset + 4 <= file.size() && (head & sameInAll) == kind && packetBytes(head) > 0;
            if (!isPacket && packets < enough)
                break; // chance; the next byte may start a packet
            if (!isPacket)
                return false;
            offset += packetBytes(head);
            if (offset > file.size())
                return packets >= enough;
        }
    }
    return false;
}

} // namespace quorvalent
