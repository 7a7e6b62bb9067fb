#pragma once

#include "core/Preferences.h"

#include <filesystem>
#include <string>
#include <vector>

namespace quorvalent {

/// FFmpeg's argument list for the output's extension, with `added` before its tail; ConversionError for an
/// extension of no family.
[[nodiscard]] std::vector<std::string> externalArguments(const std::filesystem::path &source,
                                                         const std::filesystem::path &output,
                                                         const Preferences &preferences,
                                                         const std::vector<std::string> &added = {});

/// The encoders of FFmpeg's that those arguments name for an extension.
[[nodiscard]] std::vector<std::string> externalEncoders(const QString &extension);

} // namespace quorvalent
