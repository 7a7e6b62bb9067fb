#include "platform/cage/CageReach.h"

#include <linux/landlock.h>
#include <linux/seccomp.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>

namespace quorvalent {

CageReach CageReach::ofThisMachine()
{
    CageReach reach;
    const long version = ::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
    reach.landlockVersion = version > 0 ? static_cast<int>(version) : 0;
    std::uint32_t action = SECCOMP_RET_ERRNO;
    reach.filtersSystemCalls = ::syscall(SYS_seccomp, SECCOMP_GET_ACTION_AVAIL, 0, &action) == 0;
    return reach;
}

} // namespace quorvalent
