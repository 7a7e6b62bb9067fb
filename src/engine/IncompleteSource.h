#pragma once

#include "media/SourceEnd.h"

#include <QString>

#include <filesystem>

namespace quorvalent {

/// The French sentence for a sound or film that breaks off: how much of it can be read, by its packets, and
/// how much it announces. Blocks for a millisecond for two to five seconds of media.
[[nodiscard]] QString incompleteSource(const std::filesystem::path &source, const SourceEnd &end);

/// The sentence for one that is all there, but does not decode everywhere.
[[nodiscard]] QString damagedSource();

} // namespace quorvalent
