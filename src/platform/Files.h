#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>

namespace quorvalent {

/// A file system time at its full resolution, nanoseconds since the Unix epoch.
using FileTime = std::chrono::sys_time<std::chrono::nanoseconds>;

enum class FileType { Regular, Folder, SymbolicLink, Other };

struct FileAttributes
{
    FileType type = FileType::Other;
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t sizeBytes = 0;
    FileTime modified;
    bool isOwn = false;      ///< belongs to the user who runs this program
    std::uint64_t links = 0; ///< names that it has

    bool operator==(const FileAttributes &) const = default;
};

/// The file operations that a safe replacement is made of. No function follows a symbolic link in the last
/// component, none replaces anything, and each throws FileError unless it says otherwise. Stateless: any
/// thread may call any function. Virtual so that a test can have one operation fail and keep the others real.
class Files
{
public:
    Files() = default;
    Files(const Files &) = delete;
    Files &operator=(const Files &) = delete;
    virtual ~Files() = default;

    [[nodiscard]] virtual FileAttributes attributes(const std::filesystem::path &path) const;

    /// Whether any item stands at the path: a dangling link counts, an unreadable parent does not.
    [[nodiscard]] virtual bool exists(const std::filesystem::path &path) const;

    /// Creates a folder that only its owner may enter (mode 0700). Its parent must exist.
    virtual void createPrivateFolder(const std::filesystem::path &path) const;

    /// Copies a regular file's bytes to a new file that only its owner may read (mode 0600), sharing blocks
    /// where the file system can; holes stay holes. Where the blocks cannot be shared, a volume that is
    /// known to be too full is told before the first byte. A failed copy leaves nothing behind.
    virtual void copy(const std::filesystem::path &from, const std::filesystem::path &to) const;

    /// Renames within one volume, atomically, and never replaces: when `to` exists, both stay as they are.
    /// On file systems that cannot promise this (some network shares, FAT over FUSE) see the .cpp.
    virtual void moveNoReplace(const std::filesystem::path &from, const std::filesystem::path &to) const;

    /// Removes one file or one empty folder.
    virtual void remove(const std::filesystem::path &path) const;

    /// Removes an item and, if it is a folder, everything in it; links are removed, not followed, and a
    /// folder that is closed to its owner is opened. An item that is not there is no error.
    virtual void removeTree(const std::filesystem::path &path) const;

    /// Returns once the file's content, or the folder's list of names, is on the disk, as far as the file
    /// system knows such a promise.
    virtual void flush(const std::filesystem::path &path) const;

    /// Gives `result` what was the user's own on `original`: permission bits, owner and group where allowed,
    /// extended attributes and access control list, modification time to the nanosecond. What this user may
    /// not set or the file system does not know is left out silently; a file that cannot be opened, and a
    /// full disk, throw. Attributes that vouch for the exact content (security.ima, security.evm) stay out.
    virtual void carryOverAttributes(const std::filesystem::path &original,
                                     const std::filesystem::path &result) const;

    /// Bytes that this user may still write on the volume that holds `folder`; nothing where the file system
    /// does not say.
    [[nodiscard]] virtual std::optional<std::uint64_t> freeBytes(const std::filesystem::path &folder) const;

    /// Whether some process has the regular file open for writing, as far as the kernel tells: false where
    /// it does not (another owner's file, a file system without leases).
    [[nodiscard]] virtual bool isOpenForWriting(const std::filesystem::path &path) const;
    /// The same for any way of having it open.
    [[nodiscard]] virtual bool isOpen(const std::filesystem::path &path) const;
};

} // namespace quorvalent
