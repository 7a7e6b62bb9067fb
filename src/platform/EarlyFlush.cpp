#include "platform/EarlyFlush.h"

#include "platform/FileDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <system_error>

namespace quorvalent {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// A share of what has passed, so that as much is left at the end of a long job, relatively, as of a short
// one.
std::chrono::nanoseconds pauseAfter(Clock::duration elapsed)
{
    return std::clamp<std::chrono::nanoseconds>(elapsed / 16, 10ms, 500ms);
}

} // namespace

EarlyFlush::EarlyFlush(std::filesystem::path path)
    : m_path(std::move(path))
{
    try {
        m_thread = std::thread([this] { run(); });
    } catch (const std::system_error &) {
        // no thread to be had: the end of the job flushes everything
    }
}

EarlyFlush::~EarlyFlush()
{
    m_isOver.release();
    if (m_thread.joinable())
        m_thread.join();
}

void EarlyFlush::run()
{
    constexpr off_t worthWhile = 1L << 20U; // bytes: less is written in the time of one request
    const Clock::time_point begin = Clock::now();
    off_t known = 0;
    while (!m_isOver.try_acquire_for(pauseAfter(Clock::now() - begin))) {
        // Opened anew each time: the writer may have begun again, or put another file in this one's place.
        const FileDescriptor file(::open(m_path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
        struct stat status = {};
        if (!file.isOpen() || ::fstat(file.get(), &status) != 0 || status.st_size - known < worthWhile)
            continue;
        known = status.st_size;
        ::sync_file_range(file.get(), 0, 0, SYNC_FILE_RANGE_WRITE); // starts, and does not wait
    }
}

} // namespace quorvalent
