#include "platform/update/ProgramLaunch.h"

#include "platform/Error.h"
#include "platform/update/StartNotice.h"

#include <spawn.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace quorvalent {

namespace {

std::vector<char *> pointersTo(std::vector<std::string> &texts)
{
    std::vector<char *> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string &text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<std::string> environmentWithDescriptor()
{
    std::vector<std::string> environment;
    const std::string prefix = std::string(StartNotice::variable) + '=';
    for (char **entry = environ; *entry != nullptr; ++entry) {
        if (std::strncmp(*entry, prefix.c_str(), prefix.size()) != 0)
            environment.emplace_back(*entry);
    }
    environment.push_back(prefix + std::to_string(StartNotice::descriptor));
    return environment;
}

pid_t spawn(const std::filesystem::path &program, const std::vector<std::string> &arguments, int started)
{
    std::vector<std::string> words{program.native()};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<std::string> environment = environmentWithDescriptor();

    posix_spawn_file_actions_t actions = {};
    posix_spawnattr_t attributes = {};
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawnattr_init(&attributes);
    ::posix_spawn_file_actions_adddup2(&actions, started, StartNotice::descriptor);
    ::posix_spawn_file_actions_addclosefrom_np(&actions, StartNotice::descriptor + 1);
    // A session of its own: our end, or Ctrl-C in our terminal, is not its end. What we ignore or hold back
    // of the signals is not for it either.
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    ::posix_spawnattr_setsigmask(&attributes, &none);
    ::posix_spawnattr_setsigdefault(&attributes, &all);
    ::posix_spawnattr_setflags(&attributes,
                               POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    pid_t process = -1;
    const int refusal = ::posix_spawn(&process, program.c_str(), &actions, &attributes,
                                      pointersTo(words).data(), pointersTo(environment).data());
    ::posix_spawn_file_actions_destroy(&actions);
    ::posix_spawnattr_destroy(&attributes);
    if (refusal != 0)
        throw FileError(refusal, program);
    return process;
}

} // namespace

ProgramLaunch::ProgramLaunch(const std::filesystem::path &program, const std::vector<std::string> &arguments,
                             std::chrono::milliseconds patience, std::function<void(bool)> answer)
    : m_patience(patience, [this] { this->answer(false); })
    , m_answer(std::move(answer))
{
    std::array<int, 2> ends{-1, -1};
    // Unlike a pipe, it can be written without a signal when nobody listens any more.
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()) != 0)
        throw FileError(errno, "socketpair");
    m_connection = FileDescriptor(ends[0]);
    const FileDescriptor childEnd(ends[1]);
    m_process = spawn(program, arguments, childEnd.get());
    m_connectionNotifier = std::make_unique<QSocketNotifier>(m_connection.get(), QSocketNotifier::Read);
    QObject::connect(m_connectionNotifier.get(), &QSocketNotifier::activated, m_connectionNotifier.get(),
                     [this] { readAnswer(false); });
    m_processEnd = FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, m_process, 0)));
    if (!m_processEnd.isOpen())
        return; // then the closed connection or the patience tells
    m_endNotifier = std::make_unique<QSocketNotifier>(m_processEnd.get(), QSocketNotifier::Read);
    QObject::connect(m_endNotifier.get(), &QSocketNotifier::activated, m_endNotifier.get(),
                     [this] { readAnswer(true); });
}

ProgramLaunch::~ProgramLaunch()
{
    endProcess();
}

void ProgramLaunch::readAnswer(bool hasEnded)
{
    char mark = 0;
    const ssize_t count = ::read(m_connection.get(), &mark, 1);
    if (count < 0 && (errno == EAGAIN || errno == EINTR) && !hasEnded)
        return;
    answer(count == 1 && mark == StartNotice::mark);
}

void ProgramLaunch::answer(bool started)
{
    m_connectionNotifier->setEnabled(false);
    if (m_endNotifier)
        m_endNotifier->setEnabled(false);
    if (started)
        m_process = -1;
    else
        endProcess();
    // From the event loop, because the answer may destroy this object.
    m_patience = DelayedTask(std::chrono::milliseconds(0),
                             [answer = std::exchange(m_answer, nullptr), started] { answer(started); });
}

void ProgramLaunch::endProcess()
{
    if (m_process < 0)
        return;
    ::kill(-m_process, SIGKILL); // its session, so that nothing it started goes on
    while (::waitpid(m_process, nullptr, 0) < 0 && errno == EINTR) {
    }
    m_process = -1;
}

} // namespace quorvalent
