#pragma once

#include <QString>

#include <cstdint>
#include <optional>

namespace quorvalent {

class ByteSource;

/// What a WAVE or AIFF file with plain samples says of them, read without a library.
struct PcmHeader
{
    QString codec; ///< FFmpeg's short name
    int sampleRate = 0;
    int channels = 0;
    std::int64_t frames = 0; ///< as stated, and all of them are in the file

    bool operator==(const PcmHeader &) const = default;

    /// Nothing when the file is of another kind, compressed, cut short or of unknown length.
    [[nodiscard]] static std::optional<PcmHeader> readWave(const ByteSource &file);
    [[nodiscard]] static std::optional<PcmHeader> readAiff(const ByteSource &file);
};

} // namespace quorvalent
