#pragma once

#include "core/FileStamp.h"

#include <QString>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace quorvalent {

/// A file's inode, size and time: which file it is and in which state, on the volume that is meant. A device
/// number does not survive a restart.
struct FileMark
{
    QString fileNumber;
    std::uint64_t sizeBytes = 0;
    FileTime modified;

    bool operator==(const FileMark &) const = default;

    [[nodiscard]] static FileMark of(const FileStamp &stamp);
    /// Whether exactly this file in this state stands there. A failure to look counts as no.
    [[nodiscard]] bool isAt(const std::filesystem::path &location) const;
};

/// An original that a conversion removed and that can still be brought back: what its entry among the kept
/// ones says. The entry is a folder that holds this record and, once it has been moved there, the original.
struct KeptOriginal
{
    using Time = std::chrono::sys_seconds;

    std::string name; ///< the original's own, a plain name
    FileMark original;
    FileMark result;               ///< what took its place
    Time since;                    ///< when it was moved here
    std::chrono::minutes span{30}; ///< how long it was to be kept then

    std::filesystem::path entry; ///< the folder; not part of the record

    [[nodiscard]] std::filesystem::path file() const { return entry / name; }
    /// The original stands in its entry as it was.
    [[nodiscard]] bool isWhole() const { return original.isAt(file()); }

    [[nodiscard]] std::string encoded() const;
    /// Nothing unless the bytes are complete and the name is a plain one.
    [[nodiscard]] static std::optional<KeptOriginal> decoded(const std::string &bytes);
};

} // namespace quorvalent
