#include "platform/cage/CageReach.h"

#include "platform/ComposedText.h"

#include <QStringList>

#include <linux/landlock.h>
#include <linux/seccomp.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

// The first that leaves nothing open which the system call filter cannot close.
constexpr int wholeLandlock = 6;

} // namespace

CageReach CageReach::ofThisMachine()
{
    CageReach reach;
    const long version = ::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
    reach.landlockVersion = version > 0 ? static_cast<int>(version) : 0;
    std::uint32_t action = SECCOMP_RET_ERRNO;
    reach.filtersSystemCalls = ::syscall(SYS_seccomp, SECCOMP_GET_ACTION_AVAIL, 0, &action) == 0;
    return reach;
}

QString CageReach::description() const
{
    QStringList parts;
    if (landlockVersion > 0)
        parts.append(u"Landlock "_s + QString::number(landlockVersion));
    if (filtersSystemCalls)
        parts.append(u"seccomp"_s);
    if (parts.isEmpty())
        return u"Conversions non isolées : ni Landlock, ni seccomp."_s;
    const bool isWhole = landlockVersion >= wholeLandlock && filtersSystemCalls;
    return composed(isWhole ? u"Conversions isolées du reste du système ({0})."_s
                            : u"Conversions isolées en partie ({0})."_s,
                    {parts.join(u", "_s)});
}

} // namespace quorvalent
