#include "convert/ConversionClaim.h"

#include "core/ConversionError.h"
#include "platform/Error.h"

#include <chrono>
#include <thread>

namespace quorvalent {

ConversionClaim::ConversionClaim(const RenameJob &job, const std::filesystem::path &claims,
                                 const Cancellation &cancellation)
{
    constexpr std::chrono::milliseconds pause(50);
    const std::uint64_t inode = job.identity().section(QLatin1Char('-'), 1).toULongLong();
    try {
        while (!(m_claim = NumberClaim::take(claims, inode)) && job.stamp.isSameFile(job.newURL) &&
               !cancellation.isRequested())
            std::this_thread::sleep_for(pause);
    } catch (const FileError &) {
        return; // no place for claims: two programs are the exception
    }
    if (!job.stamp.isSameFile(job.newURL))
        throw FileElsewhere();
}

} // namespace quorvalent
