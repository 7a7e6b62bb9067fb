#include "platform/update/ProgramLaunch.h"

#include "platform/Error.h"

#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace quorvalent {

namespace {

constexpr const char *variable = "QUORVALENT_STARTED_DESCRIPTOR";
constexpr int childDescriptor = 3; // the first after the standard streams
constexpr char startedMark = 's';

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
    const std::string prefix = std::string(variable) + '=';
    for (char **entry = environ; *entry != nullptr; ++entry) {
        if (std::strncmp(*entry, prefix.c_str(), prefix.size()) != 0)
            environment.emplace_back(*entry);
    }
    environment.push_back(prefix + std::to_string(childDescriptor));
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
    ::posix_spawn_file_actions_adddup2(&actions, started, childDescriptor);
    ::posix_spawn_file_actions_addclosefrom_np(&actions, childDescriptor + 1);
    // A session of its own: our end, or Ctrl-C in our terminal, is not its end.
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
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
    m_notifier = std::make_unique<QSocketNotifier>(m_connection.get(), QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(),
                     [this] { readAnswer(); });
}

ProgramLaunch::~ProgramLaunch() = default;

void ProgramLaunch::readAnswer()
{
    char mark = 0;
    const ssize_t count = ::read(m_connection.get(), &mark, 1);
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    answer(count == 1 && mark == startedMark);
}

void ProgramLaunch::answer(bool started)
{
    m_notifier->setEnabled(false);
    if (!started) {
        ::kill(m_process, SIGKILL);
        while (::waitpid(m_process, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
    // From the event loop, because the answer may destroy this object.
    m_patience = DelayedTask(std::chrono::milliseconds(0),
                             [answer = std::exchange(m_answer, nullptr), started] { answer(started); });
}

void ProgramLaunch::announceStart()
{
    const char *text = std::getenv(variable);
    if (text == nullptr)
        return;
    int descriptor = -1;
    const char *end = text + std::strlen(text);
    const bool isNumber = std::from_chars(text, end, descriptor).ptr == end && descriptor == childDescriptor;
    ::unsetenv(variable);
    if (!isNumber)
        return;
    const FileDescriptor connection(descriptor);
    // Nobody may listen any more; there is nothing to do about that.
    (void)::send(connection.get(), &startedMark, 1, MSG_NOSIGNAL);
}

} // namespace quorvalent
