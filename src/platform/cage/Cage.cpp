#include "platform/cage/Cage.h"

#include "platform/Error.h"
#include "platform/cage/Landlock.h"
#include "platform/cage/SystemCallFilter.h"

#include <fcntl.h>
#include <link.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <fstream>

namespace quorvalent {

namespace {

// Rules for one thread would leave the others free, and nobody would notice. The checker for races has a
// thread of its own from the start, which reads nothing of a file: built with it, there is nothing to expect.
void expectSingleThread()
{
#if !defined(__SANITIZE_THREAD__)
    const std::filesystem::directory_iterator threads("/proc/self/task");
    if (std::distance(begin(threads), end(threads)) != 1)
        throw FileError(EBUSY, "thread");
#endif
}

void limit(__rlimit_resource resource, std::optional<std::uint64_t> wanted)
{
    rlimit current = {};
    if (::getrlimit(resource, &current) != 0)
        throw FileError(errno, "rlimit");
    const rlim_t most = std::min(current.rlim_max, rlim_t{wanted.value_or(RLIM_INFINITY)});
    const rlimit set = {.rlim_cur = std::min(current.rlim_cur, most), .rlim_max = most};
    if (::setrlimit(resource, &set) != 0)
        throw FileError(errno, "rlimit");
}

void apply(const CageLimits &limits)
{
    // One byte, not none: a system whose core dumps go to a program (apport, systemd-coredump) starts that
    // program at a limit of 0 and only at 1 does not.
    limit(RLIMIT_CORE, 1);
    limit(RLIMIT_FSIZE, limits.fileBytes);
    // Else the first byte too much would be a death by a signal instead of an error.
    std::signal(SIGXFSZ, SIG_IGN);
    limit(RLIMIT_NPROC, limits.userTasks);
    limit(RLIMIT_NOFILE, limits.openFiles);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // they reserve terabytes for themselves
    limit(RLIMIT_DATA, limits.memoryBytes);
#endif
}

// When the memory of the machine runs out, this is what is to go. Best effort: a container may refuse.
void dieFirstWithoutMemory()
{
    std::ofstream("/proc/self/oom_score_adj") << 1000;
}

// Of what root may do, only what a work folder in another user's home needs is left.
void giveUpCapabilities()
{
    constexpr std::uint32_t kept = (1U << CAP_DAC_OVERRIDE) | (1U << CAP_DAC_READ_SEARCH);
    __user_cap_header_struct header = {.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0};
    std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> sets{};
    if (::syscall(SYS_capget, &header, sets.data()) != 0)
        throw FileError(errno, "capabilities");
    const std::uint32_t remaining = sets[0].permitted & kept;
    sets = {};
    sets[0].permitted = remaining;
    sets[0].effective = remaining;
    if (::syscall(SYS_capset, &header, sets.data()) != 0)
        throw FileError(errno, "capabilities");
}

// The loader that our own program and so all of the system's start with.
std::filesystem::path programLoader()
{
    std::filesystem::path loader;
    const auto ofProgram = [](dl_phdr_info *object, std::size_t, void *found) {
        for (std::size_t at = 0; at < object->dlpi_phnum; ++at) {
            const ElfW(Phdr) &header = object->dlpi_phdr[at];
            if (header.p_type == PT_INTERP)
                *static_cast<std::filesystem::path *>(found) =
                    reinterpret_cast<const char *>(object->dlpi_addr + header.p_vaddr);
        }
        return 1; // the program comes first; the rest are libraries
    };
    ::dl_iterate_phdr(ofProgram, &loader);
    return loader;
}

} // namespace

Cage Cage::forConversion(const std::filesystem::path &workFolder)
{
    Cage cage = forReading();
    cage.workFolder = workFolder;
    cage.limits = CageLimits::forConversion(workFolder);
    return cage;
}

Cage Cage::forReading()
{
    return {.workFolder = {},
            .readable = {"/usr/lib", "/usr/lib64", "/usr/lib32", "/usr/libx32", "/lib", "/lib64",
                         "/usr/local/lib", "/usr/share", "/etc/ld.so.cache", "/etc/localtime", "/dev/urandom",
                         // what x265's library for memory nodes asks, about this process alone
                         "/sys/devices/system/cpu", "/sys/devices/system/node", "/proc/self/status"},
            .programs = {},
            .limits = CageLimits::forReading()};
}

void Cage::enter(const CageReach &reach) const
{
    expectSingleThread();
    ::close_range(3, ~0U, 0);
    dieFirstWithoutMemory();
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0)
        throw FileError(errno, "no_new_privs");
    apply(limits);
    giveUpCapabilities();
    if (reach.landlockVersion > 0) {
        LandlockRules rules{
            .workFolder = workFolder, .devices = {"/dev/null"}, .readable = readable, .programs = programs};
        rules.programs.push_back(programLoader());
        rules.restrictThisThread(reach.landlockVersion);
    }
    // Not sooner: it also takes /proc/self away.
    if (::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0) != 0)
        throw FileError(errno, "dumpable");
    if (reach.filtersSystemCalls)
        SystemCallFilter::restrictThisThread(reach.landlockVersion);
}

} // namespace quorvalent
