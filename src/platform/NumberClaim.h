#pragma once

#include "platform/FileDescriptor.h"

#include <cstdint>
#include <filesystem>
#include <optional>

namespace quorvalent {

/// One of many numbers, held by one object of all processes that name the same file. The kernel lets go of it
/// when the process ends, however it ends; the file stays, and stays empty.
class NumberClaim
{
public:
    /// Nothing while another object holds the number. Makes the file (0600) and its folder (0700) where they
    /// are missing; FileError where that fails, or where the file system has no locks.
    [[nodiscard]] static std::optional<NumberClaim> take(const std::filesystem::path &file,
                                                         std::uint64_t number);

private:
    explicit NumberClaim(FileDescriptor file)
        : m_file(std::move(file))
    {}

    FileDescriptor m_file; ///< the lock is the open file's
};

} // namespace quorvalent
