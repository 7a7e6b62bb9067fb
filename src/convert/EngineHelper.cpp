#include "convert/EngineHelper.h"

#include "core/ConversionError.h"
#include "platform/Error.h"
#include "platform/GroupActivity.h"
#include "platform/QuietWrite.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <optional>
#include <utility>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
namespace fs = std::filesystem;
namespace Protocol = EngineProtocol;

// One that died closed its pipe a moment before; one that only hung up is not waited for any longer.
constexpr auto untilItsEnd = 500ms;

ConversionError outOfMemory()
{
    return ConversionError(u"Mémoire insuffisante pour convertir ce fichier."_s);
}

// SIGKILL that is not ours is the kernel's, when the machine has no memory left; SIGTRAP is GLib's way out
// when it gets none.
bool endedForWantOfMemory(const ExitStatus &status)
{
    return status.signal == SIGKILL || status.signal == SIGTRAP ||
           status == ExitStatus{.code = Protocol::outOfMemoryExitCode, .signal = 0};
}

} // namespace

EngineHelper::Pipe::Pipe()
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        throw FileError(errno, "pipe");
    read = FileDescriptor(ends[0]);
    write = FileDescriptor(ends[1]);
}

EngineHelper::EngineHelper(const fs::path &program, HelperLimits limits)
    : EngineHelper(program, std::move(limits), Pipe())
{}

EngineHelper::EngineHelper(const fs::path &program, HelperLimits limits, Pipe requests)
    : m_limits(std::move(limits))
    , m_requests(std::move(requests.write))
    , m_process(start(program, {}, requests.read.get()))
{}

ChildProcess EngineHelper::start(const fs::path &program, std::vector<std::string> arguments,
                                 int standardInput)
{
    ChildCommand command;
    command.program = program;
    command.arguments = std::move(arguments);
    // Nothing of the user's environment may change what a library does. libvips would look for modules of
    // its own in its home; it is kept from those, which take longer to load than a picture to convert.
    command.environment = {"LC_ALL=C.UTF-8", "VIPSHOME=/nonexistent"};
    command.standardInput = standardInput;
    try {
        return ChildProcess(command);
    } catch (const FileError &failure) {
        if (failure.isNotFound())
            throw ConversionError(u"Le moteur intégré est manquant. Réinstallez Quorvalent."_s);
        throw;
    }
}

void EngineHelper::begin(const Reach &reach, int threads)
{
    m_workFolder = reach.workFolder;
    m_isLost = !send(Protocol::Begin{reach.workFolder.native(), reach.original.native(), threads});
}

bool EngineHelper::isOriginalOf(const QString &extension)
{
    return verdictOn(Protocol::Look{extension.toStdString()});
}

EngineReport EngineHelper::convert(const Protocol::Conversion &conversion, const Progress &progress)
{
    const Protocol::Reply reply = ask(conversion, progress);
    const auto *done = std::get_if<Protocol::Done>(&reply);
    if (done == nullptr)
        giveUp(0ms);
    return done->report;
}

bool EngineHelper::matches(const Protocol::Check &check)
{
    return verdictOn(check);
}

bool EngineHelper::verdictOn(const Protocol::Request &question)
{
    const Protocol::Reply reply = ask(question, {});
    const auto *verdict = std::get_if<Protocol::Verdict>(&reply);
    if (verdict == nullptr)
        giveUp(0ms);
    return verdict->matches;
}

// All of it, because it is less than a pipe holds, and at most a Begin lies there still.
bool EngineHelper::send(const Protocol::Request &request) const
{
    const QByteArray bytes = Protocol::encoded(request);
    return quietWrite(m_requests.get(), std::as_bytes(std::span(bytes))) == bytes.size();
}

// The answer that ends the request, unless it is a failure.
Protocol::Reply EngineHelper::ask(const Protocol::Request &request, const Progress &progress)
{
    const bool reportsProgress = std::holds_alternative<Protocol::Conversion>(request);
    if (m_isLost || !send(request))
        giveUp(untilItsEnd);
    Protocol::Reply reply = nextReply();
    for (; reportsProgress && std::holds_alternative<Protocol::ProgressReport>(reply); reply = nextReply())
        report(progress, std::get<Protocol::ProgressReport>(reply).fraction);
    if (const auto *failure = std::get_if<Protocol::Failure>(&reply))
        throw ConversionError(failure->sentence);
    if (std::holds_alternative<Protocol::OutOfMemory>(reply))
        throw outOfMemory();
    return reply;
}

Protocol::Reply EngineHelper::nextReply()
{
    try {
        while (true) {
            if (const std::optional<Protocol::Reply> reply = Protocol::takeReply(m_received)) {
                countMessage();
                return *reply;
            }
            waitForOutput();
            const QByteArray bytes = m_process.readAvailable();
            if (bytes.isEmpty())
                giveUp(untilItsEnd);
            m_received += bytes;
        }
    } catch (const Protocol::ProtocolError &) {
        giveUp(0ms);
    }
}

// A flood costs the program all its time. What a pipe holds may come at once, from an honest helper too, when
// our own process was stopped for a while.
void EngineHelper::countMessage()
{
    constexpr double pipeful = 11'000; // of the shortest messages
    const auto now = std::chrono::steady_clock::now();
    const std::chrono::duration<double> elapsed = now - std::exchange(m_counted, now);
    m_messagesAllowed = std::min(pipeful, m_messagesAllowed + elapsed.count() * mostMessagesPerSecond) - 1;
    if (m_messagesAllowed < 0)
        giveUp(0ms);
}

// Looks are counted, not time: when the whole machine or our own process was stopped meanwhile, the helper
// had no more time than we had.
void EngineHelper::waitForOutput()
{
    constexpr int looks = 12;
    const Interruption *const interruption = m_limits.interruption.get();
    const int alarm = interruption == nullptr ? -1 : interruption->descriptor();
    std::optional<GroupActivity> former;
    for (int idle = 0; idle < looks;) {
        const bool hasOutput = m_process.waitForOutput(m_limits.silence / looks, alarm);
        if (interruption != nullptr && interruption->isRequested())
            stop(u"Quorvalent s’est arrêté avant la fin de la conversion."_s);
        if (hasOutput)
            return;
        const GroupActivity present = GroupActivity::now(m_process.processId(), m_workFolder);
        idle = former == present ? idle + 1 : 0;
        former = present;
    }
    stop(u"Le moteur de conversion ne répond plus."_s);
}

// Asked first, so that whatever still listens ends in order.
void EngineHelper::stop(const QString &sentence)
{
    constexpr auto untilItGivesIn = 500ms;
    m_isLost = true;
    m_process.askToEnd();
    (void)m_process.endWithin(untilItGivesIn);
    throw ConversionStopped(sentence);
}

// `patience` is for one that seems to have died, so that it can be told what of.
void EngineHelper::giveUp(std::chrono::milliseconds patience)
{
    m_isLost = true;
    const std::optional<ExitStatus> status = m_process.endWithin(patience);
    if (status && endedForWantOfMemory(*status))
        throw outOfMemory();
    throw ConversionError(u"Le moteur de conversion s’est arrêté de façon inattendue."_s);
}

} // namespace quorvalent
