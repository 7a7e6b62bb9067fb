#pragma once

#include <QObject>
#include <QThread>
#include <QTimer>

#include <chrono>
#include <functional>
#include <memory>

namespace quorvalent {

/// A piece of work; it must not throw.
using Task = std::function<void()>;

/// Owns one task that waits for its time. Destroying or assigning it cancels the task. Lives on the thread
/// that created it.
class DelayedTask
{
public:
    DelayedTask() = default;
    DelayedTask(std::chrono::milliseconds delay, Task task);

    void cancel() { m_timer.reset(); }
    [[nodiscard]] bool isPending() const { return m_timer != nullptr && m_timer->isActive(); }

private:
    struct DeleteLater
    {
        void operator()(QTimer *timer) const;
    };
    std::unique_ptr<QTimer, DeleteLater> m_timer;
};

/// One thread with an event loop, which runs posted tasks one after another. Sleeps without wake-ups when
/// nothing is posted.
class SerialQueue
{
public:
    explicit SerialQueue(const QString &label);
    /// Waits for the running task; tasks still waiting are dropped. Not to be called on the queue itself.
    ~SerialQueue();
    SerialQueue(const SerialQueue &) = delete;
    SerialQueue &operator=(const SerialQueue &) = delete;

    /// Any thread; returns at once. Tasks run in the order in which they were posted.
    void post(Task task);
    /// Any thread but the queue's own; returns when the task has run.
    void sync(const Task &task);
    [[nodiscard]] bool isCurrent() const { return QThread::currentThread() == m_thread.get(); }

private:
    std::unique_ptr<QThread> m_thread;
    std::unique_ptr<QObject> m_context; ///< lives on m_thread, so that posted calls run there
};

/// The event loop of the main thread. Any thread may post; a QCoreApplication must exist.
void postToMain(Task task);

/// The shared pool for long work. Any thread may post.
void postToBackground(Task task);

} // namespace quorvalent
