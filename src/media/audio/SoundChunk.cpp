#include "media/audio/SoundChunk.h"

#include "media/audio/ByteSource.h"

namespace quorvalent {

namespace {

// Programs that write a WAVE file into a pipe cannot know its length and put one of these.
bool isUnknownWaveSize(std::uint64_t bytes)
{
    return bytes == 0 || bytes == 0xFFFFFFFF || bytes == 0x7FFFF000;
}

} // namespace

std::optional<SoundChunk> SoundChunk::find(const ByteSource &file, std::string_view name, bool isLittleEndian)
{
    constexpr std::int64_t chunkHead = 8;
    std::uint64_t longSize = 0; // of an RF64 file, whose data chunk says 0xFFFFFFFF
    std::int64_t offset = 12;
    while (offset + chunkHead <= file.size()) {
        std::uint64_t size = isLittleEndian ? file.little32(offset + 4) : file.big32(offset + 4);
        if (isLittleEndian && file.holds(offset, "ds64"))
            longSize = file.little64(offset + 16);
        if (file.holds(offset, name)) {
            if (isLittleEndian && size == 0xFFFFFFFF && longSize != 0)
                size = longSize;
            SoundChunk chunk{.begin = offset + chunkHead, .bytes = size};
            if (isLittleEndian && isUnknownWaveSize(size))
                chunk.bytes.reset();
            return chunk;
        }
        offset += chunkHead + static_cast<std::int64_t>(size + size % 2);
    }
    return std::nullopt;
}

} // namespace quorvalent
