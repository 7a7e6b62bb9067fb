#pragma once

#include "core/Progress.h"

#include <QStringList>

#include <filesystem>

namespace quorvalent {

/// Writes a video as the movie of `output`'s extension: "mov", "m4v", anything else is MPEG-4. `quality` is 0
/// for the highest, which passes through untouched whatever the file can carry, 1 for medium, any other for
/// low. Answers a French sentence for each stream that stays behind. What it returns from has been checked
/// against the source. Reports up to 0.98 on the calling thread; throws a class derived from Error; blocks.
QStringList runVideoEngine(const std::filesystem::path &source, const std::filesystem::path &output,
                           qint64 quality, const Progress &progress);

} // namespace quorvalent
