#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

namespace quorvalent {

/// What one process in a cage may use up. An absent limit leaves the one that the process was started with;
/// none is ever raised. docs/engine-cage.md says how the numbers of forConversion were chosen.
struct CageLimits
{
    /// Private writable memory, per process: what it has reserved, touched or not. Beyond it, allocations
    /// fail.
    std::optional<std::uint64_t> memoryBytes;
    /// Length of one file. Beyond it, writing fails with EFBIG.
    std::optional<std::uint64_t> fileBytes;
    /// Processes and threads of the user, all programs counted; root is exempt. Beyond it, none can be
    /// started.
    std::optional<std::uint64_t> userTasks;
    std::optional<std::uint64_t> openFiles;

    /// Limits that end an attack and no conversion: for this machine and for the disk of that folder.
    /// FileError when the folder's file system cannot be asked.
    [[nodiscard]] static CageLimits forConversion(const std::filesystem::path &workFolder);
    /// The same where no file is written.
    [[nodiscard]] static CageLimits forReading();
};

} // namespace quorvalent
