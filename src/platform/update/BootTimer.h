#pragma once

#include "platform/Dispatch.h"
#include "platform/FileDescriptor.h"

#include <QSocketNotifier>

#include <chrono>
#include <memory>

namespace quorvalent {

/// Runs a task once, after a time that goes on while the computer sleeps: when it wakes up late, the task
/// runs then. Destroying or assigning it cancels the task. Main thread.
class BootTimer
{
public:
    BootTimer() = default;
    BootTimer(std::chrono::milliseconds delay, Task task);

    void cancel();
    [[nodiscard]] bool isPending() const { return m_notifier != nullptr; }

private:
    struct DeleteLater
    {
        void operator()(QSocketNotifier *notifier) const;
    };
    FileDescriptor m_timer;
    std::unique_ptr<QSocketNotifier, DeleteLater> m_notifier;
};

} // namespace quorvalent
