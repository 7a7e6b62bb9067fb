#pragma once

#include "model/ModelServices.h"

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace quorvalent::test {

/// The model's world without watcher, engines, threads and time: work waits until the test lets it run, and
/// everything the model asks for is written down in order.
class FakeWorld
{
public:
    /// The services refer to this world, which must outlive the model.
    [[nodiscard]] ModelServices services();

    /// What was asked for: "watch /a /b", "complete 1-7", "expect a.jpg", "later 1500", and what the test
    /// adds.
    std::vector<std::string> log;
    [[nodiscard]] std::vector<std::string> takeLog() { return std::exchange(log, {}); }

    std::function<void(const RenameJob &, const Preferences &, const Progress &)> convert =
        [](const RenameJob &, const Preferences &, const Progress &) {};
    QueuePacing pacing;
    Machine machine{.cores = 2, .availableBytes = 4ULL << 30};
    bool hasThreads = true; ///< for background tasks
    std::function<bool(const RenameJob &)> isInPlace = [](const RenameJob &) { return true; };
    ConversionRun run;                                         ///< of the last that ran
    ConversionReport report;                                   ///< of what converts
    std::vector<std::optional<std::chrono::minutes>> expiries; ///< of kept originals
    std::optional<std::chrono::seconds> nextExpiry;

    /// Runs a background task, the oldest or one that began so many later, then whatever it posted to the
    /// main thread.
    void runBackground(std::size_t later = 0);
    /// Runs the oldest delayed task.
    void runLater();
    [[nodiscard]] std::size_t backgroundTasks() const { return m_background.size(); }
    [[nodiscard]] std::size_t laterTasks() const { return m_later.size(); }

    /// Tells the model which folders are missing.
    std::function<void(const std::vector<std::filesystem::path> &)> onMissing;
    JobSourceHandlers handlers;                    ///< of the watcher that the model made
    std::vector<std::function<void()>> onWatching; ///< one for each start of the watcher

private:
    std::deque<Task> m_background;
    std::deque<Task> m_later;
};

/// A job from /folder/NAME.from to /folder/NAME.to, with an identity of its own.
[[nodiscard]] RenameJob renamed(const std::string &oldName, const std::string &newName,
                                const QString &identity = QStringLiteral("1-1"));

/// Runs everything that has been posted to the main thread.
void runMain();

} // namespace quorvalent::test
