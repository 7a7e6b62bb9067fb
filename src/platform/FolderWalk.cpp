#include "platform/FolderWalk.h"

#include "platform/FileDescriptor.h"
#include "platform/FolderReader.h"
#include "platform/FolderRules.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <future>
#include <iterator>
#include <mutex>
#include <utility>

namespace quorvalent {

namespace {

using Clock = std::chrono::steady_clock;

// So many folders waiting are worth a second thread.
constexpr std::size_t foldersToShare = 64;

// How often a folder is read because a file left it between its name and its attributes. On a busy machine a
// reading can take as long as somebody takes to rename the file once more.
constexpr int attempts = 8;

FileTime timeOf(const struct statx_timestamp &time)
{
    return FileTime(std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec));
}

/// What statx told, or why it did not.
struct Status
{
    struct statx values;
    int failure;

    Status(int folder, const char *name, int synchronisation)
    {
        const int flags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT | synchronisation;
        constexpr unsigned wanted =
            STATX_TYPE | STATX_INO | STATX_SIZE | STATX_MTIME | STATX_CTIME | STATX_NLINK;
        failure = ::statx(folder, name, flags, wanted, &values) == 0 ? 0 : errno;
    }

    [[nodiscard]] FoundFile file() const
    {
        FoundFile file;
        file.device = (std::uint64_t(values.stx_dev_major) << 32U) | values.stx_dev_minor;
        file.inode = values.stx_ino;
        file.sizeBytes = values.stx_size;
        file.modified = timeOf(values.stx_mtime);
        file.hasOtherNames = values.stx_nlink > 1;
        return file;
    }
};

} // namespace

/// Reads one folder after another, reusing its memory. Each thread has its own.
class FolderCollector
{
public:
    FolderCollector(const TreeReader &tree, FileTime freshFrom)
        : m_tree(tree)
        , m_freshFrom(freshFrom)
    {}

    /// Adds the folder to the read ones and leaves its subfolders in `subfolders`.
    void visit(TreeReader::Pending &&pending)
    {
        subfolders.clear();
        const std::optional<int> watch = m_tree.m_enter(pending.path, pending.place);
        if (!watch)
            return;
        TreeReader::Folder folder{.contents = {}, .place = pending.place, .watch = *watch, .failure = 0};
        folder.contents.path = std::move(pending.path);
        const int noFollow = pending.place == TreeReader::Place::Root ? 0 : O_NOFOLLOW;
        const FileDescriptor open(
            ::open(folder.contents.path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK | noFollow));
        folder.failure = open.isOpen() ? collect(open.get(), folder.contents) : errno;
        read.push_back(std::move(folder));
    }

    std::vector<TreeReader::Folder> read;
    std::vector<std::string> subfolders;

private:
    int collect(int open, FolderContents &contents)
    {
        for (int attempt = 0; attempt < attempts; ++attempt) {
            m_files.clear();
            m_names.clear();
            contents.unknown.clear();
            contents.sought.clear();
            subfolders.clear();
            if (const int failure = m_reader.read(open); failure != 0)
                return failure;
            if (addEntries(open, contents))
                break;
        }
        // Copies of the exact size: most of them are kept for as long as the program runs.
        contents.files.assign(m_files.begin(), m_files.end());
        contents.names.assign(m_names);
        return 0;
    }

    /// False when a name was gone before its attributes were read. The file may stand there under another
    /// one by now, and a listing without it would make its rename unrecognisable.
    bool addEntries(int open, FolderContents &contents)
    {
        bool isComplete = true;
        for (const FolderReader::Entry &entry : m_reader.entries()) {
            if (FolderRules::isHidden(entry.name)) {
                if (m_tree.m_isSought && m_tree.m_isSought(entry.name))
                    contents.sought.emplace_back(entry.name);
                continue;
            }
            if (entry.type == DT_DIR)
                addFolder(contents.path, entry.name);
            if (entry.type != DT_REG && entry.type != DT_UNKNOWN)
                continue;
            // Attributes as the system has them at hand: a network volume is not asked again for each file.
            const Status status(open, entry.name.data(), AT_STATX_DONT_SYNC);
            if (isVanished(status.failure))
                isComplete = false;
            else if (status.failure != 0)
                contents.unknown.emplace_back(entry.name);
            else if (S_ISREG(status.values.stx_mode))
                addFile(entry.name, status);
            else if (S_ISDIR(status.values.stx_mode))
                addFolder(contents.path, entry.name);
        }
        return isComplete;
    }

    void addFolder(const std::string &folder, std::string_view name)
    {
        if (FolderRules::isDescendedInto(name))
            subfolders.push_back(joined(folder, name));
    }

    void addFile(std::string_view name, const Status &status)
    {
        FoundFile file = status.file();
        file.isFresh = timeOf(status.values.stx_ctime) >= m_freshFrom;
        file.nameOffset = static_cast<std::uint32_t>(m_names.size());
        file.nameLength = static_cast<std::uint16_t>(name.size());
        m_files.push_back(file);
        m_names += name;
    }

    const TreeReader &m_tree;
    const FileTime m_freshFrom;
    FolderReader m_reader;
    std::vector<FoundFile> m_files;
    std::string m_names;
};

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

FileLook lookAt(const std::string &folder, std::string_view name)
{
    const Status status(AT_FDCWD, joined(folder, name).c_str(), AT_STATX_SYNC_AS_STAT);
    if (status.failure != 0)
        return {.result = isVanished(status.failure) ? FileLook::Result::Nothing : FileLook::Result::Unknown,
                .file = {},
                .changed = {}};
    if (!S_ISREG(status.values.stx_mode))
        return {};
    return {
        .result = FileLook::Result::File, .file = status.file(), .changed = timeOf(status.values.stx_ctime)};
}

TreeReader::TreeReader(Enter enter, std::chrono::milliseconds freshSpan, IsSought isSought)
    : m_enter(std::move(enter))
    , m_freshSpan(freshSpan)
    , m_isSought(std::move(isSought))
{}

void TreeReader::add(std::string path, Place place)
{
    m_pending.push_back({std::move(path), place});
}

void TreeReader::step(std::chrono::milliseconds budget, const std::function<void(Folder &&)> &take)
{
    const auto end = Clock::now() + budget;
    const FileTime freshFrom =
        std::chrono::time_point_cast<FileTime::duration>(std::chrono::system_clock::now()) - m_freshSpan;
    std::mutex mutex; // guards m_pending
    const auto work = [&](FolderCollector &collector, std::size_t fewest) {
        std::unique_lock lock(mutex);
        while (!m_pending.empty() && m_pending.size() < fewest && Clock::now() < end) {
            // Breadth first while they are few, so that there is something to share; then depth first, so
            // that they stay few.
            const bool isDeep = m_pending.size() >= foldersToShare;
            Pending next = std::move(isDeep ? m_pending.back() : m_pending.front());
            isDeep ? m_pending.pop_back() : m_pending.pop_front();
            lock.unlock();
            collector.visit(std::move(next));
            lock.lock();
            for (std::string &subfolder : collector.subfolders)
                m_pending.push_back({std::move(subfolder), Place::Inside});
        }
    };
    FolderCollector here(*this, freshFrom);
    work(here, foldersToShare);
    if (!m_pending.empty() && Clock::now() < end) {
        constexpr auto any = static_cast<std::size_t>(-1);
        FolderCollector there(*this, freshFrom);
        // Where the system has no thread to give, the second half waits for this thread.
        std::future<void> helper =
            std::async(std::launch::async | std::launch::deferred, [&] { work(there, any); });
        work(here, any);
        helper.get();
        std::ranges::move(there.read, std::back_inserter(here.read));
    }
    for (Folder &folder : here.read)
        take(std::move(folder));
}

} // namespace quorvalent
