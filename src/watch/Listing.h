#pragma once

#include "core/RenameJob.h"
#include "platform/FolderWalk.h"

#include <QString>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

namespace quorvalent {

/// Where every regular file of the watched trees stood at one time, found by identity. A file reached under
/// two different paths (hard links) is left out; one reached twice under the same path, through roots that
/// lie in one another, counts once, as it was found last. A value; any thread.
class Listing
{
public:
    Listing() = default;

    /// Lists the roots in order; each problem is handed to `onError` as one French sentence.
    [[nodiscard]] static Listing take(const std::vector<std::filesystem::path> &roots,
                                      const std::function<void(const QString &)> &onError);

    /// Lists the roots anew, and hands to `onRename` the files that both listings hold in the same folder,
    /// with the same size and time, under names whose extensions differ by more than letter case. What only
    /// the next refresh needs is done after that.
    void refresh(const std::vector<std::filesystem::path> &roots,
                 const std::function<void(const QString &)> &onError,
                 const std::function<void(const RenameJob &)> &onRename);

    /// Where the file of this identity is; one that cannot be followed is nowhere. Looks at every file.
    [[nodiscard]] std::optional<std::filesystem::path> placeOf(const QString &identity) const;

    /// Files that can be followed.
    [[nodiscard]] std::size_t count() const;

private:
    using Position = std::uint32_t; ///< in FoundFiles::files
    struct Renamed
    {
        Position before = 0; ///< in m_found
        Position now = 0;    ///< in the listing that follows it
    };

    [[nodiscard]] static FoundFiles found(const std::vector<std::filesystem::path> &roots,
                                          const std::function<void(const QString &)> &onError);
    void index();
    [[nodiscard]] std::vector<Renamed> renamedIn(const FoundFiles &current) const;
    [[nodiscard]] static std::vector<Renamed> onlyUnambiguous(std::vector<Renamed> renames,
                                                              const FoundFiles &current);
    [[nodiscard]] std::optional<Position> find(const FoundFile &file, Position guess) const;

    FoundFiles m_found;
    std::vector<Position> m_slots; ///< hash table by identity, open addressing; emptySlot where free
    std::vector<bool> m_isLeftOut; ///< hard links, and earlier finds of the same path
};

} // namespace quorvalent
