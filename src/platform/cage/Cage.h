#pragma once

#include "platform/cage/CageLimits.h"
#include "platform/cage/CageReach.h"

#include <filesystem>
#include <vector>

namespace quorvalent {

/// What a process that reads untrusted media may do, and the way into it. There is no way out: what the
/// process starts is in the same cage, and whoever kills its process group has killed all of it, because
/// nothing inside can leave the group.
///
/// Inside: no socket, no signal to the outside, no attribute of a file changed (mode, owner, times, extended
/// attributes), no new privileges, no core dump, no memory shared with anybody. The kernel's killer of
/// processes that exhaust the memory takes a caged one first.
struct Cage
{
    /// The one folder to read and to write, with everything below it: regular files and folders only. May be
    /// empty: then nothing can be written.
    std::filesystem::path workFolder;
    /// Files, and folders with everything below them, to read. One that is not there is left out.
    std::vector<std::filesystem::path> readable;
    /// Programs it may start (they are readable too), links followed. What is not there is left out.
    std::vector<std::filesystem::path> programs;
    CageLimits limits;

    /// A cage in which programs of this system can start: reads the system's libraries and their data and
    /// what they ask about the processors, writes the work folder and /dev/null, has the limits of a
    /// conversion.
    [[nodiscard]] static Cage forConversion(const std::filesystem::path &workFolder);

    /// The same without a folder: nothing to write but what is open.
    [[nodiscard]] static Cage forReading();

    /// Locks the calling process in, as far as `reach` says: less than the machine offers only in tests.
    /// Closes every descriptor above the standard three. The process has no other thread yet, it leads its
    /// process group, and its parent has asked the kernel for its death with its own (ChildProcess does
    /// both). FileError when the kernel refuses what it offers; the process is then not to go on.
    void enter(const CageReach &reach = CageReach::ofThisMachine()) const;
};

} // namespace quorvalent
