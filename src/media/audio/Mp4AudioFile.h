#pragma once

#include "media/audio/AdtsHeader.h"
#include "media/audio/Mp4Boxes.h"
#include "platform/FileDescriptor.h"

#include <QByteArray>

#include <cstdint>
#include <filesystem>
#include <span>
#include <vector>

namespace quorvalent {

/// Writes one AAC track into an MPEG-4 file (ISO 14496-12 and -14), packet by packet, the index last. Keeps
/// two bytes a packet in memory. An edit list hides the encoder's delay and padding.
class Mp4AudioFile
{
public:
    /// FileError when the file cannot be created.
    explicit Mp4AudioFile(std::filesystem::path path);

    /// Appends one packet without its ADTS header, which bounds its size. AudioError when the file would pass
    /// 4 GB.
    void addPacket(std::span<const std::uint8_t> packet);

    /// `frames` are heard, after the first `delayFrames`; `stream` describes the packets.
    void finish(const AdtsHeader &stream, int channels, std::int64_t delayFrames, std::int64_t frames);

    [[nodiscard]] std::size_t packets() const { return m_packetBytes.size(); }

private:
    void append(std::span<const std::uint8_t> bytes);
    void flush();

    std::filesystem::path m_path;
    FileDescriptor m_file;
    std::vector<std::uint8_t> m_buffer;
    PacketSizes m_packetBytes;
    std::int64_t m_size = 0; ///< of the file, with what is still buffered
};

} // namespace quorvalent
