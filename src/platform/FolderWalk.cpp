#include "platform/FolderWalk.h"

#include "platform/Error.h"
#include "platform/FileDescriptor.h"
#include "platform/FolderReader.h"
#include "platform/FolderRules.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <future>
#include <iterator>
#include <span>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;

// A walk that has this many folders before it is worth a second thread, and is shared out evenly enough.
constexpr std::size_t foldersToShare = 64;

// How often a folder is read because a file left it between its name and its attributes. On a busy machine a
// reading can take as long as somebody takes to rename the file once more.
constexpr int attempts = 8;

bool isVanished(int failure)
{
    // ELOOP and ENOTDIR: a link or a file has taken the folder's place.
    return failure == ENOENT || failure == ENOTDIR || failure == ELOOP || failure == ESTALE;
}

std::string joined(const std::string &folder, std::string_view name)
{
    std::string path;
    path.reserve(folder.size() + 1 + name.size());
    path = folder;
    if (!path.empty() && !name.empty() && path.back() != '/')
        path += '/';
    return path += name;
}

/// The open root of a walk; folders below it are opened from there, by their path relative to it.
struct Root
{
    std::string path;
    FileDescriptor descriptor;

    explicit Root(const fs::path &root)
        : path(root.native())
        , descriptor(::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK))
    {
        if (!descriptor.isOpen())
            throw FileError(errno, root);
    }

    [[nodiscard]] FileDescriptor open(const std::string &folder) const
    {
        return FileDescriptor(::openat(descriptor.get(), folder.empty() ? "." : folder.c_str(),
                                       O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
    }
};

/// What statx told, or why it did not.
struct Status
{
    struct statx values;
    int failure;

    Status(int folder, const char *name)
    {
        // Attributes as the system has them at hand: a network volume is not asked again for each file.
        constexpr int flags = AT_SYMLINK_NOFOLLOW | AT_STATX_DONT_SYNC | AT_NO_AUTOMOUNT;
        constexpr unsigned wanted = STATX_TYPE | STATX_INO | STATX_SIZE | STATX_MTIME;
        failure = ::statx(folder, name, flags, wanted, &values) == 0 ? 0 : errno;
    }
};

class FileCollector
{
public:
    explicit FileCollector(const Root &root)
        : m_root(root)
    {}

    /// Adds the folder's files to the found ones and its subfolders to `pending`.
    void visit(const std::string &folder, std::vector<std::string> &pending)
    {
        const FileDescriptor open = m_root.open(folder);
        const int failure = open.isOpen() ? collect(open.get(), folder) : errno;
        if (failure != 0 && !isVanished(failure))
            m_found.unreadable.emplace_back(joined(m_root.path, folder));
        std::ranges::move(m_subfolders, std::back_inserter(pending));
        m_subfolders.clear();
    }

    void visitTree(const std::string &folder)
    {
        std::vector<std::string> pending{folder};
        while (!pending.empty()) {
            const std::string next = std::move(pending.back());
            pending.pop_back();
            visit(next, pending);
        }
    }

    [[nodiscard]] FoundFiles &found() { return m_found; }

private:
    int collect(int open, const std::string &folder)
    {
        const std::size_t fileCount = m_found.files.size();
        const std::size_t nameBytes = m_found.names.size();
        const auto position = static_cast<std::uint32_t>(m_found.folders.size());
        for (int attempt = 0; attempt < attempts; ++attempt) {
            m_found.files.resize(fileCount);
            m_found.names.resize(nameBytes);
            m_subfolders.clear();
            if (const int failure = m_reader.read(open); failure != 0)
                return failure;
            if (addEntries(open, folder, position))
                break;
        }
        if (m_found.files.size() > fileCount)
            m_found.folders.push_back(joined(m_root.path, folder));
        return 0;
    }

    /// False when a name was gone before its attributes were read. The file may stand there under another
    /// one by now, and a listing without it would make its rename unrecognisable.
    bool addEntries(int open, const std::string &folder, std::uint32_t position)
    {
        bool isComplete = true;
        for (const FolderReader::Entry &entry : m_reader.entries()) {
            if (FolderRules::isHidden(entry.name))
                continue;
            if (entry.type == DT_DIR)
                addFolder(folder, entry.name);
            if (entry.type != DT_REG && entry.type != DT_UNKNOWN)
                continue;
            const Status status(open, entry.name.data());
            if (status.failure != 0)
                isComplete = isComplete && !isVanished(status.failure);
            else if (S_ISREG(status.values.stx_mode))
                addFile(entry.name, status.values, position);
            else if (S_ISDIR(status.values.stx_mode))
                addFolder(folder, entry.name);
        }
        return isComplete;
    }

    void addFolder(const std::string &folder, std::string_view name)
    {
        if (FolderRules::isDescendedInto(name))
            m_subfolders.push_back(joined(folder, name));
    }

    void addFile(std::string_view name, const struct statx &status, std::uint32_t folder)
    {
        const FileTime modified(std::chrono::seconds(status.stx_mtime.tv_sec) +
                                std::chrono::nanoseconds(status.stx_mtime.tv_nsec));
        const std::uint64_t device = (std::uint64_t(status.stx_dev_major) << 32U) | status.stx_dev_minor;
        m_found.files.push_back({device, status.stx_ino, status.stx_size, modified, m_found.names.size(),
                                 folder, static_cast<std::uint16_t>(name.size())});
        m_found.names += name;
    }

    const Root &m_root;
    FolderReader m_reader;
    std::vector<std::string> m_subfolders;
    FoundFiles m_found;
};

/// Walks the trees on this thread and a second one: each takes the next tree that no one has taken yet.
void visitShared(const Root &root, FileCollector &here, std::span<const std::string> trees)
{
    std::atomic<std::size_t> next = 0;
    const auto work = [&](FileCollector &collector) {
        for (std::size_t tree = next++; tree < trees.size(); tree = next++)
            collector.visitTree(trees[tree]);
    };
    FileCollector there(root);
    // Where the system has no thread to give, the second half waits for this thread and finds nothing to do.
    std::future<void> helper = std::async(std::launch::async | std::launch::deferred, [&] { work(there); });
    work(here);
    helper.get();
    here.found().append(std::move(there.found()));
}

} // namespace

void FoundFiles::append(FoundFiles &&other)
{
    const auto firstFolder = static_cast<std::uint32_t>(folders.size());
    const std::size_t firstName = names.size();
    files.reserve(files.size() + other.files.size());
    for (FoundFile file : other.files) {
        file.folder += firstFolder;
        file.nameOffset += firstName;
        files.push_back(file);
    }
    std::ranges::move(other.folders, std::back_inserter(folders));
    std::ranges::move(other.unreadable, std::back_inserter(unreadable));
    names += other.names;
}

namespace FolderWalk {

FoundFiles regularFiles(const fs::path &path)
{
    const Root root(path);
    FileCollector collector(root);
    std::vector<std::string> pending{std::string()};
    // Breadth first, so that the trees to share out are many and of like size.
    std::size_t visited = 0;
    while (visited < pending.size() && pending.size() - visited < foldersToShare) {
        const std::string folder = pending[visited];
        ++visited;
        collector.visit(folder, pending);
    }
    if (visited < pending.size())
        visitShared(root, collector, std::span(pending).subspan(visited));
    return std::move(collector.found());
}

void folders(const fs::path &path, const std::function<bool(const std::string &path)> &enter)
{
    FolderReader reader;
    std::vector<std::string> pending{path.native()};
    bool isRoot = true;
    while (!pending.empty()) {
        const std::string folder = std::move(pending.back());
        pending.pop_back();
        const int noFollow = isRoot ? 0 : O_NOFOLLOW;
        isRoot = false;
        if (!enter(folder))
            continue;
        const FileDescriptor open(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | noFollow));
        if (!open.isOpen() || reader.read(open.get()) != 0)
            continue;
        for (const FolderReader::Entry &entry : reader.entries()) {
            const bool isFolder = entry.type == DT_DIR || (entry.type == DT_UNKNOWN && [&] {
                                      const Status status(open.get(), entry.name.data());
                                      return status.failure == 0 && S_ISDIR(status.values.stx_mode);
                                  }());
            if (isFolder && FolderRules::isDescendedInto(entry.name))
                pending.push_back(joined(folder, entry.name));
        }
    }
}

} // namespace FolderWalk

} // namespace quorvalent
