#include "engine/HelperMain.h"

#include "engine/EngineService.h"
#include "media/MediaPrograms.h"
#include "platform/Bundle.h"
#include "platform/Error.h"
#include "platform/cage/Cage.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <string_view>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;

constexpr int brokenConversation = 1;
constexpr int badUsage = 2;

// Threads of the libraries have no one to tell.
[[noreturn]] void exitForWantOfMemory()
{
    try {
        if (const std::exception_ptr thrown = std::current_exception())
            std::rethrow_exception(thrown);
    } catch (const std::bad_alloc &) {
        ::_exit(EngineProtocol::outOfMemoryExitCode);
    } catch (...) {
        // any other end of the process is one that nobody foresaw
    }
    std::abort();
}

std::optional<fs::path> externalEngine()
{
    const fs::path &program = MediaPrograms::ffmpeg();
    return Bundle::isExecutableFile(program) ? std::optional(program) : std::nullopt;
}

// Before anything of the user's is read, and before a library may have started a thread.
void enterCage(const EngineHelper::Reach &reach)
{
    Cage cage = reach.workFolder.empty() ? Cage::forReading() : Cage::forConversion(reach.workFolder);
    if (!reach.workFolder.empty())
        cage.programs = {MediaPrograms::ffmpeg(), MediaPrograms::ffprobe()};
    cage.readable.push_back(Bundle::libraries());
    if (!reach.original.empty())
        cage.readable.push_back(reach.original);
    cage.enter();
}

// It may be a while until it is told: helpers are started ahead.
EngineProtocol::Begin nextBegin(RequestStream &stream)
{
    const std::optional<EngineProtocol::Request> request = stream.next(STDIN_FILENO);
    if (!request)
        ::_exit(0); // there will be no conversion
    const auto *begin = std::get_if<EngineProtocol::Begin>(&*request);
    if (begin == nullptr)
        throw EngineProtocol::ProtocolError();
    return *begin;
}

// What a library or a child leaves to the system to place.
void workIn(const fs::path &folder)
{
    fs::current_path(folder);
    if (::setenv("TMPDIR", folder.c_str(), 1) != 0)
        throw FileError(errno, folder);
}

// A descriptor above the standard three, which whatever prints cannot reach and no child inherits.
FileDescriptor keptAside(int descriptor)
{
    FileDescriptor kept(::fcntl(descriptor, F_DUPFD_CLOEXEC, 3));
    if (!kept.isOpen() || ::dup2(STDERR_FILENO, descriptor) < 0)
        throw FileError(errno, "pipe");
    return kept;
}

int tellWhatIsMissing(const HelperFamily &family)
{
    const QByteArray lines = MissingEncoders::encoded(family.missing(externalEngine()));
    return std::fputs(lines.constData(), stdout) >= 0 && std::fflush(stdout) == 0 ? EXIT_SUCCESS
                                                                                  : EXIT_FAILURE;
}

} // namespace

int runHelper(std::span<char *const> arguments, const HelperFamily &family)
{
    if (arguments.size() == 2 && std::string_view(arguments[1]) == MissingEncoders::option)
        return tellWhatIsMissing(family);
    if (arguments.size() != 1)
        return badUsage;
    std::set_terminate(exitForWantOfMemory);
    try {
        family.getReady();
        EngineService::Conversation conversation;
        const EngineProtocol::Begin begin = nextBegin(conversation.stream);
        const EngineHelper::Reach reach{begin.workFolder, begin.original};
        const std::optional<fs::path> external = externalEngine();
        if (!reach.workFolder.empty())
            workIn(reach.workFolder);
        enterCage(reach);
        if (begin.threads > 0)
            family.limitThreads(begin.threads);
        conversation.requests = keptAside(STDIN_FILENO);
        conversation.replies = keptAside(STDOUT_FILENO);
        const std::unique_ptr<EngineFamily> engines = family.make(external);
        EngineService(reach, *engines, std::move(conversation)).run();
        ::_exit(0); // nothing is left that the libraries' clean-up could be good for
    } catch (const EngineProtocol::ProtocolError &) {
        return brokenConversation;
    } catch (const Error &) {
        return brokenConversation;
    } catch (const fs::filesystem_error &) {
        return brokenConversation;
    }
}

} // namespace quorvalent
