#include "media/AudioWriter.h"

#include "media/audio/AacWriter.h"
#include "media/audio/BackgroundWriter.h"
#include "media/audio/PcmWriter.h"

namespace quorvalent {

std::unique_ptr<AudioWriter> AudioWriter::create(const std::filesystem::path &path,
                                                 const AudioEncoding &encoding, const AudioFormat &source,
                                                 std::optional<std::int64_t> length)
{
    if (encoding.container == AudioEncoding::Container::Mpeg4)
        return std::make_unique<AacWriter>(path, encoding.bitRate, source, length);
    return std::make_unique<BackgroundWriter>(
        std::make_unique<PcmWriter>(path, encoding.container, source, length));
}

} // namespace quorvalent
