#include "platform/FolderReader.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

namespace quorvalent {

namespace {

// Room for some two thousand names at a time, so that nearly every folder is one call of the kernel.
constexpr std::size_t portionBytes = 128 * 1024;

constexpr int attempts = 4;

bool isSame(const timespec &left, const timespec &right)
{
    return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
}

} // namespace

int FolderReader::read(int folder)
{
    // The kernel holds the folder still during one call, so a list that came in one portion is consistent.
    // A longer one is taken as such when the folder's times stood still; a folder that never rests is taken
    // as it is, for the events of its changes bring the next listing.
    int failure = readOnce(folder);
    for (int attempt = 1; failure == 0 && m_portions > 1 && attempt < attempts; ++attempt) {
        struct stat before = {};
        struct stat after = {};
        if (::fstat(folder, &before) != 0)
            return errno;
        failure = readOnce(folder);
        if (::fstat(folder, &after) != 0)
            return errno;
        if (isSame(before.st_mtim, after.st_mtim) && isSame(before.st_ctim, after.st_ctim))
            break;
    }
    if (failure == 0)
        parse();
    return failure;
}

int FolderReader::readOnce(int folder)
{
    m_used = 0;
    m_portions = 0;
    if (::lseek(folder, 0, SEEK_SET) != 0)
        return errno;
    for (;;) {
        if (m_buffer.size() < m_used + portionBytes)
            m_buffer.resize(m_used + portionBytes);
        const ssize_t count = ::getdents64(folder, m_buffer.data() + m_used, portionBytes);
        if (count < 0)
            return errno;
        if (count == 0)
            return 0;
        m_used += static_cast<std::size_t>(count);
        ++m_portions;
    }
}

void FolderReader::parse()
{
    m_entries.clear();
    for (std::size_t at = 0; at < m_used;) {
        const char *record = m_buffer.data() + at;
        std::uint16_t length = 0;
        std::memcpy(&length, record + offsetof(dirent64, d_reclen), sizeof length);
        m_entries.push_back({record + offsetof(dirent64, d_name),
                             static_cast<unsigned char>(record[offsetof(dirent64, d_type)])});
        at += length;
    }
}

} // namespace quorvalent
