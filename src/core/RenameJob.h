#pragma once

#include "core/FileStamp.h"

#include <QString>

#include <filesystem>

namespace quorvalent {

/// One detected change of a file's extension. Both locations lie in the same folder; their extensions differ
/// by more than letter case.
struct RenameJob
{
    std::filesystem::path oldURL; ///< where the file was
    std::filesystem::path newURL; ///< where it is
    FileStamp stamp;              ///< read at newURL when the rename was recognised

    /// The key under which the watcher holds the file until the job is over.
    [[nodiscard]] const QString &identity() const { return stamp.identity; }

    /// The job of a file that was moved or renamed once more: from its first format to the one that its name
    /// at `place` says.
    [[nodiscard]] RenameJob movedTo(const std::filesystem::path &place) const;
    /// Whether the two extensions differ by more than letter case.
    [[nodiscard]] bool changesExtension() const;
};

/// The text after the last dot of the name, as written, without the dot; empty where there is none. A name
/// that only begins with a dot has no extension. Invalid UTF-8 shows as U+FFFD.
[[nodiscard]] QString pathExtension(const std::filesystem::path &path);

/// The name without its extension and the dot before it, byte for byte.
[[nodiscard]] std::filesystem::path nameWithoutExtension(const std::filesystem::path &path);

} // namespace quorvalent
