#include "media/image/FileTarget.h"

#include "media/ImageTypes.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace quorvalent {

bool writeAll(int descriptor, const void *bytes, std::size_t count)
{
    const char *rest = static_cast<const char *>(bytes);
    while (count > 0) {
        const ssize_t written = ::write(descriptor, rest, count);
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return false;
        rest += written;
        count -= static_cast<std::size_t>(written);
    }
    return true;
}

FileTarget::FileTarget(const std::filesystem::path &path, QByteArray inserted, std::int64_t position)
    : m_file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600))
    , m_inserted(std::move(inserted))
    , m_position(position)
    , m_custom(vips_target_custom_new())
    , m_target(VIPS_TARGET(m_custom))
    , m_connection(g_signal_connect_data(m_custom, "write", reinterpret_cast<GCallback>(&FileTarget::onWrite),
                                         this, nullptr, GConnectFlags{}))
{
    if (!m_file.isOpen())
        throw ImageWriteError();
}

FileTarget::~FileTarget()
{
    g_signal_handler_disconnect(m_custom, m_connection);
}

gint64 FileTarget::onWrite(VipsTargetCustom *, const void *bytes, gint64 count, void *self)
{
    auto &file = *static_cast<FileTarget *>(self);
    if (file.m_failed || !file.write(static_cast<const char *>(bytes), count)) {
        file.m_failed = true;
        return -1;
    }
    return count;
}

bool FileTarget::write(const char *bytes, std::int64_t count)
{
    const std::int64_t before = std::clamp<std::int64_t>(m_position - m_taken, 0, count);
    const bool reached = m_taken <= m_position && m_taken + count > m_position;
    m_taken += count;
    return writeAll(m_file.get(), bytes, static_cast<std::size_t>(before)) &&
           (!reached ||
            writeAll(m_file.get(), m_inserted.constData(), static_cast<std::size_t>(m_inserted.size()))) &&
           writeAll(m_file.get(), bytes + before, static_cast<std::size_t>(count - before));
}

} // namespace quorvalent
