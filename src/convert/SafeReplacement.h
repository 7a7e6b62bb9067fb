#pragma once

#include "convert/WorkFolder.h"
#include "core/ConversionError.h"
#include "core/RenameJob.h"
#include "platform/Files.h"

#include <QString>

#include <filesystem>
#include <functional>
#include <optional>

namespace quorvalent {

/// An original that stays beside its result.
struct RemainingOriginal
{
    std::filesystem::path place;
    QString reason; ///< one complete French sentence; empty where it was to be kept
};

/// What a replacement leaves.
struct Replaced
{
    FileStamp result; ///< of what stands under the new name, as it was put there
    std::optional<RemainingOriginal> original;
};

/// A replacement that came to an end half-way; the sentence says where the original is.
class OriginalLeftError : public ConversionError
{
public:
    using ConversionError::ConversionError;
};

/// Takes an original that is no longer wanted beside its result, for safe keeping; `result` is the stamp of
/// what took its place. False when it cannot: the original is then where it was.
using TakeOriginal = std::function<bool(const std::filesystem::path &original, const FileStamp &result)>;

/// Puts a file into the place of the renamed one: a checked output, or an original that was kept. At every
/// instant the user's bytes stand under the new name, under the old one, or under the work folder's collision
/// name, and no file is ever replaced or written into. Used once, on the thread of the conversion.
class SafeReplacement
{
public:
    /// All three outlive the object.
    SafeReplacement(const Files &files, const RenameJob &job, const WorkFolder &work);

    /// Throws ConversionError, or FileError as the system refused a step; the file is then where it was, or
    /// where the sentence says. Returns with the output in place and, unless `keepsOriginal`, the original
    /// handed to `take`, or removed where that is empty or cannot keep it; an original that somebody changed
    /// or may still write into, or whose folder could not be flushed, stays beside the result.
    [[nodiscard]] Replaced run(bool keepsOriginal, const TakeOriginal &take = {}) const;

    /// The same with a kept original in the place of the output, as it is, and the file removed.
    [[nodiscard]] Replaced bringBack(const std::filesystem::path &kept) const;

private:
    [[nodiscard]] Replaced swap(const std::filesystem::path &replacement, bool keepsOriginal,
                                const TakeOriginal &take) const;
    void requireUnchanged() const;
    void moveAside(const std::filesystem::path &backup) const;
    void moveIn(const std::filesystem::path &replacement, const std::filesystem::path &backup) const;
    [[nodiscard]] std::optional<RemainingOriginal> removeOriginal(const std::filesystem::path &backup,
                                                                  const TakeOriginal &take,
                                                                  const FileStamp &result) const;

    const Files &m_files;
    const RenameJob &m_job;
    const WorkFolder &m_work;
};

} // namespace quorvalent
