#pragma once

#include <QStandardPaths>

#include <filesystem>

namespace quorvalent {

/// The user's base folder for files of one kind, always absolute: as QStandardPaths has it, but a relative
/// path in the environment does not count, because it would lead into whatever folder the program was started
/// in. `belowHome` is where it lies then (".config").
[[nodiscard]] std::filesystem::path baseFolder(QStandardPaths::StandardLocation location,
                                               const char *belowHome);

/// The same where QStandardPaths does not know the folder: as this variable of the environment has it.
[[nodiscard]] std::filesystem::path baseFolder(const char *variable, const char *belowHome);

} // namespace quorvalent
