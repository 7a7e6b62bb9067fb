#pragma once

#include "media/MediaAsset.h"

#include <filesystem>
#include <optional>

namespace quorvalent {

/// What a result has to hold of its source.
struct CarriedStreams
{
    /// The source's pictures and sounds in the order of the result; empty where the engine takes one of each.
    std::vector<std::size_t> tracks;
    std::size_t subtitles = 0; ///< at least
    /// The source's packets need not reach as far as its header says: it breaks off, which its owner is told,
    /// or its structure is whole and it was read without a complaint.
    bool mayEndEarly = false;
};

/// The check of an audio or video result before it may replace the user's file: an engine's own word for
/// success does not count, because FFmpeg ends with success after losing half of its input.
///
/// Files of the common kinds are judged by their own headers; for any other a probe is asked, and made before
/// the engine runs, the check has it look at the source meanwhile. Used by one thread.
class MediaCheck
{
public:
    /// `source` is absolute and stays as it is until matches() has returned. FileError when it cannot be
    /// read, or when the probe, the system's ffprobe, cannot run.
    explicit MediaCheck(std::filesystem::path source);

    /// Whether the result is what its extension says and holds what the source holds: container and codecs,
    /// the streams that a conversion keeps, and their length to half a second or 1 %.
    ///
    /// A length that the source does not state is not held against the result, and one that it states too
    /// short is found out by reading its packets. Blocks for a millisecond where headers tell enough, for
    /// about 70 with a probe; for up to a millisecond for two seconds of media when the stated lengths do not
    /// settle it. Once. FileError as above; ConversionError where the source is to blame.
    [[nodiscard]] bool matches(const std::filesystem::path &output, const CarriedStreams &carried = {});

    /// What the headers tell of the source or the probe found; nothing where it is no readable media. Blocks
    /// until it is there.
    [[nodiscard]] const std::optional<MediaAsset> &original();

private:
    std::filesystem::path m_source;
    std::optional<MediaProbe> m_probe;                   ///< where the source's headers do not tell enough
    std::optional<std::optional<MediaAsset>> m_original; ///< their answer or the probe's, once it is there
};

} // namespace quorvalent
