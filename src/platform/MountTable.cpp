#include "platform/MountTable.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <sstream>
#include <utility>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;

constexpr auto mountTablePath = "/proc/self/mountinfo";

bool isWithin(const fs::path &inner, const fs::path &outer)
{
    return std::ranges::mismatch(outer, inner).in1 == outer.end();
}

/// The table writes space, tab, newline and backslash in a path as a backslash and three octal digits.
std::string unescaped(const std::string &field)
{
    std::string path;
    for (std::size_t at = 0; at < field.size(); ++at) {
        if (field[at] == '\\' && at + 3 < field.size()) {
            path += static_cast<char>(std::stoi(field.substr(at + 1, 3), nullptr, 8));
            at += 3;
        } else {
            path += field[at];
        }
    }
    return path;
}

std::string contentOf(int descriptor)
{
    std::string content;
    std::array<char, 16 * 1024> buffer;
    if (::lseek(descriptor, 0, SEEK_SET) != 0)
        return content;
    for (ssize_t count = 0; (count = ::read(descriptor, buffer.data(), buffer.size())) > 0;)
        content.append(buffer.data(), static_cast<std::size_t>(count));
    return content;
}

} // namespace

MountTable::MountTable(std::vector<fs::path> folders, std::function<void()> onChange)
    : m_folders(std::move(folders))
    , m_descriptor(::open(mountTablePath, O_RDONLY | O_CLOEXEC))
{
    if (!m_descriptor.isOpen())
        return;
    m_mounts = relevantMounts();
    // The kernel signals a changed table as an exceptional condition on its file.
    m_notifier = std::make_unique<QSocketNotifier>(m_descriptor.get(), QSocketNotifier::Exception);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(),
                     [this, changed = std::move(onChange)] {
                         std::vector<std::string> mounts = relevantMounts();
                         if (std::exchange(m_mounts, mounts) != mounts)
                             changed();
                     });
}

std::vector<std::string> MountTable::relevantMounts() const
{
    std::vector<std::string> mounts;
    std::istringstream lines(contentOf(m_descriptor.get()));
    for (std::string line; std::getline(lines, line);) {
        // Mount, parent, device, root within the volume, mount point, and more that may change by itself.
        std::istringstream fields(line);
        std::string mount;
        std::string parent;
        std::string device;
        std::string root;
        std::string point;
        fields >> mount >> parent >> device >> root >> point;
        const fs::path place = unescaped(point);
        if (std::ranges::any_of(m_folders, [&](const fs::path &folder) {
                return isWithin(place, folder) || isWithin(folder, place);
            }))
            mounts.push_back(mount + ' ' + device + ' ' + place.native());
    }
    return mounts;
}

} // namespace quorvalent
