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

class TaskReceiver;

/// One thread with an event loop, which runs posted tasks one after another. Sleeps without wake-ups when
/// nothing is posted.
class SerialQueue
{
public:
    /// Utility work gives way to everything the user waits for: its thread is nice.
    enum class Priority { Default, Utility };

    /// FileError when the system has no thread to give.
    explicit SerialQueue(const QString &label, Priority priority = Priority::Default);
    /// Closes the queue, if that was not done before. Not to be called on the queue itself.
    ~SerialQueue();
    SerialQueue(const SerialQueue &) = delete;
    SerialQueue &operator=(const SerialQueue &) = delete;

    /// Any thread; returns at once. Tasks run in the order in which they were posted.
    void post(Task task);
    /// Any thread but the queue's own; returns when the task has run.
    void sync(const Task &task);
    /// Waits for the running task, drops those that still wait, runs `last` on the queue and ends it. What
    /// lives on the queue, a timer or a notifier, is destroyed there, in `last`. Called by the owner, not on
    /// the queue, also when the application is gone; nothing is posted from then on.
    void close(const Task &last = {});
    /// Whether close() was called; long work on the queue may ask this to end early.
    [[nodiscard]] bool isClosing() const;
    [[nodiscard]] bool isCurrent() const { return QThread::currentThread() == m_thread.get(); }

private:
    std::unique_ptr<QThread> m_thread;
    std::unique_ptr<TaskReceiver> m_receiver; ///< lives on m_thread, so that posted tasks run there
};

/// FileError when the system does not let this program have so many more threads at once. Parts of Qt wait
/// for ever for a thread that could not be started.
void requireThreads(int count);

/// The event loop of the main thread. Any thread may post; a QCoreApplication must exist.
void postToMain(Task task);

/// A thread of its own for long work, which the application waits for at its end. Called on the main thread;
/// FileError when the system has no thread to give.
void postToBackground(Task task);

} // namespace quorvalent
