#pragma once

#include "convert/SwapJournal.h"
#include "core/RenameJob.h"
#include "platform/Files.h"
#include "platform/LockedFile.h"

#include <filesystem>
#include <optional>

namespace quorvalent {

/// Owns the hidden, private folder beside a renamed file in which its conversion works, and removes it with
/// everything in it at the end of its life. The journal inside is locked while this object lives and says
/// what to put right should the program be killed. The engines have a folder of their own in it, so that the
/// journal is out of their reach. One conversion's thread.
class WorkFolder
{
public:
    /// Creates the folder and its journal in the folder of the job's file; throws FileError. `files` outlives
    /// the object.
    WorkFolder(const Files &files, const RenameJob &job, bool keepsOriginal);
    ~WorkFolder();
    WorkFolder(const WorkFolder &) = delete;
    WorkFolder &operator=(const WorkFolder &) = delete;

    [[nodiscard]] const std::filesystem::path &path() const { return m_path; }
    /// All that an engine may read and write.
    [[nodiscard]] std::filesystem::path mediaFolder() const { return m_sourceCopy.parent_path(); }
    /// The private copy that the engines read.
    [[nodiscard]] const std::filesystem::path &sourceCopy() const { return m_sourceCopy; }
    /// The file that the engines write.
    [[nodiscard]] const std::filesystem::path &output() const { return m_output; }
    /// A file that this program made in the same place and that no engine can reach.
    [[nodiscard]] std::filesystem::path journal() const { return journalIn(m_path); }
    /// Where the original goes aside when its old name is taken: beside the file, under a name of its own.
    [[nodiscard]] const std::filesystem::path &collisionBackup() const { return m_collisionBackup; }

    /// Returns once the journal is on the disk; throws FileError.
    void flushJournal() const;

    /// Whether a folder of this name can be a work folder.
    [[nodiscard]] static bool isWorkFolderName(const std::filesystem::path &name);
    [[nodiscard]] static std::filesystem::path journalIn(const std::filesystem::path &workFolder);
    [[nodiscard]] static std::filesystem::path sourceCopyIn(const std::filesystem::path &workFolder,
                                                            const std::filesystem::path &oldName);

    /// Removes a work folder, its journal last, so that no half-removed folder is without one, and lets go of
    /// the journal. Best effort.
    static void removeFolder(const Files &files, const std::filesystem::path &workFolder,
                             std::optional<LockedFile> &journal);

private:
    void create(const RenameJob &job, bool keepsOriginal);

    const Files &m_files;
    std::filesystem::path m_path;
    std::filesystem::path m_sourceCopy;
    std::filesystem::path m_output;
    std::filesystem::path m_collisionBackup;
    std::optional<LockedFile> m_journal;
};

} // namespace quorvalent
