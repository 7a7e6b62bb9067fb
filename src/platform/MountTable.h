#pragma once

#include "platform/FileDescriptor.h"

#include <QSocketNotifier>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace quorvalent {

/// Tells when a volume is mounted or unmounted where it concerns some folders: above them, on them or inside
/// them. File events do not tell that. Sleeps until the kernel's mount table changes. Lives on the thread
/// that created it, which runs an event loop. A part of EventStream.
class MountTable
{
public:
    /// Folders are absolute paths. Without a readable mount table nothing is ever told.
    MountTable(std::vector<std::filesystem::path> folders, std::function<void()> onChange);

private:
    [[nodiscard]] std::vector<std::string> relevantMounts() const;

    std::vector<std::filesystem::path> m_folders;
    FileDescriptor m_descriptor;
    std::vector<std::string> m_mounts;
    std::unique_ptr<QSocketNotifier> m_notifier;
};

} // namespace quorvalent
