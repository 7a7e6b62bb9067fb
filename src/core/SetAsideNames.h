#pragma once

#include <filesystem>

namespace quorvalent {

/// Whether a rename sets a file aside, or takes one that was set aside or unfinished back: what programs do
/// while they save, download or make backups, and people on purpose. One of the names then ends in a mark of
/// such files ("photo.jpg~", "film.mp4.part"), or is the other one with a suffix behind it that names no real
/// format ("scan.png.orig"). The desktop's MIME database tells which do; without one, a short list of common
/// formats. Pure; any thread.
[[nodiscard]] bool setsAsideOrBack(const std::filesystem::path &from, const std::filesystem::path &to);

} // namespace quorvalent
