// The engine helper: a process of its own for each conversion, in which all media is read, so that what a
// file does to a decoder stays here. Arguments: the folder to work in, and "image" or "media" for what will
// be asked. Requests come in by standard input, answers go out by standard output.

#include "engine/EngineService.h"
#include "media/ImageSource.h"
#include "platform/Bundle.h"
#include "platform/Error.h"
#include "platform/cage/Cage.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <exception>
#include <new>

namespace {

using namespace quorvalent;
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
    std::error_code failed;
    fs::path program = fs::read_symlink("/proc/self/exe", failed).replace_filename("ffmpeg");
    return Bundle::isExecutableFile(program) ? std::optional(std::move(program)) : std::nullopt;
}

// Before anything of the user's is read, and before a library may have started a thread.
void enterCage(const fs::path &workFolder, const std::optional<fs::path> &external)
{
    Cage cage = Cage::forConversion(workFolder);
    cage.programs = {QUORVALENT_FFMPEG_PROGRAM, QUORVALENT_FFPROBE_PROGRAM};
    if (external)
        cage.programs.push_back(*external);
    cage.enter();
}

// A descriptor above the standard three, which whatever prints cannot reach and no child inherits.
FileDescriptor keptAside(int descriptor)
{
    FileDescriptor kept(::fcntl(descriptor, F_DUPFD_CLOEXEC, 3));
    if (!kept.isOpen() || ::dup2(STDERR_FILENO, descriptor) < 0)
        throw FileError(errno, "pipe");
    return kept;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3)
        return badUsage;
    std::set_terminate(exitForWantOfMemory);
    try {
        const fs::path workFolder(argv[1]);
        const std::optional<fs::path> external = externalEngine();
        enterCage(workFolder, external);
        FileDescriptor requests = keptAside(STDIN_FILENO);
        FileDescriptor replies = keptAside(STDOUT_FILENO);
        if (std::string_view(argv[2]) == "image")
            ImageSource::prepare();
        EngineService(workFolder, external, std::move(requests), std::move(replies)).run();
        ::_exit(0); // nothing is left that the libraries' clean-up could be good for
    } catch (const EngineProtocol::ProtocolError &) {
        return brokenConversation;
    } catch (const Error &) {
        return brokenConversation;
    }
}
