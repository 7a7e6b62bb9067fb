#pragma once

#include "platform/FileDescriptor.h"

#include <filesystem>
#include <optional>
#include <string>

namespace quorvalent {

/// A small private file that one process holds while it lives: the kernel drops the lock when the process
/// ends, however it ends. Closing the object lets go of the lock and leaves the file. Any one thread.
class LockedFile
{
public:
    /// Creates the file (mode 0600) and takes its lock. On a file system without locks the file is created
    /// all the same. Throws FileError: isOccupied() when the name is taken, isNotFound() when the folder is
    /// gone or another process took the new file away before it was locked.
    [[nodiscard]] static LockedFile create(const std::filesystem::path &path);

    /// Opens an existing file and takes its lock. Nothing when it is missing, no regular file, another
    /// user's, held by a process, or when the file system cannot tell.
    [[nodiscard]] static std::optional<LockedFile> take(const std::filesystem::path &path);

    /// Appends the bytes and starts their way to the disk without waiting for it; throws FileError.
    void write(const std::string &bytes) const;

    /// The content from its beginning, at most 64 KiB; throws FileError.
    [[nodiscard]] std::string read() const;

private:
    LockedFile(FileDescriptor file, std::filesystem::path path);

    FileDescriptor m_file;
    std::filesystem::path m_path;
};

} // namespace quorvalent
