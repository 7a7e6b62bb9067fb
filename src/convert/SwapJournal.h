#pragma once

#include "core/RenameJob.h"

#include <QString>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace quorvalent {

/// What a work folder says about the replacement it serves, so that the next start can put the user's file
/// right if this one is killed. All names are plain names in the folder that holds the work folder.
struct SwapJournal
{
    std::filesystem::path oldName;       ///< before the rename
    std::filesystem::path newName;       ///< after it
    std::filesystem::path collisionName; ///< where the original goes aside when the old name is taken
    bool keepsOriginal = false;
    QString fileNumber; ///< the original's inode: device numbers do not survive a restart
    std::uint64_t sizeBytes = 0;
    FileTime modified;

    bool operator==(const SwapJournal &) const = default;

    [[nodiscard]] static SwapJournal of(const RenameJob &job, std::filesystem::path collisionName,
                                        bool keepsOriginal);

    /// Whether what was found somewhere is the original itself, unchanged.
    [[nodiscard]] bool isOriginal(const FileAttributes &found) const;

    /// See JournalFields.
    [[nodiscard]] std::string encoded() const;
    /// Nothing unless the bytes are complete and every name is a plain one.
    [[nodiscard]] static std::optional<SwapJournal> decoded(const std::string &bytes);
};

} // namespace quorvalent
