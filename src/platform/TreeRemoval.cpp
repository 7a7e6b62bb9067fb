#include "platform/TreeRemoval.h"

#include "platform/Error.h"
#include "platform/FileDescriptor.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;

struct StreamCloser
{
    void operator()(DIR *stream) const { ::closedir(stream); }
};
using Stream = std::unique_ptr<DIR, StreamCloser>;

struct Identity
{
    dev_t device = 0;
    ino_t inode = 0;

    bool operator==(const Identity &) const = default;
};

// A folder above the current one, and the name that the way down led through.
struct Level
{
    Identity folder;
    std::string inner;
};

// Only two folders are open at a time, so that the depth is bounded by nothing but memory.
class TreeRemoval
{
public:
    explicit TreeRemoval(const fs::path &root)
        : m_root(root)
        , m_folder(entered(AT_FDCWD, root.c_str()))
    {}

    // Leaves the root itself, empty.
    void run()
    {
        while (true) {
            if (const std::optional<std::string> inner = removeUpToFolder())
                goDown(*inner);
            else if (!m_above.empty())
                goUp();
            else
                return;
        }
    }

private:
    void check(int result) const
    {
        if (result < 0)
            throw FileError(errno, m_root);
    }

    [[nodiscard]] struct stat statusOf(const FileDescriptor &folder) const
    {
        struct stat status = {};
        check(::fstat(folder.get(), &status));
        return status;
    }

    [[nodiscard]] Identity identityOf(const FileDescriptor &folder) const
    {
        const struct stat status = statusOf(folder);
        return {status.st_dev, status.st_ino};
    }

    [[nodiscard]] FileDescriptor entered(int parent, const char *name) const
    {
        constexpr int flags = O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
        FileDescriptor folder(::openat(parent, name, O_RDONLY | flags));
        if (!folder.isOpen() && errno == EACCES) {
            // Not by its name, which may be a link by now; a descriptor of this kind has no other way.
            const FileDescriptor closed(::openat(parent, name, O_PATH | flags));
            check(closed.get());
            check(::chmod(("/proc/self/fd/" + std::to_string(closed.get())).c_str(), S_IRWXU));
            folder = FileDescriptor(::openat(parent, name, O_RDONLY | flags));
        }
        check(folder.get());
        if ((statusOf(folder).st_mode & S_IRWXU) != S_IRWXU)
            (void)::fchmod(folder.get(), S_IRWXU); // what that was needed for tells when it fails
        return folder;
    }

    // Removes what the current folder holds until a folder that is not empty stands in the way; its name.
    [[nodiscard]] std::optional<std::string> removeUpToFolder() const
    {
        const int copy = ::openat(m_folder.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        check(copy);
        const Stream stream(::fdopendir(copy));
        if (!stream)
            throw FileError(errno, m_root);
        while (true) {
            errno = 0;
            const dirent *entry = ::readdir(stream.get());
            if (entry == nullptr && errno != 0)
                throw FileError(errno, m_root);
            if (entry == nullptr)
                return std::nullopt;
            std::string name = entry->d_name;
            if (name == "." || name == ".." || ::unlinkat(m_folder.get(), name.c_str(), 0) == 0 ||
                errno == ENOENT)
                continue;
            if (errno != EISDIR && errno != EPERM)
                throw FileError(errno, m_root);
            if (::unlinkat(m_folder.get(), name.c_str(), AT_REMOVEDIR) != 0)
                return name;
        }
    }

    void goDown(const std::string &name)
    {
        FileDescriptor inner = entered(m_folder.get(), name.c_str());
        m_above.push_back({identityOf(m_folder), name});
        m_folder = std::move(inner);
    }

    // Back to the very folder that the way down came from: this one may have been moved meanwhile.
    void goUp()
    {
        FileDescriptor outer(::openat(m_folder.get(), "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        check(outer.get());
        if (identityOf(outer) != m_above.back().folder)
            throw FileError(EBUSY, m_root);
        check(::unlinkat(outer.get(), m_above.back().inner.c_str(), AT_REMOVEDIR));
        m_folder = std::move(outer);
        m_above.pop_back();
    }

    const fs::path &m_root;
    FileDescriptor m_folder;
    std::vector<Level> m_above;
};

bool isGone(int result)
{
    return result == 0 || errno == ENOENT || errno == ENOTDIR;
}

} // namespace

void removeWholeTree(const fs::path &path)
{
    if (isGone(::unlink(path.c_str())))
        return;
    if (errno != EISDIR && errno != EPERM)
        throw FileError(errno, path);
    if (isGone(::rmdir(path.c_str())))
        return;
    TreeRemoval(path).run();
    if (::rmdir(path.c_str()) != 0)
        throw FileError(errno, path);
}

} // namespace quorvalent
