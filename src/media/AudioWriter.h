#pragma once

#include "media/AudioFormat.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>

namespace quorvalent {

struct AudioEncoding
{
    enum class Container { Wave, Aiff, Mpeg4 };

    Container container = Container::Wave;
    int bitRate = 0; ///< bit/s, for Mpeg4 alone

    bool operator==(const AudioEncoding &) const = default;
};

/// Encodes one audio file: 16-bit integers in WAVE (little-endian) and AIFF (big-endian), AAC in MPEG-4. Rate
/// and channels are the source's. Used by one thread, the one that created it. Without finish() what lies at
/// the path is no complete file.
class AudioWriter
{
public:
    virtual ~AudioWriter() = default;
    AudioWriter(const AudioWriter &) = delete;
    AudioWriter &operator=(const AudioWriter &) = delete;

    /// `source` is the format of the buffers to come, `length` their frames where that is known. AudioError,
    /// before anything is written, when the encoder or the container cannot hold such a sound; FileError when
    /// the file cannot be created.
    [[nodiscard]] static std::unique_ptr<AudioWriter> create(const std::filesystem::path &path,
                                                             const AudioEncoding &encoding,
                                                             const AudioFormat &source,
                                                             std::optional<std::int64_t> length);

    /// Appends the buffer's frames. Deeper samples than 16 bits are dithered where the file holds 16-bit
    /// integers, and clipped at full scale. FileError or AudioError, perhaps of an earlier buffer.
    virtual void write(const AudioBuffer &buffer) = 0;
    /// Completes the file. Once, last. FileError or AudioError.
    virtual void finish() = 0;

protected:
    AudioWriter() = default;
};

} // namespace quorvalent
