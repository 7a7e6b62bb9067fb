#pragma once

#include "platform/MediaAsset.h"

#include <filesystem>
#include <optional>

namespace quorvalent {

/// The check of an audio or video result before it may replace the user's file: an engine's own word for
/// success does not count, because FFmpeg ends with success after losing half of its input.
///
/// Made before the engine runs, it looks at the source meanwhile. Used by one thread.
class MediaCheck
{
public:
    /// `source` is absolute and stays as it is until matches() has returned. FileError when the probe, the
    /// system's ffprobe, cannot run.
    explicit MediaCheck(std::filesystem::path source);

    /// Whether the result is what its extension says and holds what the source holds: container and codecs,
    /// the streams that a conversion keeps, and their length to half a second or 1 %.
    ///
    /// A length that the source does not state is not held against the result, and one that it states too
    /// short is found out by reading its packets. Blocks for about 70 ms; for up to a millisecond for two
    /// seconds of media when the stated lengths do not settle it. Once. FileError as above.
    [[nodiscard]] bool matches(const std::filesystem::path &output);

    /// What the probe found of the source; nothing where it is no readable media. Blocks until it is there.
    [[nodiscard]] const std::optional<MediaAsset> &original();

private:
    std::filesystem::path m_source;
    MediaProbe m_probe;
    std::optional<std::optional<MediaAsset>> m_original; ///< the probe's answer, once it was asked for
};

} // namespace quorvalent
