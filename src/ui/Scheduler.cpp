#include "ui/Scheduler.h"

namespace quorvalent {

namespace {

class TimerTask : public PendingTask
{
public:
    TimerTask(std::chrono::milliseconds delay, Task task)
        : m_task(delay, std::move(task))
    {}

private:
    DelayedTask m_task;
};

} // namespace

Scheduler systemScheduler()
{
    return [](std::chrono::milliseconds delay, Task task) -> std::unique_ptr<PendingTask> {
        return std::make_unique<TimerTask>(delay, std::move(task));
    };
}

} // namespace quorvalent
