#include "platform/Dispatch.h"

#include <QCoreApplication>
#include <QThreadPool>

namespace quorvalent {

DelayedTask::DelayedTask(std::chrono::milliseconds delay, Task task)
    : m_timer(new QTimer)
{
    m_timer->setSingleShot(true);
    m_timer->setTimerType(Qt::CoarseTimer);
    m_timer->callOnTimeout(std::move(task));
    m_timer->start(delay);
}

void DelayedTask::DeleteLater::operator()(QTimer *timer) const
{
    timer->stop();
    // A task may replace the very DelayedTask that is running it.
    timer->deleteLater();
}

SerialQueue::SerialQueue(const QString &label)
    : m_thread(std::make_unique<QThread>())
    , m_context(std::make_unique<QObject>())
{
    m_thread->setObjectName(label);
    m_context->moveToThread(m_thread.get());
    m_thread->start();
}

SerialQueue::~SerialQueue()
{
    m_thread->quit();
    m_thread->wait();
}

void SerialQueue::post(Task task)
{
    QMetaObject::invokeMethod(m_context.get(), std::move(task), Qt::QueuedConnection);
}

void SerialQueue::sync(const Task &task)
{
    QMetaObject::invokeMethod(m_context.get(), task, Qt::BlockingQueuedConnection);
}

void postToMain(Task task)
{
    QMetaObject::invokeMethod(QCoreApplication::instance(), std::move(task), Qt::QueuedConnection);
}

void postToBackground(Task task)
{
    QThreadPool::globalInstance()->start(std::move(task));
}

} // namespace quorvalent
