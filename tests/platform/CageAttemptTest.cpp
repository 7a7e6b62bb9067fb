#include "CageWorld.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <sys/xattr.h>

#include <array>
#include <csignal>
#include <cstdint>

namespace quorvalent::test {

namespace {

namespace fs = std::filesystem;

int opened(const fs::path &path, int flags)
{
    return failureOf(::open(path.c_str(), flags, 0600) >= 0);
}

template <typename Address>
int connected(const Address &address)
{
    const int socket = ::socket(address.sun_family, SOCK_STREAM, 0);
    return failureOf(socket >= 0 &&
                     ::connect(socket, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0);
}

int connected(const sockaddr_in &address)
{
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    return failureOf(socket >= 0 &&
                     ::connect(socket, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0);
}

// The result of a call made in a child, for what a process can do to itself only once.
int inFork(const std::function<int()> &call)
{
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(call());
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : EINTR;
}

// Something a hostile decoder would try: succeeds (0) in a process without a cage.
struct Attempt
{
    const char *name;
    int refusedByLandlock; ///< since this version of its interface; 0 never
    bool refusedByFilter;
    int (*tried)(const CageWorld &world);
};

void PrintTo(const Attempt &attempt, std::ostream *out)
{
    *out << attempt.name;
}

constexpr int never = 0;

const std::array attempts{
    Attempt{"readsTheUsersTable", 1, false,
            [](const CageWorld &) { return opened("/etc/passwd", O_RDONLY); }},
    Attempt{"readsTheHome", 1, false,
            [](const CageWorld &w) { return opened(w.at("home/diary"), O_RDONLY); }},
    Attempt{"listsTheHome", 1, false,
            [](const CageWorld &w) { return opened(w.at("home"), O_RDONLY | O_DIRECTORY); }},
    Attempt{"followsALinkOut", 1, false,
            [](const CageWorld &w) { return opened(w.at("work/link"), O_RDONLY); }},
    Attempt{"createsInTheHome", 1, false,
            [](const CageWorld &w) { return opened(w.at("home/new"), O_WRONLY | O_CREAT); }},
    Attempt{"overwritesTheHome", 1, false,
            [](const CageWorld &w) { return opened(w.at("home/diary"), O_RDWR); }},
    Attempt{"overwritesALibrary", 1, false,
            [](const CageWorld &w) { return opened(w.at("shared/library"), O_RDWR); }},
    Attempt{"emptiesByPath", 3, true,
            [](const CageWorld &w) { return failureOf(::truncate(w.at("home/diary").c_str(), 0) == 0); }},
    Attempt{"emptiesWhileReading", 3, true,
            [](const CageWorld &w) { return opened(w.at("shared/library"), O_RDONLY | O_TRUNC); }},
    Attempt{"removesInTheHome", 1, false,
            [](const CageWorld &w) { return failureOf(::unlink(w.at("home/diary").c_str()) == 0); }},
    Attempt{"movesOut", 1, false,
            [](const CageWorld &w) {
                return failureOf(::rename(w.at("work/source").c_str(), w.at("home/source").c_str()) == 0);
            }},
    Attempt{"linksIn", 1, true,
            [](const CageWorld &w) {
                return failureOf(::link(w.at("home/diary").c_str(), w.at("work/diary").c_str()) == 0);
            }},
    Attempt{"linksWithinItsFolder", never, true,
            [](const CageWorld &w) {
                return failureOf(::link(w.at("work/source").c_str(), w.at("work/new").c_str()) == 0);
            }},
    Attempt{"makesALink", 1, true,
            [](const CageWorld &w) {
                return failureOf(::symlink("/etc/passwd", w.at("work/new").c_str()) == 0);
            }},
    Attempt{"makesAPipe", 1, true,
            [](const CageWorld &w) { return failureOf(::mkfifo(w.at("work/new").c_str(), 0600) == 0); }},
    Attempt{"startsAnyProgram", 1, false,
            [](const CageWorld &) {
                return inFork([] {
                    ::execl("/bin/true", "true", nullptr);
                    return errno;
                });
            }},
    Attempt{"connectsToLoopback", 4, true, [](const CageWorld &w) { return connected(w.tcp()); }},
    Attempt{"connectsToASocketFile", never, true,
            [](const CageWorld &w) { return connected(w.unixSocket()); }},
    Attempt{"connectsToAnAbstractSocket", 6, true,
            [](const CageWorld &w) { return connected(w.abstractSocket()); }},
    Attempt{"makesASocketPair", never, true,
            [](const CageWorld &) {
                std::array<int, 2> pair = {};
                return failureOf(::socketpair(AF_UNIX, SOCK_STREAM, 0, pair.data()) == 0);
            }},
    Attempt{"signalsItsParent", 6, true,
            [](const CageWorld &) { return failureOf(::kill(::getppid(), 0) == 0); }},
    Attempt{"signalsEverybody", never, true, [](const CageWorld &) { return failureOf(::kill(-1, 0) == 0); }},
    Attempt{"tracesItsParent", 1, true,
            [](const CageWorld &) {
                return failureOf(::ptrace(PTRACE_SEIZE, ::getppid(), nullptr, nullptr) == 0);
            }},
    Attempt{"readsItsParentsMemory", 1, true,
            [](const CageWorld &) {
                static int value = 0; // at the same place in the parent
                int copy = 0;
                const iovec here{&copy, sizeof(copy)};
                const iovec there{&value, sizeof(value)};
                return failureOf(::process_vm_readv(::getppid(), &here, 1, &there, 1, 0) == sizeof(copy));
            }},
    Attempt{"asksForItsParentsLimits", never, true,
            [](const CageWorld &) {
                rlimit limit = {};
                return failureOf(::prlimit(::getppid(), RLIMIT_FSIZE, nullptr, &limit) == 0);
            }},
    Attempt{"slowsItsParentDown", never, true,
            [](const CageWorld &) {
                return failureOf(::setpriority(PRIO_PROCESS, static_cast<id_t>(::getppid()), 19) == 0);
            }},
    Attempt{"hasItsParentRunWhenIdle", never, true,
            [](const CageWorld &) {
                std::array<std::uint32_t, 12> attributes{sizeof(attributes), SCHED_IDLE};
                return failureOf(::syscall(SYS_sched_setattr, ::getppid(), attributes.data(), 0) == 0);
            }},
    Attempt{"pinsItsParentToAProcessor", never, true,
            [](const CageWorld &) {
                cpu_set_t processors;
                return failureOf(::sched_getaffinity(::getppid(), sizeof(processors), &processors) == 0 &&
                                 ::sched_setaffinity(::getppid(), sizeof(processors), &processors) == 0);
            }},
    Attempt{"startsASession", never, true,
            [](const CageWorld &) { return inFork([] { return failureOf(::setsid() >= 0); }); }},
    Attempt{"leavesItsGroup", never, true,
            [](const CageWorld &) { return inFork([] { return failureOf(::setpgid(0, 0) == 0); }); }},
    Attempt{"outlivesItsParent", never, true,
            [](const CageWorld &) { return failureOf(::prctl(PR_SET_PDEATHSIG, 0) == 0); }},
    Attempt{"changesAMode", never, true,
            [](const CageWorld &w) { return failureOf(::chmod(w.at("home/diary").c_str(), 0666) == 0); }},
    Attempt{"changesTimes", never, true,
            [](const CageWorld &w) {
                return failureOf(::utimensat(AT_FDCWD, w.at("home/diary").c_str(), nullptr, 0) == 0);
            }},
    Attempt{"asksForAttributes", never, true,
            [](const CageWorld &w) {
                return failureOf(::listxattr(w.at("home/diary").c_str(), nullptr, 0) >= 0);
            }},
    Attempt{"flushesAllDisks", never, true,
            [](const CageWorld &) { return failureOf(::syscall(SYS_sync) == 0); }},
    Attempt{"hasTheKernelWriteLater", never, true,
            [](const CageWorld &) {
                unsigned long context = 0;
                return failureOf(::syscall(SYS_io_setup, 1, &context) == 0);
            }},
    Attempt{"makesAFileInMemory", never, true,
            [](const CageWorld &) { return failureOf(::memfd_create("m", 0) >= 0); }},
    Attempt{"sharesMemory", never, true,
            [](const CageWorld &) {
                return failureOf(::mmap(nullptr, 4096, PROT_READ, MAP_SHARED | MAP_ANONYMOUS, -1, 0) !=
                                 MAP_FAILED);
            }},
    Attempt{"leavesNameSpaces", never, true,
            [](const CageWorld &) { return failureOf(::unshare(CLONE_FILES) == 0); }},
};

class CageAttempt : public testing::TestWithParam<Attempt>
{};

} // namespace

TEST_P(CageAttempt, isRefusedByEachPartThatGuardsIt)
{
    const Attempt &attempt = GetParam();
    const CageReach machine = CageReach::ofThisMachine();
    ASSERT_GE(machine.landlockVersion, 1) << "this kernel offers no Landlock to test";
    ASSERT_TRUE(machine.filtersSystemCalls);

    std::vector<CageReach> reaches{
        {0, false}, {machine.landlockVersion, false}, {0, true}, {machine.landlockVersion, true}};
    if (attempt.refusedByLandlock > 1)
        reaches.insert(reaches.end(),
                       {{attempt.refusedByLandlock - 1, false}, {attempt.refusedByLandlock, false}});
    for (const CageReach reach : reaches) {
        if (reach.landlockVersion > machine.landlockVersion)
            continue;
        const CageWorld world;
        const Caged caged = runCaged(world.cage(), Rights::Nobody, reach,
                                     [&] { return std::to_string(attempt.tried(world)); });
        const bool guarded =
            (attempt.refusedByLandlock != never && reach.landlockVersion >= attempt.refusedByLandlock) ||
            (reach.filtersSystemCalls && attempt.refusedByFilter);
        EXPECT_EQ(caged.status, 0);
        EXPECT_EQ(caged.text == "0", !guarded) << caged.text << " with Landlock " << reach.landlockVersion
                                               << ", filter " << reach.filtersSystemCalls;
    }
}

INSTANTIATE_TEST_SUITE_P(Each, CageAttempt, testing::ValuesIn(attempts),
                         [](const auto &row) { return std::string(row.param.name); });

} // namespace quorvalent::test
