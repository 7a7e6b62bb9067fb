#pragma once

#include "platform/Dispatch.h"
#include "platform/FileDescriptor.h"

#include <QSocketNotifier>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string_view>

namespace quorvalent {

/// One event of the kernel. The name is valid during the call only.
struct InotifyEvent
{
    int watch = -1; ///< -1 for an overflow of the kernel's queue
    std::uint32_t mask = 0;
    std::uint32_t cookie = 0;
    std::string_view name; ///< of the item in the watched folder; empty when the event is about the folder
};

/// The system call that adds a watch; a test hands in one with a limit of its own. Answers as
/// inotify_add_watch(2) does.
using AddWatch = std::function<int(int inotify, const char *path, std::uint32_t mask)>;

/// Owns one inotify instance and hands its events over on the thread that created it, which runs an event
/// loop. A part of EventStream.
class Inotify
{
public:
    using EventHandler = std::function<void(const InotifyEvent &)>;

    Inotify(EventHandler onEvent, AddWatch addWatch);

    /// False, with errno set, when the kernel gives no more instances to this user.
    [[nodiscard]] bool open();
    /// The watch, or minus the errno value.
    [[nodiscard]] int add(const std::filesystem::path &folder, std::uint32_t mask);
    void remove(int watch);
    /// Hands over what is queued, now.
    void readAll();

private:
    enum class Portion { None, OnlyWrites, Other };

    Portion read();
    void readOne();

    EventHandler m_onEvent;
    AddWatch m_addWatch;
    FileDescriptor m_descriptor;
    std::unique_ptr<QSocketNotifier> m_notifier;
    DelayedTask m_rest; ///< pending while the notifier is off
};

} // namespace quorvalent
