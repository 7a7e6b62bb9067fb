#pragma once

#include <QByteArray>

#include <cstdint>
#include <string_view>
#include <vector>

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
    /// The finished box: size, type, content.
    [[nodiscard]] QByteArray as(std::string_view type) const;

private:
    QByteArray m_content;
};

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
    const std::vector<std::uint32_t> &packetBytes;
};

/// The box "moov".
[[nodiscard]] QByteArray movieBox(const Mp4AudioIndex &index);

} // namespace quorvalent
