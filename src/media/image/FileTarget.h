#pragma once

#include "platform/FileDescriptor.h"

#include <QByteArray>

#include <cstddef>
#include <cstdint>
#include <filesystem>

#include <vips/vips8>

namespace quorvalent {

/// Writes all bytes; false with errno set when the system takes no more.
[[nodiscard]] bool writeAll(int descriptor, const void *bytes, std::size_t count);

/// A file that an encoder of libvips writes front to back, with a block of ours slipped in at a fixed place:
/// metadata goes in byte for byte instead of through the encoder. Remembers whether the disk failed, which
/// tells a bad source from a bad output after the encoder gave up.
class FileTarget
{
public:
    /// Creates the file, which must not exist. `inserted` goes before the encoder's byte `position`.
    FileTarget(const std::filesystem::path &path, QByteArray inserted, std::int64_t position);
    ~FileTarget();
    FileTarget(const FileTarget &) = delete;
    FileTarget &operator=(const FileTarget &) = delete;

    [[nodiscard]] const vips::VTarget &target() const { return m_target; }
    [[nodiscard]] bool failed() const { return m_failed; }

private:
    static gint64 onWrite(VipsTargetCustom *target, const void *bytes, gint64 count, void *self);
    [[nodiscard]] bool write(const char *bytes, std::int64_t count);

    FileDescriptor m_file;
    QByteArray m_inserted;
    std::int64_t m_position;
    std::int64_t m_taken = 0;
    bool m_failed = false;
    VipsTargetCustom *m_custom;
    vips::VTarget m_target;
    gulong m_connection;
};

} // namespace quorvalent
