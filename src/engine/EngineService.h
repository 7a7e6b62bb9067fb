#pragma once

#include "convert/EngineProtocol.h"
#include "core/Progress.h"
#include "engine/MediaCheck.h"
#include "engine/RequestStream.h"
#include "platform/FileDescriptor.h"

#include <filesystem>
#include <optional>

namespace quorvalent {

/// The helper's end of the conversation: takes requests about files of one work folder and runs engines and
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

    /// `external` is the FFmpeg program of the external engine, nothing where it is missing.
    EngineService(std::filesystem::path workFolder, std::optional<std::filesystem::path> external,
                  Conversation conversation);

    /// Returns when the other end hangs up. EngineProtocol::ProtocolError when it does not keep to the
    /// protocol, FileError when the conversation breaks off.
    void run();

private:
    void send(const EngineProtocol::Reply &reply) const;

    [[nodiscard]] EngineProtocol::Reply answer(const EngineProtocol::Request &request);
    void convert(const EngineProtocol::Conversion &conversion);
    [[nodiscard]] bool matches(const EngineProtocol::Check &check);
    MediaCheck &mediaCheck(const std::filesystem::path &source);

    std::filesystem::path m_workFolder;
    std::optional<std::filesystem::path> m_external;
    Conversation m_conversation;
    std::optional<MediaCheck> m_mediaCheck; ///< begun before the engine, so that the source is probed once
};

} // namespace quorvalent
