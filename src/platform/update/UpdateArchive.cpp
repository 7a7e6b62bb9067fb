#include "platform/update/UpdateArchive.h"

#include "platform/FileDescriptor.h"
#include "platform/MappedFile.h"
#include "platform/update/UpdateError.h"

#include <QCryptographicHash>

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace quorvalent::UpdateArchive {

namespace {

namespace fs = std::filesystem;
using namespace Qt::StringLiterals;

// Several times what the bundle with every library holds; enough for no more than a nuisance.
constexpr std::uint64_t largestContentBytes = 4ULL << 30U;
constexpr int mostEntries = 50'000;
constexpr std::size_t readBlockBytes = 1U << 18U;

UpdateError damaged()
{
    return {UpdateError::Kind::BadArchive,
            u"L’archive de la mise à jour est endommagée. Rien n’a été installé."_s};
}

void check(int result, const fs::path &path)
{
    if (result < 0)
        throw FileError(errno, path);
}

struct CloseArchive
{
    void operator()(archive *reader) const { archive_read_free(reader); }
};
using Reader = std::unique_ptr<archive, CloseArchive>;

Reader openArchive(const fs::path &path)
{
    Reader reader(archive_read_new());
    archive_read_support_format_tar(reader.get());
    archive_read_support_filter_zstd(reader.get());
    archive_read_support_filter_gzip(reader.get());
    archive_read_support_filter_xz(reader.get());
    if (archive_read_open_filename(reader.get(), path.c_str(), readBlockBytes) != ARCHIVE_OK)
        throw damaged();
    return reader;
}

/// The entry's place below the top folder; empty for the top folder itself. Nothing may climb.
fs::path placeOf(const fs::path &entry, std::optional<std::string> &topFolder)
{
    fs::path place;
    bool isTop = true;
    for (const fs::path &part : entry) {
        if (part.empty() || part == ".")
            continue; // "./name" and "name/"
        if (part == ".." || part.is_absolute())
            throw damaged();
        if (!std::exchange(isTop, false)) {
            place /= part;
            continue;
        }
        if (!topFolder)
            topFolder = part.native();
        if (*topFolder != part.native())
            throw damaged();
    }
    return place;
}

/// Whether a link that stands at `place` stays in the bundle by its words, wherever the bundle stands. Where
/// it leads is known once everything is there.
bool staysInside(const fs::path &place, const fs::path &target)
{
    if (target.empty() || target.is_absolute())
        return false;
    const fs::path end = (place.parent_path() / target).lexically_normal();
    return !end.empty() && *end.begin() != "..";
}

class Unpacking
{
public:
    Unpacking(const fs::path &bundle, const std::function<bool()> &isCancelled)
        : m_bundle(bundle)
        , m_isCancelled(isCancelled)
    {
        check(::mkdir(bundle.c_str(), S_IRWXU | S_IRGRP | S_IXGRP | S_IROTH | S_IXOTH), bundle);
        m_root = FileDescriptor(::open(bundle.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW));
        check(m_root.get(), bundle);
    }

    void run(archive *reader)
    {
        archive_entry *entry = nullptr;
        for (int entries = 0;; ++entries) {
            const int result = archive_read_next_header(reader, &entry);
            if (result == ARCHIVE_EOF)
                break;
            if (result != ARCHIVE_OK || entries == mostEntries || archive_entry_hardlink(entry) != nullptr)
                throw damaged();
            const char *name = archive_entry_pathname(entry);
            if (name == nullptr)
                throw damaged();
            make(reader, entry, placeOf(name, m_topFolder));
        }
        if (!m_topFolder)
            throw damaged();
        for (const fs::path &link : m_links)
            requireInside(link);
        check(::syncfs(m_root.get()), m_bundle);
    }

private:
    void make(archive *reader, archive_entry *entry, const fs::path &place)
    {
        const mode_t type = archive_entry_filetype(entry);
        if (place.empty()) {
            if (type != AE_IFDIR)
                throw damaged();
            return;
        }
        const FileDescriptor folder = folderOf(place.parent_path());
        const fs::path name = place.filename();
        if (type == AE_IFDIR)
            makeFolder(folder.get(), name);
        else if (type == AE_IFREG)
            writeFile(reader, entry, folder.get(), name);
        else if (type == AE_IFLNK)
            makeLink(folder.get(), place, archive_entry_symlink(entry));
        else
            throw damaged();
    }

    // Component by component and never through a link, so that no earlier entry can redirect a later one.
    FileDescriptor folderOf(const fs::path &place)
    {
        FileDescriptor folder(::fcntl(m_root.get(), F_DUPFD_CLOEXEC, 0));
        check(folder.get(), m_bundle);
        for (const fs::path &part : place) {
            makeFolder(folder.get(), part);
            FileDescriptor next(
                ::openat(folder.get(), part.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW));
            if (!next.isOpen() && (errno == ELOOP || errno == ENOTDIR))
                throw damaged();
            check(next.get(), m_bundle / place);
            folder = std::move(next);
        }
        return folder;
    }

    void makeFolder(int parent, const fs::path &name) const
    {
        if (::mkdirat(parent, name.c_str(), S_IRWXU | S_IRGRP | S_IXGRP | S_IROTH | S_IXOTH) != 0 &&
            errno != EEXIST)
            throw FileError(errno, m_bundle / name);
    }

    void makeLink(int folder, const fs::path &place, const char *target)
    {
        if (target == nullptr || !staysInside(place, target))
            throw damaged();
        check(::symlinkat(target, folder, place.filename().c_str()), m_bundle / place);
        m_links.push_back(m_bundle / place);
    }

    // One link may lead through another: "b" to ".", then "a" to "b/.." is above the bundle.
    void requireInside(const fs::path &link) const
    {
        std::error_code failed;
        const fs::path root = fs::canonical(m_bundle, failed);
        const fs::path end = failed ? fs::path() : fs::canonical(link, failed);
        if (failed || std::mismatch(root.begin(), root.end(), end.begin(), end.end()).first != root.end())
            throw damaged();
    }

    void writeFile(archive *reader, archive_entry *entry, int folder, const fs::path &name)
    {
        const mode_t mode = (archive_entry_perm(entry) & S_IXUSR) != 0 ? 0755 : 0644;
        const FileDescriptor file(
            ::openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, mode));
        check(file.get(), m_bundle / name);
        const void *block = nullptr;
        std::size_t size = 0;
        la_int64_t at = 0;
        for (;;) {
            if (m_isCancelled())
                throw UpdateError(UpdateError::Kind::NoUpdate, u"La mise à jour a été annulée."_s);
            const int result = archive_read_data_block(reader, &block, &size, &at);
            if (result == ARCHIVE_EOF)
                break;
            if (result != ARCHIVE_OK || (m_contentBytes += size) > largestContentBytes)
                throw damaged();
            writeBlock(file.get(), static_cast<const char *>(block), size, at, name);
        }
        // The hole that a sparse file may end in, and rights that the umask took away.
        check(::ftruncate(file.get(), archive_entry_size(entry)), m_bundle / name);
        check(::fchmod(file.get(), mode), m_bundle / name);
    }

    void writeBlock(int file, const char *block, std::size_t size, off_t at, const fs::path &name) const
    {
        while (size > 0) {
            const ssize_t written = ::pwrite(file, block, size, at);
            if (written < 0 && errno == EINTR)
                continue;
            check(written < 0 ? -1 : 0, m_bundle / name);
            block += written;
            at += written;
            size -= static_cast<std::size_t>(written);
        }
    }

    const fs::path &m_bundle;
    const std::function<bool()> &m_isCancelled;
    FileDescriptor m_root;
    std::optional<std::string> m_topFolder;
    std::vector<fs::path> m_links;
    std::uint64_t m_contentBytes = 0;
};

} // namespace

void verify(const fs::path &archive, const UpdateRelease &release, const PublicKey &key)
{
    const std::optional<MappedFile> file = MappedFile::open(archive);
    if (!file || file->bytes().size() != release.lengthBytes)
        throw UpdateError(UpdateError::Kind::BadArchive,
                          u"Le téléchargement de la mise à jour est incomplet."_s);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    hash.addData(file->bytes());
    if (hash.result() != release.sha256 || !key.verifies(file->bytes(), release.signature))
        throw UpdateError(UpdateError::Kind::BadArchive,
                          u"La signature de la mise à jour n’est pas valide. Rien n’a été installé."_s);
}

void unpack(const fs::path &archive, const fs::path &bundle, const std::function<bool()> &isCancelled)
{
    const Reader reader = openArchive(archive);
    Unpacking(bundle, isCancelled).run(reader.get());
}

} // namespace quorvalent::UpdateArchive
