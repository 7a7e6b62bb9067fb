#include "platform/cage/Landlock.h"

#include "platform/Error.h"
#include "platform/FileDescriptor.h"

#include <fcntl.h>
#include <linux/landlock.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <cerrno>

namespace quorvalent {

namespace {

// What the C library's kernel headers may be too old to name.
constexpr std::uint64_t accessTruncate = 1ULL << 14;
constexpr std::uint64_t accessDeviceControl = 1ULL << 15;
constexpr std::uint64_t allTcp = 0b11;    // bind, connect
constexpr std::uint64_t allScopes = 0b11; // abstract sockets, signals

struct RulesetAttributes
{
    std::uint64_t files = 0;
    std::uint64_t network = 0; // since version 4
    std::uint64_t scopes = 0;  // since version 6
};

// A kernel takes fields that it does not know as long as they are zero.
RulesetAttributes guardedBy(int version)
{
    RulesetAttributes guarded;
    guarded.files = (LANDLOCK_ACCESS_FS_MAKE_SYM << 1) - 1; // all of version 1
    if (version >= 2)
        guarded.files |= LANDLOCK_ACCESS_FS_REFER;
    if (version >= 3)
        guarded.files |= accessTruncate;
    if (version >= 4)
        guarded.network = allTcp;
    if (version >= 5)
        guarded.files |= accessDeviceControl;
    if (version >= 6)
        guarded.scopes = allScopes;
    return guarded;
}

constexpr std::uint64_t toRead = LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_READ_DIR;
constexpr std::uint64_t toExecute = LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_EXECUTE;
// Not among them: devices, sockets, pipes, symbolic links, execution.
constexpr std::uint64_t toWrite = toRead | LANDLOCK_ACCESS_FS_WRITE_FILE | LANDLOCK_ACCESS_FS_MAKE_REG |
                                  LANDLOCK_ACCESS_FS_MAKE_DIR | LANDLOCK_ACCESS_FS_REMOVE_FILE |
                                  LANDLOCK_ACCESS_FS_REMOVE_DIR | LANDLOCK_ACCESS_FS_REFER | accessTruncate;
// The rights that a rule about a single file may hold.
constexpr std::uint64_t ofFiles = toExecute | LANDLOCK_ACCESS_FS_WRITE_FILE | accessTruncate;

class Ruleset
{
public:
    explicit Ruleset(int version)
        : m_guarded(guardedBy(version))
        , m_ruleset(static_cast<int>(
              ::syscall(SYS_landlock_create_ruleset, &m_guarded, sizeof(RulesetAttributes), 0)))
    {
        if (!m_ruleset.isOpen())
            throw FileError(errno, "landlock");
    }

    void allow(const FileDescriptor &place, const std::filesystem::path &path, std::uint64_t access) const
    {
        struct stat status = {};
        if (::fstat(place.get(), &status) != 0)
            throw FileError(errno, path);
        landlock_path_beneath_attr rule = {};
        rule.allowed_access = access & m_guarded.files;
        if (!S_ISDIR(status.st_mode))
            rule.allowed_access &= ofFiles;
        rule.parent_fd = place.get();
        if (::syscall(SYS_landlock_add_rule, m_ruleset.get(), LANDLOCK_RULE_PATH_BENEATH, &rule, 0) != 0)
            throw FileError(errno, path);
    }

    void allowIfThere(const std::vector<std::filesystem::path> &paths, std::uint64_t access) const
    {
        for (const std::filesystem::path &path : paths) {
            // Links are followed: the libraries' folders are often links.
            const FileDescriptor place(::open(path.c_str(), O_PATH | O_CLOEXEC));
            if (place.isOpen())
                allow(place, path, access);
        }
    }

    void restrictThisThread() const
    {
        if (::syscall(SYS_landlock_restrict_self, m_ruleset.get(), 0) != 0)
            throw FileError(errno, "landlock");
    }

private:
    RulesetAttributes m_guarded;
    FileDescriptor m_ruleset;
};

} // namespace

void LandlockRules::restrictThisThread(int version) const
{
    const Ruleset ruleset(version);
    if (!workFolder.empty()) {
        const FileDescriptor folder(
            ::open(workFolder.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (!folder.isOpen())
            throw FileError(errno, workFolder);
        ruleset.allow(folder, workFolder, toWrite);
    }
    ruleset.allowIfThere(devices, toWrite);
    ruleset.allowIfThere(readable, toRead);
    ruleset.allowIfThere(programs, toExecute);
    ruleset.restrictThisThread();
}

} // namespace quorvalent
