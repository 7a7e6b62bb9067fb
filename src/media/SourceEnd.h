#pragma once

#include "media/MediaAsset.h"

#include <filesystem>
#include <optional>

namespace quorvalent {

/// Whether a sound or film is all there, by its own structure: the bytes, frames, pages or boxes of which it
/// says that they follow. A length that its header states proves nothing, because writers of streams and of
/// fragments state any.
struct SourceEnd
{
    enum class State {
        Whole,
        BreaksOff, ///< something must follow that is not there
        Unknown    ///< of a kind that is not known here
    };

    State state = State::Unknown;
    std::optional<MediaSeconds> announced; ///< by the part of the structure that was looked at

    bool operator==(const SourceEnd &) const = default;

    /// Reads a few headers, and of FLAC the last frame; a millisecond whatever the length. FileError when the
    /// file cannot be read.
    [[nodiscard]] static SourceEnd of(const std::filesystem::path &path);
};

} // namespace quorvalent
