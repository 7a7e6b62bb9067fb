#include "platform/update/BootTimer.h"

#include "platform/Error.h"

#include <sys/timerfd.h>

#include <cerrno>
#include <utility>

namespace quorvalent {

void BootTimer::DeleteLater::operator()(QSocketNotifier *notifier) const
{
    notifier->setEnabled(false);
    notifier->disconnect();
    notifier->deleteLater(); // it may be the one whose task is running
}

BootTimer::BootTimer(std::chrono::milliseconds delay, Task task)
    : m_timer(::timerfd_create(CLOCK_BOOTTIME, TFD_CLOEXEC | TFD_NONBLOCK))
{
    using namespace std::chrono;
    // A timer of zero would never run.
    const nanoseconds time = std::max<nanoseconds>(delay, nanoseconds(1));
    const auto whole = duration_cast<seconds>(time);
    itimerspec when = {};
    when.it_value.tv_sec = whole.count();
    when.it_value.tv_nsec = (time - whole).count();
    if (!m_timer.isOpen() || ::timerfd_settime(m_timer.get(), 0, &when, nullptr) != 0)
        throw FileError(errno, "timerfd");
    m_notifier.reset(new QSocketNotifier(m_timer.get(), QSocketNotifier::Read));
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(),
                     [notifier = m_notifier.get(), task = std::move(task)] {
                         notifier->setEnabled(false);
                         task();
                     });
}

void BootTimer::cancel()
{
    m_notifier.reset();
    m_timer.close();
}

} // namespace quorvalent
