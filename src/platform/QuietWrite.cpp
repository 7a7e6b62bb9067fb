#include "platform/QuietWrite.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ctime>

namespace quorvalent {

ssize_t quietWrite(int descriptor, std::span<const std::byte> bytes)
{
    // The signal of a broken pipe goes to the thread that wrote: held back, it can be taken out again.
    sigset_t brokenPipe;
    sigset_t pending;
    sigset_t previous;
    sigemptyset(&brokenPipe);
    sigaddset(&brokenPipe, SIGPIPE);
    ::sigpending(&pending);
    ::pthread_sigmask(SIG_BLOCK, &brokenPipe, &previous);
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    const int failure = errno;
    if (count < 0 && failure == EPIPE && sigismember(&pending, SIGPIPE) == 0) {
        const timespec now = {};
        while (::sigtimedwait(&brokenPipe, nullptr, &now) < 0 && errno == EINTR) {
        }
    }
    ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    errno = failure;
    return count;
}

} // namespace quorvalent
