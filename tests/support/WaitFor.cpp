#include "support/WaitFor.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QThread>

namespace quorvalent::test {

bool waitFor(const std::function<bool()> &condition, std::chrono::milliseconds limit)
{
    const QDeadlineTimer deadline(limit);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        const bool hadEvents = QEventLoop().processEvents(QEventLoop::AllEvents);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        if (!hadEvents)
            QThread::msleep(1); // the work that is waited for needs the processor
    }
    return true;
}

} // namespace quorvalent::test
