#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>

namespace quorvalent {

/// What the processes of a group have done so far: two that are equal mean that nothing was done between
/// them.
struct GroupActivity
{
    std::int64_t processorTicks = 0; ///< hundredths of a second, all processes together
    std::int64_t newestChange = 0;   ///< of a file in the folder, nanoseconds
    std::int64_t blocks = 0;         ///< of the files in the folder

    bool operator==(const GroupActivity &) const = default;

    /// Of the group that `leader` leads and the files right in `folder`. What the system does not show counts
    /// as nothing. Takes milliseconds, because it looks at every process of the machine.
    [[nodiscard]] static GroupActivity now(pid_t leader, const std::filesystem::path &folder);
};

} // namespace quorvalent
