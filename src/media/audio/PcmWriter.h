#pragma once

#include "media/AudioWriter.h"
#include "media/audio/Quantizer.h"
#include "media/audio/SndfileHandle.h"
#include "platform/FileDescriptor.h"

#include <span>
#include <vector>

namespace quorvalent {

/// Writes 16-bit PCM: WAVE, which becomes RF64 where it would pass 4 GB, and AIFF.
class PcmWriter : public AudioWriter
{
public:
    PcmWriter(std::filesystem::path path, AudioEncoding::Container container, const AudioFormat &source,
              std::optional<std::int64_t> length);

    void write(const AudioBuffer &buffer) override;
    void finish() override;

private:
    void setSpeakers(Speakers speakers, int channels);
    [[nodiscard]] bool writeBigEndian(std::span<const std::int16_t> integers);
    [[noreturn]] void fail() const;

    std::filesystem::path m_path;
    AudioEncoding::Container m_container;
    FileDescriptor m_descriptor;
    SndfileHandle m_file;
    Quantizer m_quantizer;
    std::vector<std::int16_t> m_integers;
    std::vector<std::uint16_t> m_bigEndian;
    std::int64_t m_framesLeft = 0; ///< what the container can still hold
};

} // namespace quorvalent
