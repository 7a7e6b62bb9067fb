#pragma once

#include "core/Preferences.h"
#include "core/Progress.h"
#include "engine/StreamPlan.h"
#include "media/MediaAsset.h"

#include <filesystem>
#include <functional>
#include <optional>

namespace quorvalent {

/// What the external engine needs of the image layer for an image target.
struct ImageAssistance
{
    /// Whether the file is an image with exactly one frame.
    std::function<bool(const std::filesystem::path &source)> isSingleStillImage;
    /// The picture to hand to FFmpeg: the source itself where FFmpeg reads it rightly, otherwise a plain
    /// lossless copy in the work folder.
    std::function<std::filesystem::path(const std::filesystem::path &source,
                                        const std::filesystem::path &workFolder)>
        pictureToEncode;
    /// Puts what the source says of itself (date, place, author, profile) into the finished output.
    std::function<void(const std::filesystem::path &source, const std::filesystem::path &output)>
        carryMetadata;
};

/// What the external engine needs to know of an audio or video source.
struct ExternalSource
{
    StreamPlan streams;
    std::optional<MediaSeconds> length; ///< nothing where it tells none: then no fraction is reported
};

/// What FFmpeg said of a source although it ended with success.
enum class SourceComplaint {
    None,
    Any,     ///< of anything
    Damaged, ///< packets did not decode, or the container is broken inside
};

/// The engine behind Converter::external, with the FFmpeg program (nothing where it is missing) and the image
/// layer handed in. `source` and `output` are absolute and lie in one folder, which also receives
/// "ffmpeg.log"; `output` must not exist. Throws ConversionError in the engine's own sentences, FileError
/// where the log or the process cannot be made. Blocks until FFmpeg has ended; an exception out of `progress`
/// ends it.
SourceComplaint runExternalEngine(const std::optional<std::filesystem::path> &program,
                                  const std::filesystem::path &source, const std::filesystem::path &output,
                                  const Preferences &preferences, const Progress &progress,
                                  const ImageAssistance &images, const ExternalSource &media = {});

/// The length as progress is measured by: nothing for what states none, or none above zero.
[[nodiscard]] std::optional<MediaSeconds> lengthOf(const std::optional<MediaAsset> &asset);

} // namespace quorvalent
