#pragma once

#include <cstdint>

namespace quorvalent {

/// What the computer has to offer at a moment. Any thread may ask.
struct Machine
{
    int cores = 1;                    ///< that this process may run on, at least 1
    std::uint64_t availableBytes = 0; ///< memory that new work can have without swapping; 0 where unknown

    /// Reads a small file of the kernel's.
    [[nodiscard]] static Machine now();
};

} // namespace quorvalent
