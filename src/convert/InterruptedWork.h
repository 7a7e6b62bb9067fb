#pragma once

#include "platform/Files.h"

#include <QString>

#include <filesystem>
#include <functional>
#include <string_view>
#include <vector>

namespace quorvalent {

/// A conversion that was killed and whose file the user must know about.
struct InterruptedConversion
{
    std::filesystem::path file; ///< under its new name, or the work folder where that is all that is known
    QString sentence;           ///< what became of it and where the original is; French

    bool operator==(const InterruptedConversion &) const = default;
};

/// Puts right what conversions that were killed left in the watched trees: the original stands under its old
/// name again where that name is free, and the abandoned work folder is gone. Deletes none of the user's
/// files and replaces none; a work folder that a running copy of the program holds, another user's, or one
/// that is a link stays untouched. Answers the originals that the user must know about. To be called before
/// watching starts, with folders that may be missing or unreadable; blocks for a walk through all folders.
/// `isEntered` tells by its name whether a subfolder is watched too.
[[nodiscard]] std::vector<InterruptedConversion>
restoreInterruptedWork(const std::vector<std::filesystem::path> &roots,
                       const std::function<bool(std::string_view folderName)> &isEntered,
                       const Files &files = Files());

} // namespace quorvalent
