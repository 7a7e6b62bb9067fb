#pragma once

#include "media/AudioReader.h"
#include "media/audio/DeclaredLength.h"
#include "platform/ChildProcess.h"

#include <QByteArray>

namespace quorvalent {

/// Reads what FFmpeg's program can decode, AAC and ALAC above all, from a child that writes floating-point
/// samples into a pipe: 24 bits of integers pass through them unchanged.
class CodecReader : public AudioReader
{
public:
    /// AudioError when the program finds no sound in the file.
    CodecReader(const std::filesystem::path &path, const DeclaredLength &declared);

protected:
    std::size_t decode(AudioBuffer &buffer) override;

private:
    bool receive();
    [[nodiscard]] QByteArray take(qsizetype bytes);
    void readWaveHead();

    ChildProcess m_child;
    QByteArray m_pending; ///< received and not yet handed over, from m_taken on
    qsizetype m_taken = 0;
};

} // namespace quorvalent
