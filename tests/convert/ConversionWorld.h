#pragma once

#include "convert/ConversionDriver.h"
#include "convert/HookedFiles.h"
#include "support/TestFolder.h"

#include <string>

namespace quorvalent::test {

/// A watched folder, the driver on real files, and engines that write "new" and leave their names.
class ConversionWorld
{
public:
    ConversionWorld();

    TestFolder folder;
    TestFolder state;
    HookedFiles files;
    Engines engines;
    Preferences preferences;
    Cancellation cancellation; ///< of conversions
    EngineReport learnt;       ///< what the engines will have learnt
    KeptOriginal::Time now{std::chrono::hours(1000)};
    OriginalsStore originals{files, state / "quorvalent/originals", [this] { return now; }};
    QString isAlready;         ///< the real format of every file
    bool keepsRemoved = false; ///< removed originals go to the store
    std::string enginesRun;
    std::string progress;
    std::function<void()> duringEngine = [] {};

    /// A file that holds "old" and has just been renamed.
    [[nodiscard]] RenameJob renamed(const std::string &oldName, const std::string &newName) const;

    /// A file below the folder that has just been given another name.
    [[nodiscard]] RenameJob renamedAgain(const std::string &oldName, const std::string &newName) const;

    /// "done" with the remarks and the place of the original, or the sentence of the error.
    std::string convert(const RenameJob &job);

    /// Every file below the folder as "name=bytes", a journal and every other item by its name.
    [[nodiscard]] std::string contents() const;

    /// The text with "…" for the folder's path and "########" for the random part of a collision name.
    [[nodiscard]] std::string shortened(std::string text) const;
};

} // namespace quorvalent::test
