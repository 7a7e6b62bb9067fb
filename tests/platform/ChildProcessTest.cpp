#include "platform/ChildProcess.h"

#include "platform/Error.h"
#include "support/ChildProcess.h"
#include "support/TestFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <array>
#include <csignal>
#include <fstream>
#include <memory>
#include <vector>

namespace quorvalent::test {

namespace {

ChildCommand shell(const std::string &script)
{
    ChildCommand command;
    command.program = "/bin/sh";
    command.arguments = {"-c", script};
    command.environment = {"PATH=/usr/bin:/bin", "GREETING=bon\njour"};
    return command;
}

std::string outputOf(const ChildCommand &command)
{
    ChildProcess child(command);
    std::string all;
    for (QByteArray chunk = child.readAvailable(); !chunk.isEmpty(); chunk = child.readAvailable())
        all.append(chunk.constData(), static_cast<std::size_t>(chunk.size()));
    EXPECT_TRUE(child.wait().isSuccess());
    return all;
}

// Waits for a process that may be another's child, whose death comes to us as the nearest subreaper.
int endOf(pid_t process)
{
    int status = -1;
    EXPECT_EQ(::waitpid(process, &status, 0), process);
    return status;
}

} // namespace

TEST(ChildProcess, getsArgumentsEnvironmentAndFolderByteForByte)
{
    const TestFolder folder;
    ChildCommand command = shell("printf '%s|' \"$@\" \"$GREETING\"; pwd; env | grep -c HOME; cat");
    command.arguments.insert(command.arguments.end(), {"name", "", "a\xff b", "-x", "$HOME\n"});
    command.workingFolder = folder.path();
    EXPECT_EQ(outputOf(command), "|a\xff b|-x|$HOME\n|bon\njour|" + folder.path().native() + "\n0\n");
}

TEST(ChildProcess, tellsHowTheChildEnded)
{
    EXPECT_EQ(ChildProcess(shell("exit 7")).wait(), (ExitStatus{.code = 7, .signal = 0}));
    EXPECT_EQ(ChildProcess(shell("kill -TERM $$")).wait(), (ExitStatus{.code = 0, .signal = SIGTERM}));
    EXPECT_FALSE((ExitStatus{.code = 0, .signal = SIGTERM}.isSuccess()));
}

TEST(ChildProcess, hasNothingMoreToSayOnceItHasEnded)
{
    // Whoever it leaves behind holds its output open.
    EXPECT_EQ(outputOf(shell("sleep 1000 & echo words")), "words\n");
}

TEST(ChildProcess, reportsAProgramThatCannotStart)
{
    const TestFolder folder;
    std::vector<ChildCommand> commands;
    for (const auto &program : {folder / "missing", folder.write("text", "not executable"), folder.path()}) {
        commands.push_back(shell("true"));
        commands.back().program = program;
    }
    commands.push_back(shell("true"));
    commands.back().workingFolder = folder / "gone";

    // In a process that has no other children.
    const ChildResult result = runInChild(Rights::Same, [&commands] {
        std::string outcome;
        for (const ChildCommand &command : commands) {
            try {
                const ChildProcess child(command);
                outcome += "started, ";
            } catch (const FileError &) {
                outcome += "refused, ";
            }
        }
        return outcome + (::waitpid(-1, nullptr, WNOHANG) == -1 ? "nothing left" : "a process left");
    });
    EXPECT_EQ(result.text, "refused, refused, refused, refused, nothing left");
}

TEST(ChildProcess, inheritsNothingOfOurs)
{
    const FileDescriptor leaked(::open("/dev/null", O_RDONLY)); // as a library would open it
    EXPECT_EQ(outputOf(shell("ls -m /proc/$$/fd; readlink /proc/$$/fd/0 /proc/$$/fd/2")),
              "0, 1, 2\n/dev/null\n/dev/null\n");

    const auto handler = std::signal(SIGPIPE, SIG_IGN);
    sigset_t blocked;
    sigset_t previous;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    ::pthread_sigmask(SIG_BLOCK, &blocked, &previous);
    ChildCommand command;
    command.program = "/bin/grep";
    command.arguments = {"-E", "^Sig(Blk|Ign)", "/proc/self/status"};
    EXPECT_EQ(outputOf(command), "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n");
    ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    std::signal(SIGPIPE, handler);
}

TEST(ChildProcess, neverBlocksOnAMassOfOutput)
{
    const TestFolder folder;
    const FileDescriptor log = FileDescriptor::createForWriting(folder / "log");
    ChildCommand command =
        shell("yes out | head -c 1000000; yes err | head -c 900000 >&2; yes | head -c 500000");
    command.standardError = log.get();
    EXPECT_EQ(outputOf(command).size(), 1'500'000U);
    EXPECT_EQ(std::filesystem::file_size(folder / "log"), 900'000U);
}

TEST(ChildProcess, endsWithItsOwner)
{
    pid_t process = 0;
    {
        const ChildProcess child(shell("sleep 1000"));
        process = child.processId();
    }
    EXPECT_EQ(::kill(process, 0), -1);
}

TEST(ChildProcess, diesWhenTheProgramIsKilled)
{
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe(pipe.data()), 0);
    const FileDescriptor readEnd(pipe[0]);
    const FileDescriptor writeEnd(pipe[1]);
    const pid_t program = ::fork();
    if (program == 0) {
        const ChildProcess child(shell("exec sleep 1000"));
        const pid_t process = child.processId();
        if (::write(pipe[1], &process, sizeof process) == sizeof process)
            ::pause();
        ::_exit(1);
    }
    pid_t child = 0;
    ASSERT_EQ(::read(readEnd.get(), &child, sizeof child), ssize_t(sizeof child));
    ::kill(program, SIGKILL);
    EXPECT_EQ(WTERMSIG(endOf(program)), SIGKILL);
    EXPECT_EQ(WTERMSIG(endOf(child)), SIGKILL);
    ::prctl(PR_SET_CHILD_SUBREAPER, 0);
}

TEST(ChildProcess, isNotReachedByCtrlC)
{
    const TestFolder folder;
    const pid_t program = ::fork();
    if (program == 0) {
        ::setpgid(0, 0);
        std::signal(SIGINT, SIG_IGN);
        ChildCommand command = shell("echo ready; while [ ! -e go ]; do sleep 0.01; done; echo alive");
        command.workingFolder = folder.path();
        ChildProcess child(command);
        const bool isReady = child.readAvailable() == "ready\n";
        ::kill(0, SIGINT); // what the terminal does: every process of our group
        std::ofstream(folder / "go").close();
        ::_exit(isReady && child.readAvailable() == "alive\n" ? 0 : 1);
    }
    EXPECT_EQ(endOf(program), 0);
}

} // namespace quorvalent::test
