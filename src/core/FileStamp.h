#pragma once

#include "platform/Files.h"

#include <QString>

#include <cstdint>
#include <filesystem>

namespace quorvalent {

/// Identifies one file on disk and captures the state of its content. Survives a rename within a volume;
/// differs once the content is rewritten or another file takes the name.
struct FileStamp
{
    QString identity;       ///< device and inode in decimal, joined by "-"
    std::uint64_t size = 0; ///< bytes
    FileTime modified;

    bool operator==(const FileStamp &) const = default;

    /// One metadata query on any thread, links not followed. Throws FileError when there is nothing to read,
    /// ConversionError when the item is not a regular file.
    [[nodiscard]] static FileStamp read(const std::filesystem::path &location);

    /// Whether exactly this file in this state stands at the location. A failure to look counts as no.
    [[nodiscard]] bool isAt(const std::filesystem::path &location) const;

    /// Whether this file, in whatever state, stands at the location. A failure to look counts as no.
    [[nodiscard]] bool isSameFile(const std::filesystem::path &location) const;

    /// The text form of a file's identity.
    [[nodiscard]] static QString identityOf(std::uint64_t device, std::uint64_t inode);
};

} // namespace quorvalent
