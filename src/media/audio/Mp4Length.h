#pragma once

#include "media/audio/DeclaredLength.h"

namespace quorvalent {

class ByteSource;

/// What the movie header says of the first sound track, without the encoder's delay and padding.
[[nodiscard]] DeclaredLength mp4Length(const ByteSource &file);

} // namespace quorvalent
