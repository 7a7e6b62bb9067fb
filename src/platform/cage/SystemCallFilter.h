#pragma once

namespace quorvalent {

/// The part of the cage that refuses system calls, for the calling thread and all it starts, for good: what
/// reaches other processes, sockets, privileges, the machine, or attributes of files, which Landlock does not
/// guard. The table in the .cpp is the list.
///
/// Refused calls fail (EPERM; ENOSYS where a library then does it another way) instead of killing, because
/// libraries try some of them and go on without.
class SystemCallFilter
{
public:
    /// `landlockVersion`: what Landlock leaves open is refused here as far as a filter can tell.
    /// Needs no_new_privs. FileError when the kernel refuses the filter.
    static void restrictThisThread(int landlockVersion);
};

} // namespace quorvalent
