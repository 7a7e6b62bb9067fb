#pragma once

#include <cstdint>

namespace quorvalent {

class ByteSource;

/// Whether the last frame of a FLAC stream is complete and, where the stream states how many samples it has,
/// the last of them. `start` is where "fLaC" stands, `totalFrames` 0 where nothing is stated.
[[nodiscard]] bool endsWithLastFlacFrame(const ByteSource &file, std::int64_t start,
                                         std::int64_t totalFrames);

} // namespace quorvalent
