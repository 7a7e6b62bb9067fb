#include "media/AudioReader.h"

#include "media/audio/CodecReader.h"
#include "media/audio/DeclaredLength.h"
#include "media/audio/SndfileReader.h"

#include <algorithm>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

AudioError incomplete()
{
    return AudioError(u"Le fichier audio est incomplet."_s);
}

} // namespace

std::unique_ptr<AudioReader> AudioReader::open(const std::filesystem::path &path)
{
    const DeclaredLength declared = declaredLength(path);
    if (declared.isTruncated)
        throw incomplete();
    if (std::unique_ptr<AudioReader> reader = SndfileReader::open(path, declared))
        return reader;
    return std::make_unique<CodecReader>(path, declared);
}

void AudioReader::read(AudioBuffer &buffer)
{
    std::size_t frames = decode(buffer);
    if (m_length && m_isLengthExact) {
        // Codecs that work in packets hand over the silence that filled up the last one.
        frames =
            std::min(frames, static_cast<std::size_t>(std::max<std::int64_t>(*m_length - m_position, 0)));
        const std::int64_t end = m_position + static_cast<std::int64_t>(frames);
        if (frames < buffer.capacityFrames() && end + m_toleranceFrames < *m_length)
            throw incomplete();
    }
    buffer.setFrames(frames);
    m_position += static_cast<std::int64_t>(frames);
}

} // namespace quorvalent
