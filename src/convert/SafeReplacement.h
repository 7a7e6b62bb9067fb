#pragma once

#include "convert/WorkFolder.h"
#include "core/RenameJob.h"
#include "platform/Files.h"

#include <filesystem>
#include <optional>

namespace quorvalent {

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
    /// gone; an original that somebody changed or may still write into stays beside the result. Answers where
    /// the original still stands.
    [[nodiscard]] std::optional<std::filesystem::path> run(bool keepsOriginal) const;

private:
    void sealOutput() const;
    void requireUnchanged() const;
    void moveAside(const std::filesystem::path &backup) const;
    void moveIn(const std::filesystem::path &backup) const;
    [[nodiscard]] bool removeOriginal(const std::filesystem::path &backup) const;

    const Files &m_files;
    const RenameJob &m_job;
    const WorkFolder &m_work;
};

} // namespace quorvalent
