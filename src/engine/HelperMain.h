#pragma once

#include "convert/MissingEncoders.h"
#include "engine/EngineFamily.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace quorvalent {

/// What one of the helper programs does.
struct HelperFamily
{
    /// Called while nobody waits, before a folder is told and before the cage.
    std::function<void()> getReady;
    /// Told once, where conversions run side by side, how many threads this one may use.
    std::function<void(int threads)> limitThreads;
    /// The engines, with the FFmpeg program of the external engine, or nothing where it is missing.
    std::function<std::unique_ptr<EngineFamily>(std::optional<std::filesystem::path> external)> make;
    /// What cannot be encoded here, with the same program.
    std::function<std::vector<MissingEncoder>(const std::optional<std::filesystem::path> &external)> missing;
};

/// The main function of an engine helper: a process of its own for each conversion, in which all media is
/// read, so that what a file does to a decoder stays there. Requests come in by standard input, the folder to
/// work in first; answers go out by standard output. Takes no arguments, unless it is only to tell what
/// cannot be encoded (MissingEncoders::option). Returns the exit status, or ends the process.
[[nodiscard]] int runHelper(std::span<char *const> arguments, const HelperFamily &family);

} // namespace quorvalent
