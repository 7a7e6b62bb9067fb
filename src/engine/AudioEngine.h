#pragma once

#include "core/Progress.h"

#include <QtGlobal>

#include <filesystem>

namespace quorvalent {

/// Writes a sound as 16-bit PCM ("wav", "aif", "aiff") or as AAC ("m4a") at `bitrateKbps`, with the source's
/// rate and channels. Lossless sources come out to the frame, 16-bit ones bit for bit. Memory does not grow
/// with the length. Reports up to 0.98, or nothing where the source tells no length. Throws a class derived
/// from Error; blocks.
void runAudioEngine(const std::filesystem::path &source, const std::filesystem::path &output,
                    qint64 bitrateKbps, const Progress &progress);

} // namespace quorvalent
