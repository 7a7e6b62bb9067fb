#pragma once

#include "convert/ConversionDriver.h"
#include "convert/HookedFiles.h"
#include "core/RenameJob.h"
#include "support/TestFolder.h"

#include <string>
#include <vector>

namespace quorvalent::test {

/// A watched folder, the driver on real files, and engines that write "converted" and leave their names.
class ConversionWorld
{
public:
    ConversionWorld();

    TestFolder folder;
    HookedFiles files;
    Engines engines;
    Preferences preferences;
    std::vector<std::string> enginesRun;
    std::vector<double> progress;
    std::function<void()> duringEngine = [] {};

    /// A file of these bytes that has just been renamed.
    [[nodiscard]] RenameJob renamed(const std::filesystem::path &oldName,
                                    const std::filesystem::path &newName,
                                    const std::string &bytes = "original") const;

    /// "done", or the sentence of the error.
    std::string convert(const RenameJob &job);

    /// Every file below the folder as "name=bytes", a journal and every other item by its name; an
    /// eight-digit collision mark shows as "########", the folder's own path in a text as "…".
    [[nodiscard]] std::vector<std::string> contents() const;
    [[nodiscard]] std::string shortened(const std::string &text) const;
};

} // namespace quorvalent::test
