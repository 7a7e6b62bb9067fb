#pragma once

#include "platform/Dispatch.h"

#include <chrono>
#include <functional>
#include <memory>

namespace quorvalent {

/// A task that waits for its time; destroying it cancels the task.
class PendingTask
{
public:
    PendingTask() = default;
    PendingTask(const PendingTask &) = delete;
    PendingTask &operator=(const PendingTask &) = delete;
    virtual ~PendingTask() = default;
};

/// Runs a task on the main thread after a delay, once. Everything in the windows that happens later goes
/// through one of these, so that tests have a clock of their own.
using Scheduler = std::function<std::unique_ptr<PendingTask>(std::chrono::milliseconds delay, Task task)>;

/// Of the running program.
[[nodiscard]] Scheduler systemScheduler();

} // namespace quorvalent
