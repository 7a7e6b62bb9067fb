#include "platform/Interruption.h"

#include "platform/Error.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <cerrno>

namespace quorvalent {

Interruption::Interruption()
    : m_event(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (!m_event.isOpen())
        throw FileError(errno, "eventfd");
}

void Interruption::request() const
{
    (void)::eventfd_write(m_event.get(), 1); // fails only where as many requests were made as a number holds
}

bool Interruption::isRequested() const
{
    pollfd event{m_event.get(), POLLIN, 0};
    return ::poll(&event, 1, 0) > 0;
}

} // namespace quorvalent
