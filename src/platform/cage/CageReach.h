#pragma once

#include <QString>

namespace quorvalent {

/// How far a cage reaches: what the running kernel offers of the two means it is made of. Each may be missing
/// (an old kernel, a container that forbids them); what is there is used.
struct CageReach
{
    /// Version of Landlock's interface, 0 without it. 1 guards files, 2 moves between folders, 3 truncation,
    /// 4 TCP, 5 device controls, 6 signals and abstract sockets.
    int landlockVersion = 0;
    bool filtersSystemCalls = false; ///< seccomp

    /// What this machine offers; costs two system calls.
    [[nodiscard]] static CageReach ofThisMachine();

    /// One French line for people.
    [[nodiscard]] QString description() const;

    bool operator==(const CageReach &) const = default;
};

} // namespace quorvalent
