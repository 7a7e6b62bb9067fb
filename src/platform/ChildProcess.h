#pragma once

#include "platform/FileDescriptor.h"

#include <QByteArray>

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace quorvalent {

/// What a child is started with. Texts are bytes, handed over unchanged; none may hold a NUL.
struct ChildCommand
{
    std::filesystem::path program;        ///< absolute; no search path is consulted
    std::vector<std::string> arguments;   ///< without the program's own name
    std::vector<std::string> environment; ///< the whole of it, as NAME=value
    std::filesystem::path workingFolder = "/";
    int standardInput = -1; ///< descriptor to read from, borrowed for the start; -1 is /dev/null
    int standardError = -1; ///< descriptor to write to, borrowed for the start; -1 is /dev/null
};

struct ExitStatus
{
    int code = 0;   ///< 0 to 255, when the child ended by itself
    int signal = 0; ///< the signal that ended it, or 0

    [[nodiscard]] bool isSuccess() const { return code == 0 && signal == 0; }
    bool operator==(const ExitStatus &) const = default;
};

/// One running child process: its standard output is a pipe to us, and apart from its command no other
/// descriptor, signal setting or environment variable of ours reaches it. It leads a session of its own, so
/// that Ctrl-C in our terminal is ours alone, and the kernel kills it when we die, however we die.
///
/// The kernel ties that last promise to the thread, not to the process: the thread that starts a child has to
/// outlive it. Used by one thread at a time; every function that waits may be interrupted by no signal.
///
/// In a cage a child stays in our session and process group, because nothing may leave those: whoever kills
/// the group from outside has killed it too.
class ChildProcess
{
public:
    /// Starts the program; FileError when the system cannot.
    explicit ChildProcess(const ChildCommand &command);
    /// Kills a child that nobody waited for, with whatever it started in its session's group, and reaps it.
    ~ChildProcess();
    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;

    /// Blocks until readAvailable() will not block, and tells whether that is so: not when that time has
    /// passed or the descriptor `alarm` is readable first.
    [[nodiscard]] bool waitForOutput(std::chrono::milliseconds most, int alarm) const;

    /// Blocks until the child has written something and returns it, at most 64 KiB; empty at the end: when
    /// nobody can write any more, or when the child itself has ended, whoever else may hold its output open.
    [[nodiscard]] QByteArray readAvailable();

    /// Hands over each complete line of what the child writes, without its line feed, until the end; text
    /// after the last line feed is dropped. Blocks meanwhile.
    void readLines(const std::function<void(const QByteArray &line)> &onLine);

    /// Blocks until the child has ended, then kills what it left running in its group. Read to the end first,
    /// or a child that writes much never ends.
    ExitStatus wait();

    /// Asks the child and its group by a signal to end; returns at once.
    void askToEnd() const;

    /// Waits that long for the child to end by itself, then kills it with its whole group. Nothing where it
    /// had to be killed.
    std::optional<ExitStatus> endWithin(std::chrono::milliseconds patience);

    /// Whether the child has ended, waited for or not.
    [[nodiscard]] bool hasEnded() const;

    [[nodiscard]] pid_t processId() const { return m_processId; }
    /// The read end of its standard output, to poll.
    [[nodiscard]] int outputDescriptor() const { return m_output.get(); }

private:
    void signal(int number) const;
    void kill() const;

    pid_t m_processId = -1;
    FileDescriptor m_end; ///< readable when the child has ended; not open where the kernel has no such thing
    FileDescriptor m_output;
    std::optional<ExitStatus> m_status;
};

} // namespace quorvalent
