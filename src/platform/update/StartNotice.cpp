#include "platform/update/StartNotice.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <cstdlib>
#include <string>

namespace quorvalent {

StartNotice::StartNotice()
{
    const char *text = std::getenv(variable);
    if (text == nullptr)
        return;
    const bool isMeant = text == std::to_string(descriptor);
    ::unsetenv(variable);
    struct stat status = {};
    if (!isMeant || ::fstat(descriptor, &status) != 0 || !S_ISSOCK(status.st_mode))
        return; // the variable came from somewhere else
    m_connection = FileDescriptor(descriptor);
    (void)::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
}

void StartNotice::send()
{
    if (!m_connection.isOpen())
        return;
    // Nobody may listen any more; there is nothing to do about that.
    (void)::send(m_connection.get(), &mark, 1, MSG_NOSIGNAL);
    m_connection.close();
}

} // namespace quorvalent
