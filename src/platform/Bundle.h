#pragma once

#include <filesystem>

namespace quorvalent {

/// The application bundle: the folder above the one that holds the running executable, links resolved.
namespace Bundle {

/// Root folder of the bundle.
[[nodiscard]] std::filesystem::path root();

/// Whether a regular file that this user may execute stands at the path; links are followed.
[[nodiscard]] bool isExecutableFile(const std::filesystem::path &path);

} // namespace Bundle

} // namespace quorvalent
