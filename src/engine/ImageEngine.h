#pragma once

#include "core/Progress.h"

#include <filesystem>

namespace quorvalent {

/// Writes a still or multi-frame image as the format of `output`'s extension, and looks whether it can be
/// read again. `quality` is a fraction, 1.0 the best; formats without lossy compression ignore it. Reports up
/// to 0.9. Throws ConversionError; blocks.
void runImageEngine(const std::filesystem::path &source, const std::filesystem::path &output, double quality,
                    const Progress &progress);

} // namespace quorvalent
