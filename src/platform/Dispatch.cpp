#include "platform/Dispatch.h"

#include "platform/Error.h"

#include <QCoreApplication>
#include <QEvent>

#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <future>
#include <latch>
#include <list>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace quorvalent {

namespace {

// Behind whatever the user waits for, ahead of idle-time work.
constexpr int utilityNiceness = 10;

class TaskEvent : public QEvent
{
public:
    explicit TaskEvent(Task task)
        : QEvent(eventType())
        , m_task(std::move(task))
    {}

    static QEvent::Type eventType()
    {
        static const auto type = static_cast<QEvent::Type>(QEvent::registerEventType());
        return type;
    }
    void run() const { m_task(); }

private:
    Task m_task;
};

// Main thread. Never destroyed, because a static destructor may run while a thread still does.
std::list<std::thread> &backgroundThreads()
{
    static auto *const threads = new std::list<std::thread>;
    return *threads;
}

void joinBackgroundThreads()
{
    for (std::thread &thread : backgroundThreads()) {
        if (thread.joinable())
            thread.join();
    }
}

} // namespace

/// Runs tasks on the thread it lives on.
class TaskReceiver : public QObject
{
public:
    explicit TaskReceiver(QThread *thread) { moveToThread(thread); }
    ~TaskReceiver() override { acquireTasks(); }

    void post(Task task)
    {
        auto *event = new TaskEvent(std::move(task));
        m_posted.fetch_add(1, std::memory_order_release);
        QCoreApplication::postEvent(this, event);
    }

    /// Returns when the task has run.
    void run(const Task &task)
    {
        const auto done = std::make_shared<std::promise<void>>();
        post([&task, done] {
            task();
            done->set_value();
        });
        done->get_future().wait();
    }

    void beginClosing() { m_isClosing = true; }
    [[nodiscard]] bool isClosing() const { return m_isClosing; }

protected:
    bool event(QEvent *event) override
    {
        acquireTasks();
        if (event->type() != TaskEvent::eventType())
            return QObject::event(event);
        if (!m_isClosing)
            static_cast<const TaskEvent *>(event)->run();
        return true;
    }

private:
    // Qt's own locks order posting and running; this says the same to the tools that check for races and see
    // only our code.
    void acquireTasks() const { (void)m_posted.load(std::memory_order_acquire); }

    std::atomic<unsigned> m_posted = 0;
    std::atomic<bool> m_isClosing = false;
};

DelayedTask::DelayedTask(std::chrono::milliseconds delay, Task task)
    : m_timer(new QTimer)
{
    m_timer->setSingleShot(true);
    m_timer->setTimerType(Qt::PreciseTimer);
    m_timer->callOnTimeout(std::move(task));
    m_timer->start(delay);
}

void DelayedTask::DeleteLater::operator()(QTimer *timer) const
{
    timer->stop();
    // A task may replace the very DelayedTask that is running it.
    timer->deleteLater();
}

SerialQueue::SerialQueue(const QString &label, Priority priority)
    : m_thread(std::make_unique<QThread>())
    , m_receiver(std::make_unique<TaskReceiver>(m_thread.get()))
{
    m_thread->setObjectName(label);
    m_thread->start();
    if (!m_thread->isRunning())
        throw FileError(EAGAIN, label.toStdString());
    // On Linux niceness belongs to the thread, and QThread's own priorities do nothing for ordinary ones.
    // A program that was started nicer than that keeps its niceness.
    if (priority == Priority::Utility)
        post([] {
            (void)::setpriority(PRIO_PROCESS, 0, std::max(utilityNiceness, ::getpriority(PRIO_PROCESS, 0)));
        });
}

SerialQueue::~SerialQueue()
{
    close();
}

void SerialQueue::post(Task task)
{
    m_receiver->post(std::move(task));
}

void SerialQueue::sync(const Task &task)
{
    m_receiver->run(task);
}

void SerialQueue::close(const Task &last)
{
    if (m_receiver == nullptr)
        return;
    m_receiver->beginClosing();
    // Not as an event, of which none arrives any more where the application is gone: a task in the background
    // may be the last owner of a queue when the program ends. The signal is emitted by the thread itself,
    // with all that timers and notifiers need still in place.
    QObject::connect(m_thread.get(), &QThread::finished, [&last] {
        if (last)
            last();
    });
    m_thread->quit();
    m_thread->wait();
    m_receiver.reset();
}

bool SerialQueue::isClosing() const
{
    return m_receiver->isClosing();
}

void requireThreads(int count)
{
    std::latch areThere(count + 1);
    std::vector<std::jthread> threads;
    const auto meet = [&areThere] { areThere.arrive_and_wait(); };
    try {
        for (int number = 0; number < count; ++number)
            threads.emplace_back(meet);
        areThere.count_down();
    } catch (const std::system_error &failure) {
        areThere.count_down(count + 1 - static_cast<int>(threads.size())); // those that are missing
        throw FileError(failure.code().value(), "thread");
    }
}

void postToMain(Task task)
{
    static TaskReceiver main(QCoreApplication::instance()->thread());
    main.post(std::move(task));
}

void postToBackground(Task task)
{
    static const bool isWaitedFor = (qAddPostRoutine(&joinBackgroundThreads), true);
    static_cast<void>(isWaitedFor);
    std::list<std::thread> &threads = backgroundThreads();
    const auto place = threads.emplace(threads.end());
    try {
        *place = std::thread([task = std::move(task), place] {
            task();
            postToMain([place] {
                if (place->joinable())
                    place->join();
                backgroundThreads().erase(place);
            });
        });
    } catch (const std::system_error &failure) {
        threads.erase(place);
        throw FileError(failure.code().value(), "thread");
    }
}

} // namespace quorvalent
