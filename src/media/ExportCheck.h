#pragma once

#include "media/ExportLog.h"
#include "media/ExportPlan.h"
#include "media/MovieIndex.h"

namespace quorvalent {

/// Whether a finished movie is what was planned, by its own index and not by the word of the program that
/// wrote it: the index stands before the data, every planned track is there with its length (to half a second
/// or 1 %) and its rotation, and a track that was passed through has as many samples as the source. Pure.
[[nodiscard]] bool isFaithful(const ExportPlan &plan, const ExportLog &log, const MovieIndex &result);

} // namespace quorvalent
