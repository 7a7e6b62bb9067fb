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

/// Starts a program that is to outlive this one, and learns whether it came up: the new program calls
/// announceStart() once it runs. Main thread.
class ProgramLaunch
{
public:
    /// `answer` comes from the event loop: true once the program has announced itself, false when it ended
    /// before, or said nothing within `patience`; it has then been killed. Throws FileError when nothing
    /// could be started.
    ProgramLaunch(const std::filesystem::path &program, const std::vector<std::string> &arguments,
                  std::chrono::milliseconds patience, std::function<void(bool started)> answer);
    ~ProgramLaunch();
    ProgramLaunch(const ProgramLaunch &) = delete;
    ProgramLaunch &operator=(const ProgramLaunch &) = delete;

    /// Tells the program that launched this one, if one waits for that. Harmless otherwise; once per process,
    /// on the main thread, before any child is started.
    static void announceStart();

private:
    void readAnswer();
    void answer(bool started);

    pid_t m_process = -1;
    FileDescriptor m_connection;
    std::unique_ptr<QSocketNotifier> m_notifier;
    DelayedTask m_patience;
    std::function<void(bool)> m_answer;
};

} // namespace quorvalent
