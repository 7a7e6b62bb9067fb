#include "platform/LockedFile.h"

#include "platform/Error.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstddef>

namespace quorvalent {

namespace fs = std::filesystem;

LockedFile::LockedFile(FileDescriptor file, fs::path path)
    : m_file(std::move(file))
    , m_path(std::move(path))
{}

LockedFile LockedFile::create(const fs::path &path)
{
    FileDescriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!file.isOpen())
        throw FileError(errno, path);
    // Between the two calls another process may have locked the file as an abandoned one, or removed it.
    const bool isHeldElsewhere = ::flock(file.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    struct stat status = {};
    if (isHeldElsewhere || ::fstat(file.get(), &status) != 0 || status.st_nlink == 0)
        throw FileError(ENOENT, path);
    return {std::move(file), path};
}

std::optional<LockedFile> LockedFile::take(const fs::path &path)
{
    FileDescriptor file(::open(path.c_str(), O_RDWR | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
    struct stat status = {};
    if (!file.isOpen() || ::fstat(file.get(), &status) != 0)
        return std::nullopt;
    if (!S_ISREG(status.st_mode) || status.st_uid != ::geteuid())
        return std::nullopt;
    if (::flock(file.get(), LOCK_EX | LOCK_NB) != 0)
        return std::nullopt;
    // Its holder may have removed it just before letting go.
    if (::fstat(file.get(), &status) != 0 || status.st_nlink == 0)
        return std::nullopt;
    return LockedFile(std::move(file), path);
}

void LockedFile::write(const std::string &bytes) const
{
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = ::write(m_file.get(), bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno != EINTR)
            throw FileError(errno, m_path);
        done += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    // Only so that a later flush has less to wait for.
    (void)::sync_file_range(m_file.get(), 0, 0, SYNC_FILE_RANGE_WRITE);
}

std::string LockedFile::read() const
{
    std::string bytes(std::size_t(64) << 10U, '\0');
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count =
            ::pread(m_file.get(), bytes.data() + done, bytes.size() - done, static_cast<off_t>(done));
        if (count == 0)
            break;
        if (count < 0 && errno != EINTR)
            throw FileError(errno, m_path);
        done += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    bytes.resize(done);
    return bytes;
}

} // namespace quorvalent
