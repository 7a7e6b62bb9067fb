#pragma once

#include <QByteArray>

#include <cstdint>
#include <deque>
#include <string_view>

namespace quorvalent {

/// The content of one box of an MPEG-4 file, built field by field; all numbers big-endian.
class Mp4Box
{
public:
    Mp4Box &u8(unsigned value);
    Mp4Box &u16(unsigned value);
    Mp4Box &u32(std::uint64_t value);
    Mp4Box &zeros(qsizetype bytes);
    Mp4Box &text(std::string_view bytes);
    Mp4Box &bytes(const QByteArray &bytes);

    [[nodiscard]] const QByteArray &content() const { return m_content; }
    /// The finished box: size, type, content. `bytesToCome` belong to it and are written behind it by others.
    [[nodiscard]] QByteArray as(std::string_view type, std::uint64_t bytesToCome = 0) const;

private:
    QByteArray m_content;
};

/// Of each packet of AAC, whose headers count them with 13 bits. Grows without ever being copied.
using PacketSizes = std::deque<std::uint16_t>;

/// What the index of a file with one AAC track says.
struct Mp4AudioIndex
{
    int sampleRate = 0; ///< Hz; also the unit of all times
    int channels = 0;
    QByteArray decoderSetup; ///< AudioSpecificConfig of ISO 14496-3
    std::int64_t delayFrames = 0;
    std::int64_t frames = 0; ///< heard ones
    std::int64_t framesPerPacket = 0;
    std::int64_t firstPacketOffset = 0; ///< in the file; the packets follow one another
    const PacketSizes &packetBytes;
};

/// The box "moov" up to its last part, the sizes of all packets: these follow it, 32 bits each. Its own size
/// counts them.
[[nodiscard]] QByteArray movieBox(const Mp4AudioIndex &index);

} // namespace quorvalent
