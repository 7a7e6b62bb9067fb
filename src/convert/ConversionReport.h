#pragma once

#include "core/FileStamp.h"

#include <QStringList>

#include <filesystem>
#include <optional>

namespace quorvalent {

/// What an engine learnt of a conversion that succeeded.
struct EngineReport
{
    QStringList remarks;        ///< complete French sentences; empty when nothing is worth a word
    bool keepsOriginal = false; ///< the source holds something of value that the output does not

    bool operator==(const EngineReport &) const = default;
};

/// What is to be known about a conversion that succeeded.
struct ConversionReport
{
    QStringList remarks;                           ///< complete French sentences, the engine's first
    std::optional<std::filesystem::path> original; ///< where it still stands, for whatever reason
    std::optional<FileStamp> result = {};          ///< what was put under the new name
    bool isReturn = false;                         ///< a kept original was brought back, nothing converted
    bool isUnchanged = false;                      ///< the file already was what its new name says
    bool canBeTakenBack = false;                   ///< the original is kept among the removed ones

    bool operator==(const ConversionReport &) const = default;
};

} // namespace quorvalent
