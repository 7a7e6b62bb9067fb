#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

namespace quorvalent {

/// The part of the cage that guards files, TCP and signals: what is not named here is refused by the kernel,
/// for the calling thread and all it starts, for good.
struct LandlockRules
{
    std::filesystem::path workFolder; ///< to read and write, with everything below; no link; or none
    std::vector<std::filesystem::path> devices;  ///< to read and write
    std::vector<std::filesystem::path> readable; ///< files, and folders with everything below
    std::vector<std::filesystem::path> programs; ///< to execute and read

    /// `version` of the interface, at least 1: what later versions guard stays open. Needs no_new_privs.
    /// FileError when the kernel refuses or the work folder is no folder; other paths may be missing.
    void restrictThisThread(int version) const;
};

} // namespace quorvalent
