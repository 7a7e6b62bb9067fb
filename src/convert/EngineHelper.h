#pragma once

#include "convert/EngineProtocol.h"
#include "core/Progress.h"
#include "platform/ChildProcess.h"
#include "platform/FileDescriptor.h"

#include <chrono>
#include <filesystem>

namespace quorvalent {

/// One running helper: the process of ours in which engines run, locked into the work folder that it was
/// started on. Nothing that comes back from it is believed before it was looked at, because the file that it
/// reads may have taken it over.
///
/// A helper that dies, hangs up or does not keep to the protocol is killed with everything it started, and
/// the request ends in one complete sentence. Used by the one thread that created it, which must outlive it.
class EngineHelper
{
public:
    /// What the helper may get ready while it waits for its first request.
    enum class Family { Image, Media };

    /// Starts the program and returns at once; ConversionError when it cannot be started. The folder is
    /// absolute and stays until the object is gone.
    EngineHelper(const std::filesystem::path &program, const std::filesystem::path &workFolder,
                 Family family);
    /// Ends the helper with everything it started.
    ~EngineHelper() = default;

    /// Runs an engine; throws ConversionError. Blocks meanwhile. An exception out of `progress` leaves a
    /// helper that is good for nothing but being destroyed.
    void convert(const EngineProtocol::Conversion &conversion, const Progress &progress);

    /// Whether the output holds what the source holds; throws ConversionError. Blocks.
    [[nodiscard]] bool matches(const EngineProtocol::Check &check);

    /// Whether a request failed in a way after which no other can follow.
    [[nodiscard]] bool isLost() const { return m_isLost; }

private:
    /// Both ends of the pipe for requests.
    struct Pipe
    {
        Pipe();
        FileDescriptor read;
        FileDescriptor write;
    };

    EngineHelper(const std::filesystem::path &program, const std::filesystem::path &workFolder, Family family,
                 Pipe requests);

    EngineProtocol::Reply ask(const EngineProtocol::Request &request, const Progress &progress);
    EngineProtocol::Reply nextReply();
    [[noreturn]] void giveUp(std::chrono::milliseconds patience);

    FileDescriptor m_requests;
    ChildProcess m_process;
    QByteArray m_received;
    bool m_isLost = false;
};

} // namespace quorvalent
