#pragma once

#include "media/image/BmpHeader.h"

namespace quorvalent {

/// The colour numbers of a run-length coded BMP, one byte each, top row first. Skipped pixels have colour 0.
/// Throws ImageReadError when the codes end before the picture does.
[[nodiscard]] QByteArray unpackBmpRle(QByteArrayView file, const BmpHeader &header);

} // namespace quorvalent
