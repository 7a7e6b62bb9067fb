#pragma once

#include "convert/MissingEncoders.h"

#include <optional>

namespace quorvalent {

/// Which of these targets the FFmpeg program was built without an encoder for; all of them where there is no
/// program.
[[nodiscard]] std::vector<MissingEncoder>
missingExternalEncoders(const std::optional<std::filesystem::path> &program, const QStringList &targets);

} // namespace quorvalent
