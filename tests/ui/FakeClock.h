#pragma once

#include "ui/Scheduler.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace quorvalent::test {

/// A clock that only the test moves.
class FakeClock
{
public:
    [[nodiscard]] Scheduler scheduler()
    {
        return [this](std::chrono::milliseconds delay, Task task) -> std::unique_ptr<PendingTask> {
            auto entry = std::make_shared<Entry>(Entry{m_now + delay, std::move(task)});
            m_entries.push_back(entry);
            return std::make_unique<Handle>(entry);
        };
    }

    /// Runs what is due within this time, in the order of its times.
    void advance(std::chrono::milliseconds time)
    {
        const std::chrono::milliseconds end = m_now + time;
        for (;;) {
            const auto next =
                std::ranges::min_element(m_entries, {}, [](const auto &entry) { return entry->due; });
            if (next == m_entries.end() || (*next)->due > end)
                break;
            const std::shared_ptr<Entry> entry = *next;
            m_entries.erase(next);
            m_now = entry->due;
            if (const Task task = std::exchange(entry->task, {}))
                task();
        }
        m_now = end;
    }

private:
    struct Entry
    {
        std::chrono::milliseconds due;
        Task task;
    };
    struct Handle : PendingTask
    {
        explicit Handle(std::shared_ptr<Entry> its)
            : entry(std::move(its))
        {}
        ~Handle() override { entry->task = {}; }
        std::shared_ptr<Entry> entry;
    };

    std::chrono::milliseconds m_now{0};
    std::vector<std::shared_ptr<Entry>> m_entries;
};

} // namespace quorvalent::test
