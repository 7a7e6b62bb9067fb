#pragma once

#include "convert/WorkFolder.h"
#include "core/RenameJob.h"
#include "platform/Files.h"

#include <QString>

#include <filesystem>
#include <optional>

namespace quorvalent {

/// An original that stays beside its result.
struct RemainingOriginal
{
    std::filesystem::path place;
    QString reason; ///< one complete French sentence; empty where it was to be kept
};

/// Puts a checked output into the place of the renamed file. At every instant the user's bytes stand under
/// the new name, under the old one, or under the work folder's collision name, and no file is ever replaced
/// or written into. Used once, on the thread of the conversion.
class SafeReplacement
{
public:
    /// All three outlive the object.
    SafeReplacement(const Files &files, const RenameJob &job, const WorkFolder &work);

    /// Throws ConversionError, or FileError as the system refused a step; the file is then where it was, or
    /// where the sentence says. Returns with the result in place and, unless `keepsOriginal`, the original
    /// gone; an original that somebody changed or may still write into, or whose folder could not be flushed,
    /// stays beside the result. Answers the original that stays.
    [[nodiscard]] std::optional<RemainingOriginal> run(bool keepsOriginal) const;

private:
    void sealOutput() const;
    void requireUnchanged() const;
    void moveAside(const std::filesystem::path &backup) const;
    void moveIn(const std::filesystem::path &backup) const;
    [[nodiscard]] std::optional<RemainingOriginal> removeOriginal(const std::filesystem::path &backup) const;

    const Files &m_files;
    const RenameJob &m_job;
    const WorkFolder &m_work;
};

} // namespace quorvalent
