#pragma once

#include <QString>

#include <filesystem>

namespace quorvalent {

/// Whether the file certainly is of the format that an extension names, whatever it is called: by its first
/// bytes, and where these do not tell a sound from a film by its list of tracks. Nothing is decoded, and how
/// the file ends does not matter. The extension comes without the dot, in lower case; false for one that is
/// none of ours. FileError when the file cannot be read.
///
/// A container that several formats share is told by its brand: MP4, QuickTime, M4V and M4A. WebM is Matroska
/// too, but not the other way round. A camera's raw picture is no TIFF, and AVIF no HEIC.
[[nodiscard]] bool isOfFormat(const std::filesystem::path &path, const QString &extension);

} // namespace quorvalent
