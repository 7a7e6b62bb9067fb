#pragma once

#include "platform/Dispatch.h"
#include "platform/FileDescriptor.h"

#include <QSocketNotifier>

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace quorvalent {

/// Starts a program that is to outlive this one, and learns whether it came up: the new program sends its
/// StartNotice once it runs. Main thread.
class ProgramLaunch
{
public:
    /// `answer` comes from the event loop: true once the program has announced itself, false when it ended
    /// before, or said nothing within `patience`; it has then been killed, with what it had started. Throws
    /// FileError when nothing could be started.
    ProgramLaunch(const std::filesystem::path &program, const std::vector<std::string> &arguments,
                  std::chrono::milliseconds patience, std::function<void(bool started)> answer);
    ~ProgramLaunch(); ///< kills a program that has not announced itself
    ProgramLaunch(const ProgramLaunch &) = delete;
    ProgramLaunch &operator=(const ProgramLaunch &) = delete;

private:
    void readAnswer(bool hasEnded);
    void answer(bool started);
    void endProcess();

    pid_t m_process = -1; ///< -1 once it has started for good, or was reaped
    FileDescriptor m_connection;
    FileDescriptor m_processEnd; ///< readable when the program has ended, whoever holds its descriptors
    std::unique_ptr<QSocketNotifier> m_connectionNotifier;
    std::unique_ptr<QSocketNotifier> m_endNotifier;
    DelayedTask m_patience;
    std::function<void(bool)> m_answer;
};

} // namespace quorvalent
