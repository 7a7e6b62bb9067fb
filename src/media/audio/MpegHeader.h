#pragma once

#include <cstdint>
#include <optional>

namespace quorvalent {

class ByteSource;

/// The first packet of an MP3 stream, with the index that most encoders put into it.
struct MpegHeader
{
    int sampleRate = 0; ///< Hz
    int channels = 0;
    int framesPerPacket = 0;
    std::optional<std::uint32_t> packets; ///< of the whole stream, by its index
    std::optional<std::uint32_t> bytes;   ///< likewise, from this packet on

    bool operator==(const MpegHeader &) const = default;

    /// Nothing when no packet of layer III starts there.
    [[nodiscard]] static std::optional<MpegHeader> read(const ByteSource &file, std::int64_t start);
};

/// Whether two packets of an MP3 stream follow each other there.
[[nodiscard]] bool startsMpegStream(const ByteSource &file, std::int64_t start);

/// Whether the last packet of an MP3 stream, which starts there, is longer than the rest of the file. Tags
/// behind the stream do not count.
[[nodiscard]] bool endsInsideMpegPacket(const ByteSource &file, std::int64_t start);

} // namespace quorvalent
