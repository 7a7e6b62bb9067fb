#include "platform/Inotify.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <utility>

namespace quorvalent {

namespace {

// A recording or download tells each of its writes. The kernel keeps one of several equal events that follow
// each other in its queue: left there for a while, thousands of them become one.
constexpr std::chrono::milliseconds restAfterWrites{50};

} // namespace

Inotify::Inotify(EventHandler onEvent, AddWatch addWatch)
    : m_onEvent(std::move(onEvent))
    , m_addWatch(std::move(addWatch))
{}

bool Inotify::open()
{
    m_descriptor = FileDescriptor(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (!m_descriptor.isOpen())
        return false;
    m_notifier = std::make_unique<QSocketNotifier>(m_descriptor.get(), QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(), [this] { readOne(); });
    return true;
}

int Inotify::add(const std::filesystem::path &folder, std::uint32_t mask)
{
    const int watch = m_addWatch(m_descriptor.get(), folder.c_str(), mask);
    return watch >= 0 ? watch : -errno;
}

void Inotify::remove(int watch)
{
    // The kernel may have dropped the watch with its folder.
    (void)::inotify_rm_watch(m_descriptor.get(), watch);
}

void Inotify::readAll()
{
    while (read() != Portion::None) {
    }
}

// One portion a call: the notifier comes back for the rest, and other work of the queue gets its turn.
void Inotify::readOne()
{
    if (read() != Portion::OnlyWrites)
        return;
    m_notifier->setEnabled(false);
    m_rest = DelayedTask(restAfterWrites, [this] { m_notifier->setEnabled(true); });
}

Inotify::Portion Inotify::read()
{
    alignas(inotify_event) std::array<char, 64 * 1024> buffer;
    const ssize_t count = ::read(m_descriptor.get(), buffer.data(), buffer.size());
    Portion portion = count > 0 ? Portion::OnlyWrites : Portion::None;
    for (ssize_t at = 0; at < count;) {
        inotify_event event = {};
        std::memcpy(&event, buffer.data() + at, sizeof event);
        const char *name = buffer.data() + at + sizeof event;
        if (event.mask != IN_MODIFY)
            portion = Portion::Other;
        m_onEvent({event.wd, event.mask, event.cookie,
                   event.len == 0 ? std::string_view() : std::string_view(name)});
        at += static_cast<ssize_t>(sizeof event + event.len);
    }
    return portion;
}

} // namespace quorvalent
