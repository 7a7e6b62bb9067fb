#pragma once

#include "media/AudioReader.h"
#include "media/audio/ByteSource.h"
#include "media/audio/DeclaredLength.h"
#include "media/audio/SndfileHandle.h"

#include <vector>

namespace quorvalent {

/// Reads WAV, AIFF, FLAC, Ogg and MP3 in this process.
class SndfileReader : public AudioReader
{
public:
    /// Nothing when this library cannot read the file, or not as exactly as the codec program can.
    [[nodiscard]] static std::unique_ptr<AudioReader> open(const std::filesystem::path &path,
                                                           const DeclaredLength &declared);

protected:
    std::size_t decode(AudioBuffer &buffer) override;

private:
    SndfileReader(ByteSource source, SndfileHandle file, const SF_INFO &info, const DeclaredLength &declared);

    void reorderChannels(AudioBuffer &buffer) const;
    void requireNothingLeft() const;

    ByteSource m_source;
    SndfileHandle m_file;
    bool m_isFlac;
    std::vector<std::size_t>
        m_fileChannels; ///< of each channel of ours, its place in the file; empty: the same
};

} // namespace quorvalent
