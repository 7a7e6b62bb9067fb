#pragma once

#include "media/AudioFormat.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>

namespace quorvalent {

/// Decodes one audio file from its first frame to its last. What a lossy encoder put in front of the sound is
/// left out where the file tells how much it is. Used by one thread, the one that opened it.
class AudioReader
{
public:
    virtual ~AudioReader() = default;
    AudioReader(const AudioReader &) = delete;
    AudioReader &operator=(const AudioReader &) = delete;

    /// Opens the file by its content, whatever its name says. AudioError when it is no sound that can be
    /// decoded or is shorter than its own header says; FileError when it cannot be read at all.
    [[nodiscard]] static std::unique_ptr<AudioReader> open(const std::filesystem::path &path);

    [[nodiscard]] const AudioFormat &format() const { return m_format; }
    /// Frames in the file; only near the truth where the file itself has nothing better, absent where it says
    /// nothing at all.
    [[nodiscard]] std::optional<std::int64_t> length() const { return m_length; }
    /// Frames handed over so far.
    [[nodiscard]] std::int64_t position() const { return m_position; }
    /// Whether everything was handed over; where the length is no certainty, an empty read tells it instead.
    [[nodiscard]] bool isAtEnd() const { return m_isLengthExact && m_length && m_position >= *m_length; }

    /// Fills the buffer, whose format is this reader's; only at the end of the file is it left partly or
    /// wholly empty. AudioError when decoding fails, or when the sound ends before the file says.
    void read(AudioBuffer &buffer);

protected:
    AudioReader() = default;

    virtual std::size_t decode(AudioBuffer &buffer) = 0;

    AudioFormat m_format;
    std::optional<std::int64_t> m_length;
    /// How far short of `m_length` a sound file may end: not at all, but for codecs that count in packets.
    std::int64_t m_toleranceFrames = 0;
    bool m_isLengthExact = true;

private:
    std::int64_t m_position = 0;
};

} // namespace quorvalent
