#include "platform/Files.h"

#include "platform/Error.h"
#include "platform/FileDescriptor.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/xattr.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <string>
#include <system_error>
#include <vector>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;

void check(int result, const fs::path &path)
{
    if (result < 0)
        throw FileError(errno, path);
}

FileDescriptor openFile(const fs::path &path, int flags, mode_t mode = 0)
{
    FileDescriptor file(::open(path.c_str(), flags | O_CLOEXEC | O_NOFOLLOW, mode));
    check(file.get(), path);
    return file;
}

struct stat statOf(int descriptor, const fs::path &path)
{
    struct stat status = {};
    check(::fstat(descriptor, &status), path);
    return status;
}

FileType typeOf(mode_t mode)
{
    if (S_ISREG(mode))
        return FileType::Regular;
    if (S_ISDIR(mode))
        return FileType::Folder;
    return S_ISLNK(mode) ? FileType::SymbolicLink : FileType::Other;
}

void writeAll(int to, const char *bytes, std::size_t count, const fs::path &path)
{
    while (count > 0) {
        const ssize_t written = ::write(to, bytes, count);
        if (written < 0 && errno == EINTR)
            continue;
        check(static_cast<int>(written), path);
        bytes += written;
        count -= static_cast<std::size_t>(written);
    }
}

void copyByReading(int from, int to, const fs::path &source, const fs::path &target)
{
    std::vector<char> buffer(1U << 20U);
    for (;;) {
        const ssize_t count = ::read(from, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw FileError(errno, source);
        if (count == 0)
            return;
        writeAll(to, buffer.data(), static_cast<std::size_t>(count), target);
    }
}

void copyContent(int from, int to, const fs::path &source, const fs::path &target)
{
    if (::ioctl(to, FICLONE, from) == 0)
        return;
    for (;;) {
        const ssize_t count = ::copy_file_range(from, nullptr, to, nullptr, std::size_t(1) << 30U, 0);
        if (count > 0)
            continue;
        if (count < 0 && (errno == ENOSPC || errno == EDQUOT || errno == EFBIG))
            throw FileError(errno, target);
        // Some file systems answer 0 or an error where reading works, and both offsets stand where the
        // kernel left them: reading takes over from there and finds the real end or the real error.
        copyByReading(from, to, source, target);
        return;
    }
}

// The documented way without RENAME_NOREPLACE: a second link fails when the name is taken, atomically.
// A file system without links (FAT) gets a checked rename; the check and the act are then two steps.
void moveWithoutKernelPromise(const fs::path &from, const fs::path &to)
{
    if (::linkat(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), 0) == 0) {
        if (::unlink(from.c_str()) == 0)
            return;
        const int failure = errno;
        ::unlink(to.c_str());
        throw FileError(failure, from);
    }
    if (errno == EEXIST)
        throw FileError(EEXIST, to);
    struct stat occupant = {};
    if (::lstat(to.c_str(), &occupant) == 0)
        throw FileError(EEXIST, to);
    check(::rename(from.c_str(), to.c_str()), from);
}

void copyExtendedAttributes(int from, int to)
{
    const ssize_t length = ::flistxattr(from, nullptr, 0);
    if (length <= 0)
        return;
    std::vector<char> names(static_cast<std::size_t>(length));
    const ssize_t listed = ::flistxattr(from, names.data(), names.size());
    std::vector<char> value;
    for (ssize_t at = 0; at < listed;) {
        const std::string name(names.data() + at);
        at += static_cast<ssize_t>(name.size()) + 1;
        const ssize_t size = ::fgetxattr(from, name.c_str(), nullptr, 0);
        if (size < 0)
            continue;
        value.resize(static_cast<std::size_t>(size));
        if (::fgetxattr(from, name.c_str(), value.data(), value.size()) == size)
            (void)::fsetxattr(to, name.c_str(), value.data(), value.size(), 0);
    }
}

} // namespace

FileAttributes Files::attributes(const fs::path &path) const
{
    struct statx status = {};
    check(::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS, &status), path);
    const FileTime modified(std::chrono::seconds(status.stx_mtime.tv_sec) +
                            std::chrono::nanoseconds(status.stx_mtime.tv_nsec));
    const std::uint64_t device = (std::uint64_t(status.stx_dev_major) << 32U) | status.stx_dev_minor;
    return {typeOf(status.stx_mode), device, status.stx_ino, status.stx_size, modified};
}

bool Files::exists(const fs::path &path) const
{
    struct stat status = {};
    return ::lstat(path.c_str(), &status) == 0;
}

void Files::createPrivateFolder(const fs::path &path) const
{
    check(::mkdir(path.c_str(), S_IRWXU), path);
}

void Files::copy(const fs::path &from, const fs::path &to) const
{
    const FileDescriptor source = openFile(from, O_RDONLY | O_NONBLOCK);
    if (!S_ISREG(statOf(source.get(), from).st_mode))
        throw FileError(EINVAL, from);
    FileDescriptor target = openFile(to, O_WRONLY | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR);
    try {
        copyContent(source.get(), target.get(), from, to);
    } catch (...) {
        ::unlink(to.c_str());
        throw;
    }
}

void Files::moveNoReplace(const fs::path &from, const fs::path &to) const
{
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return;
    if (errno == EINVAL || errno == ENOSYS || errno == ENOTSUP) {
        moveWithoutKernelPromise(from, to);
        return;
    }
    throw FileError(errno, errno == EEXIST ? to : from);
}

void Files::remove(const fs::path &path) const
{
    std::error_code failure;
    if (!fs::remove(path, failure))
        throw FileError(failure ? failure.value() : ENOENT, path);
}

void Files::removeTree(const fs::path &path) const
{
    std::error_code failure;
    fs::remove_all(path, failure);
    if (failure)
        throw FileError(failure.value(), path);
}

void Files::flush(const fs::path &path) const
{
    const FileDescriptor file = openFile(path, O_RDONLY | O_NONBLOCK);
    check(::fsync(file.get()), path);
}

void Files::carryOverAttributes(const fs::path &original, const fs::path &result) const
{
    const FileDescriptor from = openFile(original, O_RDONLY | O_NONBLOCK);
    const FileDescriptor to = openFile(result, O_RDONLY | O_NONBLOCK);
    const struct stat status = statOf(from.get(), original);

    // Owner before mode: a change of owner clears the set-id bits.
    if (::fchown(to.get(), status.st_uid, status.st_gid) != 0)
        (void)!::fchown(to.get(), static_cast<uid_t>(-1), status.st_gid);
    (void)::fchmod(to.get(), status.st_mode & 07777U);
    copyExtendedAttributes(from.get(), to.get());
    const std::array<timespec, 2> times = {timespec{0, UTIME_OMIT}, status.st_mtim};
    (void)::futimens(to.get(), times.data());
}

std::uint64_t Files::freeBytes(const fs::path &folder) const
{
    struct statvfs volume = {};
    check(::statvfs(folder.c_str(), &volume), folder);
    return std::uint64_t(volume.f_bavail) * volume.f_frsize;
}

bool Files::isOpenForWriting(const fs::path &path) const
{
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOFOLLOW));
    if (!file.isOpen())
        return false;
    // A read lease is refused exactly while somebody has the file open for writing.
    if (::fcntl(file.get(), F_SETLEASE, F_RDLCK) != 0)
        return errno == EAGAIN;
    ::fcntl(file.get(), F_SETLEASE, F_UNLCK);
    return false;
}

} // namespace quorvalent
