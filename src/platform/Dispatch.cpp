#include "platform/Dispatch.h"

#include <QCoreApplication>
#include <QEvent>
#include <QThreadPool>

#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <utility>

namespace quorvalent {

namespace {

// Behind whatever the user waits for, ahead of idle-time work.
constexpr int utilityNiceness = 10;

// Tasks wait for processes and disks rather than compute; who posts them limits how many there are.
constexpr int backgroundThreads = 128;

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

void postToMain(Task task)
{
    static TaskReceiver main(QCoreApplication::instance()->thread());
    main.post(std::move(task));
}

void postToBackground(Task task)
{
    // As in TaskReceiver: says in our code that what the task holds was written before it runs.
    static std::atomic<unsigned> handedOver = 0;
    Task received = [task = std::move(task)] {
        (void)handedOver.load(std::memory_order_acquire);
        task();
    };
    handedOver.fetch_add(1, std::memory_order_release);
    static QThreadPool *const pool = [] {
        QThreadPool *const shared = QThreadPool::globalInstance();
        shared->setMaxThreadCount(backgroundThreads);
        return shared;
    }();
    pool->start(std::move(received));
}

} // namespace quorvalent
