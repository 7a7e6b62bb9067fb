#pragma once

#include <filesystem>

namespace quorvalent {

/// The programs that this layer runs: those of the bundle's Contents/Helpers, which are links to the
/// system's, or programs of the bundle's own where it brings its libraries along. No PATH of the user's
/// decides what runs.
///
/// The answers are kept from the first call on, and may be asked for on any thread.
namespace MediaPrograms {

[[nodiscard]] const std::filesystem::path &ffmpeg();
[[nodiscard]] const std::filesystem::path &ffprobe();

} // namespace MediaPrograms

} // namespace quorvalent
