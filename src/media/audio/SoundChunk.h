#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace quorvalent {

class ByteSource;

/// One chunk of a WAVE or AIFF file.
struct SoundChunk
{
    std::int64_t begin = 0;             ///< of its content, in the file
    std::optional<std::uint64_t> bytes; ///< as announced; nothing where a WAVE writer could not know them

    bool operator==(const SoundChunk &) const = default;

    /// The first chunk of that name.
    [[nodiscard]] static std::optional<SoundChunk> find(const ByteSource &file, std::string_view name,
                                                        bool isLittleEndian);
};

} // namespace quorvalent
