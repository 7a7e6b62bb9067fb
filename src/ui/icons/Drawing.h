#pragma once

#include <QString>

namespace quorvalent {

/// Where the program carries the drawing of this name, an SVG.
[[nodiscard]] QString drawingFile(const QString &name);

} // namespace quorvalent
