#pragma once

#include "convert/KeptOriginal.h"
#include "convert/OriginalsFolder.h"
#include "core/RenameJob.h"
#include "platform/Files.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

namespace quorvalent {

/// Keeps removed originals for a while, so that renaming an untouched result back gives the original back.
/// An original is moved, never copied: into the program's state folder where that is on the file's volume,
/// else into a hidden folder at the top of the volume, which the state folder remembers. What is kept is
/// nobody's only copy of a file that he has not converted himself, and goes first where room is needed.
///
/// Any thread; two programs may use the same folders at once.
class OriginalsStore
{
public:
    using Clock = std::function<KeptOriginal::Time()>;

    /// Most bytes on one volume, and the part of its free space that they may take at most.
    static constexpr std::uint64_t mostBytes = 2ULL << 30U;
    static constexpr std::uint64_t partOfFreeSpace = 10;

    /// `home` is the folder in the program's state; it is made when first needed. `files` outlives the
    /// object.
    OriginalsStore(const Files &files, std::filesystem::path home, Clock now = &systemTime);

    /// Moves the original at `from` out of its folder for so long; `name` is what it was called. False when
    /// it cannot be kept, because its volume has no place for it, it is too large or another user's: it is
    /// untouched then.
    [[nodiscard]] bool keep(const std::filesystem::path &from, const std::string &name,
                            const FileStamp &original, const FileStamp &result,
                            std::chrono::minutes span) const;

    /// What a rename asks for that takes a conversion back.
    struct Return
    {
        KeptOriginal original;
        std::vector<KeptOriginal> between; ///< the steps that lie between it and the file
    };
    /// The kept original of the new name's format that the renamed file took the place of, at once or over
    /// other formats. Nothing when the file was changed since.
    [[nodiscard]] std::optional<Return> returnOf(const RenameJob &job) const;
    /// The original is back: its entry and those between go.
    void finish(const Return &taken) const;

    /// Removes kept originals on the folder's volume, the oldest first, until so many bytes are free.
    void makeRoom(const std::filesystem::path &folder, std::uint64_t bytes) const;

    /// Removes what has been kept as long as it was to be, or for `most`; with 0, all of it. Answers when the
    /// next one is due; nothing when none is left.
    std::optional<std::chrono::seconds> expire(std::optional<std::chrono::minutes> most = {}) const;

    [[nodiscard]] static KeptOriginal::Time systemTime();

private:
    [[nodiscard]] std::optional<OriginalsFolder> folderFor(const std::filesystem::path &folder) const;
    [[nodiscard]] bool makeHome() const;
    [[nodiscard]] bool remember(const OriginalsFolder &folder) const;
    [[nodiscard]] bool makeRoomWithin(const OriginalsFolder &folder, std::uint64_t bytes) const;

    const Files &m_files;
    std::filesystem::path m_home;
    Clock m_now;
};

} // namespace quorvalent
