#pragma once

#include "convert/EngineHelper.h"
#include "convert/EngineProtocol.h"
#include "engine/EngineFamily.h"
#include "engine/RequestStream.h"
#include "platform/FileDescriptor.h"

#include <chrono>
#include <optional>

namespace quorvalent {

/// The helper's end of the conversation: takes requests about the files within its reach and runs engines and
/// checks until nobody asks any more. One thread.
class EngineService
{
public:
    /// Where the requests come from, and where the answers go.
    struct Conversation
    {
        RequestStream stream;
        FileDescriptor requests;
        FileDescriptor replies;
    };

    /// The family outlives the service.
    EngineService(EngineHelper::Reach reach, EngineFamily &family, Conversation conversation);

    /// Returns when the other end hangs up. EngineProtocol::ProtocolError when it does not keep to the
    /// protocol, FileError when the conversation breaks off.
    void run();

private:
    void send(const EngineProtocol::Reply &reply) const;

    [[nodiscard]] EngineProtocol::Reply answer(const EngineProtocol::Request &request);
    [[nodiscard]] EngineReport convert(const EngineProtocol::Conversion &conversion);
    [[nodiscard]] bool isOriginalOf(const EngineProtocol::Look &look) const;
    [[nodiscard]] bool matches(const EngineProtocol::Check &check);
    void reportProgress(std::optional<double> fraction);

    EngineHelper::Reach m_reach;
    EngineFamily &m_family;
    Conversation m_conversation;
    std::chrono::steady_clock::time_point m_nextReport; ///< progress told earlier is dropped
};

} // namespace quorvalent
