#pragma once

#include "convert/KeptOriginal.h"
#include "platform/Files.h"

#include <filesystem>
#include <optional>
#include <vector>

namespace quorvalent {

/// The kept originals of one volume: a private folder of ours on it, with an entry for each. Every change is
/// one rename or the removal of one entry, so that two programs may use it at once; an entry that the other
/// one has taken away is passed over. Stateless; any thread.
class OriginalsFolder
{
public:
    /// `files` outlives the object.
    OriginalsFolder(const Files &files, std::filesystem::path path);

    [[nodiscard]] const std::filesystem::path &path() const { return m_path; }

    /// A real folder of this user stands there, and nobody else may change what is in it.
    [[nodiscard]] bool isUsable() const;
    /// Makes it unless it is there; false when there is none that is usable. Its parent must exist.
    [[nodiscard]] bool create() const;
    /// Removes it if nothing is kept in it. Best effort.
    void removeIfEmpty() const;

    /// Moves the file here in one rename; throws FileError and leaves it where it is when that cannot be.
    void keep(const std::filesystem::path &from, const KeptOriginal &record) const;
    /// The original whose place this file took, newest first; nothing unless it is whole.
    [[nodiscard]] std::optional<KeptOriginal> replacedBy(const FileMark &result) const;
    /// Every entry, the oldest first; one without a sound record counts from when it was made.
    [[nodiscard]] std::vector<KeptOriginal> all() const;
    /// Removes an entry and the original in it. Best effort.
    void drop(const KeptOriginal &kept) const;

private:
    [[nodiscard]] std::vector<std::filesystem::path> entries(const std::string &prefix) const;
    [[nodiscard]] KeptOriginal read(const std::filesystem::path &entry) const;

    const Files &m_files;
    std::filesystem::path m_path;
};

} // namespace quorvalent
