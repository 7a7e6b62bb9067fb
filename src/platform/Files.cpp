#include "platform/Files.h"

#include "platform/Error.h"
#include "platform/FileDescriptor.h"
#include "platform/TreeRemoval.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <linux/limits.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <string>
#include <system_error>
#include <vector>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;

void check(ssize_t result, const fs::path &path)
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

struct Paths
{
    const fs::path &source;
    const fs::path &target;
};

void copyByReading(int from, int to, off_t at, off_t end, const Paths &paths)
{
    std::vector<char> buffer(1U << 20U);
    while (at < end) {
        const std::size_t wanted = std::min(buffer.size(), static_cast<std::size_t>(end - at));
        const ssize_t count = ::pread(from, buffer.data(), wanted, at);
        if (count < 0 && errno == EINTR)
            continue;
        check(count, paths.source);
        if (count == 0)
            return;
        for (ssize_t done = 0; done < count;) {
            const ssize_t written =
                ::pwrite(to, buffer.data() + done, static_cast<std::size_t>(count - done), at + done);
            if (written < 0 && errno == EINTR)
                continue;
            check(written, paths.target);
            done += written;
        }
        at += count;
    }
}

void copyRange(int from, int to, off_t at, off_t end, const Paths &paths)
{
    off_t written = at;
    while (at < end) {
        const ssize_t count =
            ::copy_file_range(from, &at, to, &written, static_cast<std::size_t>(end - at), 0);
        if (count > 0 || (count < 0 && errno == EINTR))
            continue;
        if (count < 0 && (errno == ENOSPC || errno == EDQUOT || errno == EFBIG))
            throw FileError(errno, paths.target);
        // Some file systems answer 0 or an error where reading works; reading finds the real end or error.
        copyByReading(from, to, at, end, paths);
        return;
    }
}

std::optional<std::uint64_t> freeBytesOf(const struct statvfs &volume)
{
    if (volume.f_blocks == 0)
        return std::nullopt; // some FUSE file systems know no sizes
    // The blocks kept in reserve are there for root alone.
    return std::uint64_t(::geteuid() == 0 ? volume.f_bfree : volume.f_bavail) * volume.f_frsize;
}

void requireSpace(int to, const struct stat &source, const fs::path &target)
{
    struct statvfs volume = {};
    if (::fstatvfs(to, &volume) != 0)
        return;
    const auto needed = static_cast<std::uint64_t>(std::min(source.st_size, source.st_blocks * 512));
    if (const auto available = freeBytesOf(volume); available && *available < needed)
        throw FileError(ENOSPC, target);
}

void copyContent(int from, int to, const struct stat &source, const Paths &paths)
{
    if (::ioctl(to, FICLONE, from) == 0)
        return;
    requireSpace(to, source, paths.target);
    for (off_t at = 0; at < source.st_size;) {
        const off_t data = ::lseek(from, at, SEEK_DATA);
        if (data < 0 && errno == ENXIO)
            break; // nothing but a hole up to the end
        const off_t begin = std::max(at, data);
        const off_t hole = ::lseek(from, begin, SEEK_HOLE);
        const off_t end = hole > begin ? std::min(hole, source.st_size) : source.st_size;
        copyRange(from, to, begin, end, paths);
        at = end;
    }
    check(::ftruncate(to, source.st_size), paths.target);
}

bool isSameFile(const fs::path &one, const fs::path &other)
{
    struct stat a = {};
    struct stat b = {};
    return ::lstat(one.c_str(), &a) == 0 && ::lstat(other.c_str(), &b) == 0 && a.st_dev == b.st_dev &&
           a.st_ino == b.st_ino;
}

// For file systems without RENAME_NOREPLACE. A second link fails atomically when the name is taken, and the
// first name goes only if it still is that file, so that a file saved over it in between is not unlinked.
// Without links either (FAT over FUSE) it is a checked rename: the check and the act are then two steps.
void moveWithoutKernelPromise(const fs::path &from, const fs::path &to)
{
    if (::linkat(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), 0) == 0) {
        int failure = ENOENT;
        if (isSameFile(from, to)) {
            if (::unlink(from.c_str()) == 0)
                return;
            failure = errno;
        }
        ::unlink(to.c_str());
        throw FileError(failure, from);
    }
    struct stat occupant = {};
    if (errno == EEXIST || ::lstat(to.c_str(), &occupant) == 0)
        throw FileError(EEXIST, to);
    check(::rename(from.c_str(), to.c_str()), from);
}

bool vouchesForContent(const std::string &attribute)
{
    return attribute == "security.ima" || attribute == "security.evm" || attribute == "security.capability";
}

void copyExtendedAttributes(int from, int to, const Paths &paths)
{
    // The kernel's limits for the list of names and for one value, 64 KiB each.
    std::vector<char> names(XATTR_LIST_MAX);
    std::vector<char> value(XATTR_SIZE_MAX);
    const ssize_t listed = ::flistxattr(from, names.data(), names.size());
    for (ssize_t at = 0; at < listed;) {
        const std::string name(names.data() + at);
        at += static_cast<ssize_t>(name.size()) + 1;
        const ssize_t size = ::fgetxattr(from, name.c_str(), value.data(), value.size());
        if (size < 0 || vouchesForContent(name))
            continue;
        const int set = ::fsetxattr(to, name.c_str(), value.data(), static_cast<std::size_t>(size), 0);
        if (set != 0 && (errno == ENOSPC || errno == EDQUOT))
            throw FileError(errno, paths.target);
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
    return {.type = typeOf(status.stx_mode),
            .device = device,
            .inode = status.stx_ino,
            .sizeBytes = status.stx_size,
            .modified = modified,
            .isOwn = status.stx_uid == ::geteuid(),
            .links = status.stx_nlink};
}

bool Files::exists(const fs::path &path) const
{
    struct stat status = {};
    return ::lstat(path.c_str(), &status) == 0;
}

void Files::createPrivateFolder(const fs::path &path) const
{
    // The folder's own name says nothing to the user: unless it is taken, the trouble is its parent's.
    if (::mkdir(path.c_str(), S_IRWXU) != 0)
        throw FileError(errno, errno == EEXIST ? path : path.parent_path());
}

void Files::copy(const fs::path &from, const fs::path &to) const
{
    // Without O_NONBLOCK, opening a FIFO that took the name would wait for a writer.
    const FileDescriptor source = openFile(from, O_RDONLY | O_NONBLOCK);
    const struct stat status = statOf(source.get(), from);
    if (!S_ISREG(status.st_mode))
        throw FileError(ENXIO, from);
    FileDescriptor target = openFile(to, O_WRONLY | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR);
    try {
        copyContent(source.get(), target.get(), status, {from, to});
        // Network file systems tell a full disk or a lost connection only when the file is closed.
        check(::close(target.release()), to);
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
    removeWholeTree(path);
}

void Files::flush(const fs::path &path) const
{
    const FileDescriptor file = openFile(path, O_RDONLY | O_NONBLOCK);
    while (::fsync(file.get()) != 0) {
        if (errno == EINVAL || errno == ENOTSUP || errno == ENOSYS)
            return; // some network and FUSE file systems flush files but not folders
        if (errno != EINTR)
            throw FileError(errno, path);
    }
}

void Files::carryOverAttributes(const fs::path &original, const fs::path &result) const
{
    const FileDescriptor from = openFile(original, O_RDONLY | O_NONBLOCK);
    const FileDescriptor to = openFile(result, O_RDONLY | O_NONBLOCK);
    const struct stat status = statOf(from.get(), original);

    // Owner before mode: a change of owner clears the set-id bits. Where the owner cannot be kept, those
    // bits would speak for somebody else; and this user, who could read the original, still can.
    const bool isOwnerKept = ::fchown(to.get(), status.st_uid, status.st_gid) == 0;
    const mode_t mode = isOwnerKept ? status.st_mode & 07777U : (status.st_mode & 0777U) | S_IRUSR;
    if (!isOwnerKept)
        (void)!::fchown(to.get(), static_cast<uid_t>(-1), status.st_gid);
    // The folder may have given the result a default list that the original does not have.
    (void)::fremovexattr(to.get(), "system.posix_acl_access");
    (void)::fchmod(to.get(), mode);
    copyExtendedAttributes(from.get(), to.get(), {original, result});
    const std::array<timespec, 2> times = {timespec{0, UTIME_OMIT}, status.st_mtim};
    (void)::futimens(to.get(), times.data());
}

std::optional<std::uint64_t> Files::freeBytes(const fs::path &folder) const
{
    struct statvfs volume = {};
    check(::statvfs(folder.c_str(), &volume), folder);
    return freeBytesOf(volume);
}

namespace {

// A read lease is refused exactly while somebody has the file open for writing, a write lease while anybody
// else has it open.
bool refusesLease(const fs::path &path, int lease)
{
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOFOLLOW));
    if (!file.isOpen())
        return false;
    // Whoever opens the file while the lease stands makes the kernel signal us; the signal for that is by
    // default SIGIO, which would end the program. SIGURG is ignored unless somebody asks for it.
    ::fcntl(file.get(), F_SETSIG, SIGURG);
    if (::fcntl(file.get(), F_SETLEASE, lease) != 0)
        return errno == EAGAIN;
    ::fcntl(file.get(), F_SETLEASE, F_UNLCK);
    return false;
}

} // namespace

bool Files::isOpenForWriting(const fs::path &path) const
{
    return refusesLease(path, F_RDLCK);
}

bool Files::isOpen(const fs::path &path) const
{
    return refusesLease(path, F_WRLCK);
}

} // namespace quorvalent
