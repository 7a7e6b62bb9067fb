#include "platform/ChildProcess.h"

#include "platform/Error.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <thread>

// The C library's clone() under its other name: the checker for races takes clone() for a fork, also where
// memory is shared, and does not follow the calling thread any more.
extern "C" int plainClone(int (*body)(void *), void *stack, int flags, void *argument,
                          ...) __asm__("__clone");

namespace quorvalent {

namespace {

// What the child needs between clone and exec. It shares our memory until then, so this is also where it
// leaves the error number of a failed start.
struct Launch
{
    std::array<int, 3> streams{}; // what becomes descriptors 0, 1 and 2; all above 2
    const char *program = nullptr;
    const char *workingFolder = nullptr;
    char *const *arguments = nullptr;
    char *const *environment = nullptr;
    pid_t parent = 0;
    int errorNumber = 0;
    const char *refused = nullptr; // the path that the error is about
};

// A caught signal goes back to its default by exec alone; an ignored one would stay ignored.
void stopIgnoringSignals()
{
    for (int signal = 1; signal < NSIG; ++signal) {
        struct sigaction action = {};
        if (::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) {
            action.sa_handler = SIG_DFL;
            ::sigaction(signal, &action, nullptr);
        }
    }
}

// Runs in the child, in our memory, while our thread is held: system calls only, nothing that allocates.
// Not instrumented, because the sanitizers know nothing of a second stack.
__attribute__((no_sanitize("address", "thread"))) int runChild(void *argument)
{
    auto &launch = *static_cast<Launch *>(argument);
    ::setsid(); // refused in a cage
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    // Had our program died before the line above, no signal would ever come.
    if (::getppid() != launch.parent)
        ::_exit(127);

    for (int descriptor = 0; descriptor < 3; ++descriptor)
        ::dup2(launch.streams[static_cast<std::size_t>(descriptor)], descriptor);
    // Ours are all close-on-exec; this is for those that a library opened without it.
    ::close_range(3, ~0U, 0);

    stopIgnoringSignals();
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);

    launch.refused = launch.workingFolder;
    if (::chdir(launch.workingFolder) == 0) {
        launch.refused = launch.program;
        ::execve(launch.program, launch.arguments, launch.environment);
    }
    launch.errorNumber = errno;
    ::_exit(127);
}

// A copy above the standard three, so that moving one into place cannot overwrite another.
FileDescriptor aboveStandard(int descriptor, const std::filesystem::path &program)
{
    FileDescriptor copy(::fcntl(descriptor, F_DUPFD_CLOEXEC, 3));
    if (!copy.isOpen())
        throw FileError(errno, program);
    return copy;
}

std::vector<char *> pointers(const std::vector<std::string> &texts)
{
    std::vector<char *> list;
    list.reserve(texts.size() + 1);
    for (const std::string &text : texts)
        list.push_back(const_cast<char *>(text.c_str())); // exec's signature; it writes nothing
    list.push_back(nullptr);
    return list;
}

// As vfork, on a stack of its own: costs the same however much memory we hold, and the call returns only
// when the child has become its program or has failed to.
pid_t start(Launch &launch)
{
    std::vector<char> stack(64UL * 1024);
    char *top = stack.data() + stack.size();
    top -= reinterpret_cast<std::uintptr_t>(top) % 16;

    // A handler of ours must not run in the child, on our memory.
    sigset_t all;
    sigset_t previous;
    sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &previous);
    const pid_t child = plainClone(runChild, top, CLONE_VM | CLONE_VFORK | SIGCHLD, &launch);
    const int cloneError = errno;
    ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);

    if (child < 0) {
        launch.errorNumber = cloneError;
        launch.refused = launch.program;
    } else if (launch.errorNumber != 0) {
        while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
    return child;
}

} // namespace

ChildProcess::ChildProcess(const ChildCommand &command)
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        throw FileError(errno, command.program);
    m_output = FileDescriptor(ends[0]);
    const FileDescriptor writeEnd(ends[1]);
    const FileDescriptor null(::open("/dev/null", O_RDWR | O_CLOEXEC));
    if (!null.isOpen())
        throw FileError(errno, "/dev/null");

    const int inputStream = command.standardInput < 0 ? null.get() : command.standardInput;
    const int errorStream = command.standardError < 0 ? null.get() : command.standardError;
    const FileDescriptor input = aboveStandard(inputStream, command.program);
    const FileDescriptor output = aboveStandard(writeEnd.get(), command.program);
    const FileDescriptor error = aboveStandard(errorStream, command.program);

    std::vector<std::string> argumentTexts = {command.program.native()};
    argumentTexts.insert(argumentTexts.end(), command.arguments.begin(), command.arguments.end());
    const std::vector<char *> arguments = pointers(argumentTexts);
    const std::vector<char *> environment = pointers(command.environment);

    Launch launch;
    launch.streams = {input.get(), output.get(), error.get()};
    launch.program = command.program.c_str();
    launch.workingFolder = command.workingFolder.c_str();
    launch.arguments = arguments.data();
    launch.environment = environment.data();
    launch.parent = ::getpid();
    const pid_t child = start(launch);
    if (launch.errorNumber != 0)
        throw FileError(launch.errorNumber, launch.refused);
    m_processId = child;
    m_end = FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, child, 0)));
}

ChildProcess::~ChildProcess()
{
    if (m_status)
        return;
    kill();
    while (::waitpid(m_processId, nullptr, 0) < 0 && errno == EINTR) {
    }
}

// Before the child is reaped, so that no other process can have its number.
void ChildProcess::signal(int number) const
{
    if (::kill(-m_processId, number) != 0)
        ::kill(m_processId, number); // it could not leave our group
}

void ChildProcess::kill() const
{
    signal(SIGKILL);
}

void ChildProcess::askToEnd() const
{
    if (!m_status)
        signal(SIGTERM);
}

bool ChildProcess::waitForOutput(std::chrono::milliseconds most, int alarm) const
{
    // Descriptors that are not open are passed over.
    std::array<pollfd, 3> sources{
        {{m_output.get(), POLLIN, 0}, {m_end.get(), POLLIN, 0}, {alarm, POLLIN, 0}}};
    while (::poll(sources.data(), sources.size(), static_cast<int>(most.count())) < 0) {
        if (errno != EINTR)
            throw FileError(errno, "poll");
    }
    return sources[0].revents != 0 || sources[1].revents != 0;
}

QByteArray ChildProcess::readAvailable()
{
    constexpr std::chrono::milliseconds forEver(-1);
    (void)waitForOutput(forEver, -1);
    pollfd output{m_output.get(), POLLIN, 0};
    if (::poll(&output, 1, 0) <= 0)
        return {}; // the child has ended, and everything that it wrote was read
    QByteArray bytes(65536, Qt::Uninitialized);
    ssize_t count = 0;
    do {
        count = ::read(m_output.get(), bytes.data(), static_cast<std::size_t>(bytes.size()));
    } while (count < 0 && errno == EINTR);
    if (count < 0)
        throw FileError(errno, "pipe");
    bytes.truncate(count);
    return bytes;
}

void ChildProcess::readLines(const std::function<void(const QByteArray &line)> &onLine)
{
    QByteArray pending; // a read may end in the middle of a line
    for (QByteArray chunk = readAvailable(); !chunk.isEmpty(); chunk = readAvailable()) {
        pending += chunk;
        qsizetype start = 0;
        for (qsizetype end = pending.indexOf('\n'); end >= 0; end = pending.indexOf('\n', start)) {
            onLine(pending.sliced(start, end - start));
            start = end + 1;
        }
        pending.remove(0, start);
    }
}

ExitStatus ChildProcess::wait()
{
    if (m_status)
        return *m_status;
    siginfo_t end = {};
    while (::waitid(P_PID, static_cast<id_t>(m_processId), &end, WEXITED | WNOWAIT) != 0) {
        if (errno != EINTR)
            throw FileError(errno, "waitid");
    }
    kill();
    int status = 0;
    while (::waitpid(m_processId, &status, 0) < 0) {
        if (errno != EINTR)
            throw FileError(errno, "waitpid");
    }
    m_status = WIFSIGNALED(status) ? ExitStatus{.code = 0, .signal = WTERMSIG(status)}
                                   : ExitStatus{.code = WEXITSTATUS(status), .signal = 0};
    return *m_status;
}

bool ChildProcess::hasEnded() const
{
    siginfo_t end = {};
    return m_status ||
           (::waitid(P_PID, static_cast<id_t>(m_processId), &end, WEXITED | WNOWAIT | WNOHANG) == 0 &&
            end.si_pid == m_processId);
}

std::optional<ExitStatus> ChildProcess::endWithin(std::chrono::milliseconds patience)
{
    constexpr std::chrono::milliseconds pause(1);
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!hasEnded()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            kill();
            wait();
            return std::nullopt;
        }
        std::this_thread::sleep_for(pause);
    }
    return wait();
}

} // namespace quorvalent
