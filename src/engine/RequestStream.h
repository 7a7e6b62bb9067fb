#pragma once

#include "convert/EngineProtocol.h"

#include <QByteArray>

#include <optional>

namespace quorvalent {

/// The requests that come in, one after another. One thread.
class RequestStream
{
public:
    /// Blocks until the next one is complete; nothing when the other end hangs up. The descriptor may be
    /// another one each time, as long as it is of the same pipe. EngineProtocol::ProtocolError when the other
    /// end does not keep to the protocol, FileError when the conversation breaks off.
    [[nodiscard]] std::optional<EngineProtocol::Request> next(int descriptor);

private:
    QByteArray m_received;
};

} // namespace quorvalent
