#include "console/StandardOutput.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>

namespace quorvalent {

namespace {

constexpr int usualColumns = 80;

} // namespace

StandardOutput::StandardOutput(int descriptor)
    : m_descriptor(descriptor)
    , m_movesCursor(::isatty(descriptor) == 1 && qgetenv("TERM") != "dumb")
{}

void StandardOutput::write(const QByteArray &bytes)
{
    qsizetype written = 0;
    while (!m_isBroken && written < bytes.size()) {
        const ssize_t count = ::write(m_descriptor, bytes.constData() + written,
                                      static_cast<std::size_t>(bytes.size() - written));
        if (count >= 0) {
            written += count;
        } else if (errno == EAGAIN) {
            // Whoever shares the descriptor may have made it non-blocking.
            pollfd writable = {m_descriptor, POLLOUT, 0};
            ::poll(&writable, 1, -1);
        } else if (errno != EINTR) {
            m_isBroken = true;
            if (onBroken)
                onBroken();
        }
    }
}

std::optional<int> StandardOutput::terminalColumns() const
{
    if (!m_movesCursor)
        return std::nullopt;
    winsize size = {};
    const bool known = ::ioctl(m_descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : usualColumns;
}

} // namespace quorvalent
