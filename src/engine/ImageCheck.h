#pragma once

#include <filesystem>

namespace quorvalent {

/// Whether `output` is what `source` should have become: an image of the kind that its extension names,
/// whole, with the source's frames (one for WebP) and its size as seen. Reads headers and structure, not
/// pixels. Throws nothing derived from Error: what cannot be read does not match.
[[nodiscard]] bool imageMatches(const std::filesystem::path &source, const std::filesystem::path &output);

} // namespace quorvalent
