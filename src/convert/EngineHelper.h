#pragma once

#include "convert/EngineProtocol.h"
#include "core/Progress.h"
#include "platform/ChildProcess.h"
#include "platform/FileDescriptor.h"
#include "platform/Interruption.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace quorvalent {

/// When a helper is ended although it lives.
struct HelperLimits
{
    /// After so long without a message, without processor time and without writing.
    std::chrono::milliseconds silence = std::chrono::seconds(60);
    std::shared_ptr<const Interruption> interruption = {}; ///< at this request, where there is one
};

/// One running helper: the process of ours in which engines run, locked into the work folder that it is
/// told. Nothing that comes back from it is believed before it was looked at, because the file that it reads
/// may have taken it over.
///
/// A helper that dies, hangs up, does not keep to the protocol or comes to one of its limits is ended with
/// everything it started, and the request fails with one complete sentence. Used by one thread at a time; the
/// one that created it must outlive it.
class EngineHelper
{
public:
    /// Each has a program of its own.
    enum class Family { Image, Media };

    /// Starts the program and returns at once; ConversionError when it cannot be started.
    explicit EngineHelper(const std::filesystem::path &program, HelperLimits limits = {});

    /// Starts a helper program in the environment that its libraries are meant to find; ConversionError when
    /// it cannot be started.
    [[nodiscard]] static ChildProcess start(const std::filesystem::path &program,
                                            std::vector<std::string> arguments, int standardInput = -1);

    /// Ends the helper with everything it started.
    ~EngineHelper() = default;

    /// What a helper can reach. Paths are absolute.
    struct Reach
    {
        std::filesystem::path workFolder; ///< with the files of all requests; none for looks alone
        std::filesystem::path original;   ///< the user's file, to be looked at and no more; or none
    };

    /// Locks the helper in; to be called once, before the requests. Returns at once. What can be reached
    /// stays until the object is gone. `threads` as in ConversionRun.
    void begin(const Reach &reach, int threads = 0);

    /// Whether the original is of the format that an extension names, whatever it is called: in lower case,
    /// without the dot. Throws ConversionError. Blocks for a millisecond.
    [[nodiscard]] bool isOriginalOf(const QString &extension);

    /// Runs an engine and returns what it learnt; throws ConversionError, ConversionStopped at a limit.
    /// Blocks meanwhile. An exception out of `progress` leaves a helper that is good for nothing but being
    /// destroyed.
    EngineReport convert(const EngineProtocol::Conversion &conversion, const Progress &progress);

    /// Whether the output holds what the source holds; throws ConversionError. Blocks.
    [[nodiscard]] bool matches(const EngineProtocol::Check &check);

    /// Whether a request failed in a way after which no other can follow.
    [[nodiscard]] bool isLost() const { return m_isLost; }
    /// Whether the process is no more, whatever it was asked.
    [[nodiscard]] bool hasEnded() const { return m_process.hasEnded(); }

private:
    /// Our own helpers report fifty times a second at most.
    static constexpr double mostMessagesPerSecond = 1000;

    /// Both ends of the pipe for requests.
    struct Pipe
    {
        Pipe();
        FileDescriptor read;
        FileDescriptor write;
    };

    EngineHelper(const std::filesystem::path &program, HelperLimits limits, Pipe requests);

    [[nodiscard]] bool send(const EngineProtocol::Request &request) const;
    bool verdictOn(const EngineProtocol::Request &question);
    EngineProtocol::Reply ask(const EngineProtocol::Request &request, const Progress &progress);
    EngineProtocol::Reply nextReply();
    void waitForOutput();
    void countMessage();
    [[noreturn]] void giveUp(std::chrono::milliseconds patience);
    [[noreturn]] void stop(const QString &sentence);

    HelperLimits m_limits;
    std::filesystem::path m_workFolder;
    FileDescriptor m_requests;
    ChildProcess m_process;
    QByteArray m_received;
    double m_messagesAllowed = mostMessagesPerSecond;
    std::chrono::steady_clock::time_point m_counted = std::chrono::steady_clock::now();
    bool m_isLost = false;
};

} // namespace quorvalent
