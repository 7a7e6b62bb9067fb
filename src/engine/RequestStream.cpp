#include "engine/RequestStream.h"

#include "platform/Error.h"

#include <unistd.h>

#include <array>
#include <cerrno>

namespace quorvalent {

std::optional<EngineProtocol::Request> RequestStream::next(int descriptor)
{
    while (true) {
        if (std::optional<EngineProtocol::Request> request = EngineProtocol::takeRequest(m_received))
            return request;
        std::array<char, 4096> bytes{};
        const ssize_t count = ::read(descriptor, bytes.data(), bytes.size());
        if (count == 0)
            return std::nullopt;
        if (count < 0 && errno != EINTR)
            throw FileError(errno, "pipe");
        if (count > 0)
            m_received.append(bytes.data(), count);
    }
}

} // namespace quorvalent
