#pragma once

#include <filesystem>

namespace quorvalent {

/// The way in which a file holds its tags.
enum class TagFormat { None, Wave, Aiff, Flac, Mpeg, Adts, Mp4, OggVorbis, OggOpus, OggFlac };

/// By the file's content; FileError when it cannot be read.
[[nodiscard]] TagFormat tagFormat(const std::filesystem::path &path);

} // namespace quorvalent
