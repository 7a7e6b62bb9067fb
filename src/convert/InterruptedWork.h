#pragma once

#include "platform/Files.h"

#include <QString>

#include <filesystem>
#include <optional>

namespace quorvalent {

/// A conversion that was killed and whose file the user must know about.
struct InterruptedConversion
{
    std::filesystem::path file; ///< under its new name, or the work folder where that is all that is known
    QString sentence;           ///< what became of it and where the original is; French

    bool operator==(const InterruptedConversion &) const = default;
};

/// Puts right what a conversion that was killed left, in this work folder and beside it: the original stands
/// under its old name again where that name is free, and the abandoned work folder is gone. Deletes none of
/// the user's files and replaces none; a work folder that a running copy of the program holds, another
/// user's, or one that is a link stays untouched. Answers what the user must know. To be called before the
/// files beside it are known to a watcher; blocks for a few moves.
[[nodiscard]] std::optional<InterruptedConversion>
restoreInterruptedWork(const std::filesystem::path &workFolder, const Files &files = Files());

} // namespace quorvalent
