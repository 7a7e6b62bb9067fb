#include "platform/cage/Cage.h"

#include "platform/ChildProcess.h"
#include "platform/Error.h"
#include "support/ChildProcess.h"
#include "support/TestFolder.h"
#include "support/TestMedia.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <netinet/in.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <thread>

namespace quorvalent::test {

namespace {

namespace fs = std::filesystem;

// The folders that the tests are about, and somebody who listens, all within reach of any user.
class World
{
public:
    World()
    {
        fs::permissions(m_folder.path(), fs::perms::all);
        for (const char *name : {"work", "work/inner", "home", "shared"}) {
            fs::create_directory(m_folder / name);
            fs::permissions(m_folder / name, fs::perms::all);
        }
        for (const char *name : {"work/source", "home/diary", "shared/library"}) {
            m_folder.write(name, "bytes");
            if (::geteuid() == 0 && ::chown((m_folder / name).c_str(), 65534, 65534) != 0)
                throw std::runtime_error("chown");
        }
        fs::create_symlink(m_folder / "home/diary", m_folder / "work/link");

        m_tcp.sin_family = AF_INET;
        m_tcp.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        m_listeners.push_back(listening(AF_INET, &m_tcp, sizeof(m_tcp)));
        socklen_t length = sizeof(m_tcp);
        ::getsockname(m_listeners.back().get(), reinterpret_cast<sockaddr *>(&m_tcp), &length);
        m_unix.sun_family = AF_UNIX;
        // Absolute paths of temporary folders may be too long for a socket's address.
        const std::string name = fs::relative(m_folder / "home/socket").native();
        const std::string path = (m_folder / "home/socket").native();
        const std::string &address = path.size() < sizeof(m_unix.sun_path) ? path : name;
        std::strncpy(m_unix.sun_path, address.c_str(), sizeof(m_unix.sun_path) - 1);
        m_listeners.push_back(listening(AF_UNIX, &m_unix, sizeof(m_unix)));
        fs::permissions(m_folder / "home/socket", fs::perms::all);
        m_abstract.sun_family = AF_UNIX;
        std::strncpy(m_abstract.sun_path + 1, m_folder.path().filename().c_str(),
                     sizeof(m_abstract.sun_path) - 2);
        m_listeners.push_back(listening(AF_UNIX, &m_abstract, sizeof(m_abstract)));
    }

    [[nodiscard]] fs::path at(const char *name) const { return m_folder / name; }
    [[nodiscard]] const TestFolder &folder() const { return m_folder; }
    [[nodiscard]] const sockaddr_in &tcp() const { return m_tcp; }
    [[nodiscard]] const sockaddr_un &unixSocket() const { return m_unix; }
    [[nodiscard]] const sockaddr_un &abstractSocket() const { return m_abstract; }

    [[nodiscard]] Cage cage() const
    {
        Cage cage = Cage::forConversion(at("work"));
        cage.readable.push_back(at("shared"));
        return cage;
    }

private:
    template <typename Address>
    static FileDescriptor listening(int family, const Address *address, socklen_t size)
    {
        FileDescriptor socket(::socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0));
        if (::bind(socket.get(), reinterpret_cast<const sockaddr *>(address), size) != 0 ||
            ::listen(socket.get(), 64) != 0)
            throw std::runtime_error("no listener");
        return socket;
    }

    TestFolder m_folder;
    std::vector<FileDescriptor> m_listeners;
    sockaddr_in m_tcp = {};
    sockaddr_un m_unix = {};
    sockaddr_un m_abstract = {};
};

// How a caged process ended and what it had to say.
struct Caged
{
    int status = 0; ///< as waitpid tells it
    std::string text;
};

// Runs the body in a caged process whose parent is of the same user and lets anybody trace it, so that what
// is refused is refused by the cage. An exception's text is an answer too.
Caged runCaged(const Cage &cage, Rights rights, const CageReach &reach,
               const std::function<std::string()> &body)
{
    const TestFolder answers;
    fs::permissions(answers.path(), fs::perms::all);
    const fs::path answer = answers / "answer";
    const auto caged = [&] {
        const int said = ::open(answer.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        ::dup2(said, STDOUT_FILENO);
        ::setpgid(0, 0);
        std::string text;
        try {
            cage.enter(reach);
            text = body();
        } catch (const std::exception &failure) {
            text = failure.what();
        }
        ::_exit(::write(STDOUT_FILENO, text.data(), text.size()) == static_cast<ssize_t>(text.size()) ? 0
                                                                                                      : 99);
    };
    const ChildResult guardian = runInChild(rights, [&]() -> std::string {
        ::prctl(PR_SET_DUMPABLE, 1);
        ::prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY);
        const pid_t child = ::fork();
        if (child == 0)
            caged();
        int status = -1;
        ::waitpid(child, &status, 0);
        return std::to_string(status);
    });
    EXPECT_EQ(guardian.signal, 0);
    return {.status = std::stoi(guardian.text), .text = answers.read("answer")};
}

int failureOf(bool succeeded)
{
    return succeeded ? 0 : errno;
}

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
    int (*tried)(const World &world);
};

void PrintTo(const Attempt &attempt, std::ostream *out)
{
    *out << attempt.name;
}

constexpr int never = 0;

const std::array attempts{
    Attempt{"readsTheUsersTable", 1, false, [](const World &) { return opened("/etc/passwd", O_RDONLY); }},
    Attempt{"readsTheHome", 1, false, [](const World &w) { return opened(w.at("home/diary"), O_RDONLY); }},
    Attempt{"listsTheHome", 1, false,
            [](const World &w) { return opened(w.at("home"), O_RDONLY | O_DIRECTORY); }},
    Attempt{"followsALinkOut", 1, false, [](const World &w) { return opened(w.at("work/link"), O_RDONLY); }},
    Attempt{"createsInTheHome", 1, false,
            [](const World &w) { return opened(w.at("home/new"), O_WRONLY | O_CREAT); }},
    Attempt{"overwritesTheHome", 1, false, [](const World &w) { return opened(w.at("home/diary"), O_RDWR); }},
    Attempt{"overwritesALibrary", 1, false,
            [](const World &w) { return opened(w.at("shared/library"), O_RDWR); }},
    Attempt{"emptiesByPath", 3, true,
            [](const World &w) { return failureOf(::truncate(w.at("home/diary").c_str(), 0) == 0); }},
    Attempt{"emptiesWhileReading", 3, true,
            [](const World &w) { return opened(w.at("shared/library"), O_RDONLY | O_TRUNC); }},
    Attempt{"removesInTheHome", 1, false,
            [](const World &w) { return failureOf(::unlink(w.at("home/diary").c_str()) == 0); }},
    Attempt{"movesOut", 1, false,
            [](const World &w) {
                return failureOf(::rename(w.at("work/source").c_str(), w.at("home/source").c_str()) == 0);
            }},
    Attempt{"linksIn", 1, false,
            [](const World &w) {
                return failureOf(::link(w.at("home/diary").c_str(), w.at("work/diary").c_str()) == 0);
            }},
    Attempt{
        "makesALink", 1, false,
        [](const World &w) { return failureOf(::symlink("/etc/passwd", w.at("work/new").c_str()) == 0); }},
    Attempt{"makesAPipe", 1, false,
            [](const World &w) { return failureOf(::mkfifo(w.at("work/new").c_str(), 0600) == 0); }},
    Attempt{"startsAnyProgram", 1, false,
            [](const World &) {
                return inFork([] {
                    ::execl("/bin/true", "true", nullptr);
                    return errno;
                });
            }},
    Attempt{"connectsToLoopback", 4, true, [](const World &w) { return connected(w.tcp()); }},
    Attempt{"connectsToASocketFile", never, true, [](const World &w) { return connected(w.unixSocket()); }},
    Attempt{"connectsToAnAbstractSocket", 6, true,
            [](const World &w) { return connected(w.abstractSocket()); }},
    Attempt{"makesASocketPair", never, true,
            [](const World &) {
                std::array<int, 2> pair = {};
                return failureOf(::socketpair(AF_UNIX, SOCK_STREAM, 0, pair.data()) == 0);
            }},
    Attempt{"signalsItsParent", 6, true,
            [](const World &) { return failureOf(::kill(::getppid(), 0) == 0); }},
    Attempt{"signalsEverybody", never, true, [](const World &) { return failureOf(::kill(-1, 0) == 0); }},
    Attempt{
        "tracesItsParent", 1, true,
        [](const World &) { return failureOf(::ptrace(PTRACE_SEIZE, ::getppid(), nullptr, nullptr) == 0); }},
    Attempt{"readsItsParentsMemory", 1, true,
            [](const World &) {
                static int value = 0; // at the same place in the parent
                int copy = 0;
                const iovec here{&copy, sizeof(copy)};
                const iovec there{&value, sizeof(value)};
                return failureOf(::process_vm_readv(::getppid(), &here, 1, &there, 1, 0) == sizeof(copy));
            }},
    Attempt{"asksForItsParentsLimits", never, true,
            [](const World &) {
                rlimit limit = {};
                return failureOf(::prlimit(::getppid(), RLIMIT_FSIZE, nullptr, &limit) == 0);
            }},
    Attempt{"slowsItsParentDown", never, true,
            [](const World &) {
                return failureOf(::setpriority(PRIO_PROCESS, static_cast<id_t>(::getppid()), 19) == 0);
            }},
    Attempt{"startsASession", never, true,
            [](const World &) { return inFork([] { return failureOf(::setsid() >= 0); }); }},
    Attempt{"leavesItsGroup", never, true,
            [](const World &) { return inFork([] { return failureOf(::setpgid(0, 0) == 0); }); }},
    Attempt{"outlivesItsParent", never, true,
            [](const World &) { return failureOf(::prctl(PR_SET_PDEATHSIG, 0) == 0); }},
    Attempt{"changesAMode", never, true,
            [](const World &w) { return failureOf(::chmod(w.at("home/diary").c_str(), 0666) == 0); }},
    Attempt{"changesTimes", never, true,
            [](const World &w) {
                return failureOf(::utimensat(AT_FDCWD, w.at("home/diary").c_str(), nullptr, 0) == 0);
            }},
    Attempt{"makesAFileInMemory", never, true,
            [](const World &) { return failureOf(::memfd_create("m", 0) >= 0); }},
    Attempt{"sharesMemory", never, true,
            [](const World &) {
                return failureOf(::mmap(nullptr, 4096, PROT_READ, MAP_SHARED | MAP_ANONYMOUS, -1, 0) !=
                                 MAP_FAILED);
            }},
    Attempt{"leavesNameSpaces", never, true,
            [](const World &) { return failureOf(::unshare(CLONE_FILES) == 0); }},
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
        const World world;
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

namespace {

// A whole cage around the world's work folder.
Caged runCaged(const Cage &cage, const std::function<std::string()> &body)
{
    return runCaged(cage, Rights::Nobody, CageReach::ofThisMachine(), body);
}

std::string failureText(int errorNumber)
{
    return errorNumber == 0 ? "done" : std::strerror(errorNumber);
}

} // namespace

TEST(Cage, hidesCallsWhoseArgumentsCannotBeSeenAndThoseItDoesNotKnow)
{
    const World world;
    const std::string file = world.at("work/source").native();
    const Caged caged = runCaged(world.cage(), [&] {
        constexpr long fchmodat2 = 452;
        std::string codes;
        const auto tell = [&codes](long result) { codes += std::to_string(result == 0 ? 0 : errno) + " "; };
        tell(::syscall(SYS_clone3, nullptr, 0));
        tell(::syscall(SYS_openat2, AT_FDCWD, file.c_str(), nullptr, 0));
        tell(::syscall(fchmodat2, AT_FDCWD, file.c_str(), 0666, 0));
        tell(::syscall(SYS_clone, CLONE_NEWUSER | SIGCHLD, nullptr, nullptr, nullptr, 0));
        tell(::syscall(SYS_ioctl, 0, 0x100000000UL | TIOCSTI, "x"));
        return codes;
    });
    const std::string expected = std::to_string(ENOSYS) + " " + std::to_string(ENOSYS) + " " +
                                 std::to_string(ENOSYS) + " " + std::to_string(EPERM) + " " +
                                 std::to_string(EPERM) + " ";
    EXPECT_EQ(caged.text, expected);
}

TEST(Cage, leavesTheWorkFolderToWorkIn)
{
    const World world;
    const Caged caged = runCaged(world.cage(), [&] {
        const fs::path work = world.at("work");
        fs::create_directory(work / "new");
        std::ofstream(work / "new/output") << "result";
        fs::rename(work / "new/output", work / "inner/output");
        fs::resize_file(work / "inner/output", 3);
        fs::remove(work / "new");
        std::ofstream("/dev/null") << "nothing";
        std::string bytes;
        std::ifstream(work / "source") >> bytes;
        std::ifstream library(world.at("shared/library"));
        return bytes + (library && !std::ifstream("/dev/urandom").fail() ? " read" : " missing");
    });
    EXPECT_EQ(caged.text, "bytes read");
    EXPECT_EQ(world.folder().read("work/inner/output"), "res");
}

TEST(Cage, runsThreadsWithLargeStacks)
{
    const World world;
    const Caged caged = runCaged(world.cage(), [] {
        constexpr std::size_t stackBytes = 2UL << 20;
        pthread_attr_t attributes;
        ::pthread_attr_init(&attributes);
        ::pthread_attr_setstacksize(&attributes, stackBytes);
        const auto body = [](void *) -> void * {
            std::array<volatile char, stackBytes * 3 / 4> used;
            for (std::size_t at = 0; at < used.size(); at += 4096)
                used[at] = 1;
            return nullptr;
        };
        std::array<pthread_t, 8> threads{};
        for (pthread_t &thread : threads) {
            if (const int failure = ::pthread_create(&thread, &attributes, body, nullptr); failure != 0)
                return failureText(failure);
        }
        for (const pthread_t thread : threads)
            ::pthread_join(thread, nullptr);
        return failureText(0);
    });
    EXPECT_EQ(caged.text, "done");
}

TEST(Cage, convertsWithTheSystemsPrograms)
{
    const World world;
    const fs::path ffprobe = QUORVALENT_FFPROBE_PROGRAM;
    Cage cage = world.cage();
    cage.programs = {ffmpegProgram(), ffprobe};
    const Caged caged = runCaged(cage, [&] {
        const std::string movie = world.at("work/output.mp4").native();
        ChildCommand convert;
        convert.program = ffmpegProgram();
        convert.arguments = {
            "-v",   "error", "-f", "lavfi",           "-i",   "testsrc2=size=320x240:rate=25:duration=2",
            "-f",   "lavfi", "-i", "sine=duration=2", "-c:v", "libx264",
            "-c:a", "aac",   movie};
        ChildProcess conversion(convert);
        if (!conversion.wait().isSuccess())
            return std::string("no conversion");
        ChildCommand probe;
        probe.program = ffprobe;
        probe.arguments = {"-v", "error", "-show_entries", "format=duration", "-of", "csv=p=0", movie};
        ChildProcess probing(probe);
        std::string duration;
        probing.readLines([&duration](const QByteArray &line) { duration = line.toStdString(); });
        return probing.wait().isSuccess() ? duration : "no duration";
    });
    EXPECT_EQ(caged.text, "2.000000");
}

TEST(Cage, stopsMultiplicationAtTheProcessLimit)
{
    const World world;
    Cage cage = world.cage();
    cage.limits.userTasks = 40;
    const Caged caged = runCaged(cage, [] {
        std::vector<pid_t> children;
        int failure = 0;
        while (failure == 0 && children.size() < 100) {
            const pid_t child = ::fork();
            if (child == 0) {
                ::pause();
                ::_exit(0);
            }
            if (child > 0)
                children.push_back(child);
            else
                failure = errno;
        }
        for (const pid_t child : children) {
            ::kill(child, SIGKILL);
            ::waitpid(child, nullptr, 0);
        }
        return failureText(failure);
    });
    EXPECT_EQ(caged.text, failureText(EAGAIN));
}

TEST(Cage, stopsFilesAtTheFileLimit)
{
    const World world;
    Cage cage = world.cage();
    cage.limits.fileBytes = 1UL << 20;
    const Caged caged = runCaged(cage, [&] {
        const int file = ::open(world.at("work/large").c_str(), O_WRONLY | O_CREAT, 0600);
        const int byWriting = failureOf(::pwrite(file, "x", 1, 1L << 20) == 1);
        const int byLength = failureOf(::ftruncate(file, (1L << 20) + 1) == 0);
        const int within = failureOf(::ftruncate(file, 1L << 20) == 0);
        return failureText(byWriting) + ", " + failureText(byLength) + ", " + failureText(within);
    });
    EXPECT_EQ(caged.text, "File too large, File too large, done");
}

TEST(Cage, stopsAllocationsAtTheMemoryLimit)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizer's own memory is beyond any limit";
#endif
    const World world;
    Cage cage = world.cage();
    cage.limits.memoryBytes = 256UL << 20;
    const Caged caged = runCaged(cage, [] {
        const auto allocates = [](std::size_t bytes) {
            const std::unique_ptr<char, decltype(&std::free)> memory(static_cast<char *>(std::malloc(bytes)),
                                                                     &std::free);
            if (memory)
                static_cast<volatile char *>(memory.get())[bytes - 1] = 1;
            return memory ? std::string("given") : std::string("refused");
        };
        return allocates(100UL << 20) + ", " + allocates(300UL << 20);
    });
    EXPECT_EQ(caged.text, "given, refused");
}

TEST(Cage, keepsItsLimitsEvenFromRoot)
{
    const World world;
    const Caged caged = runCaged(world.cage(), Rights::Same, CageReach::ofThisMachine(), [] {
        rlimit core = {};
        ::getrlimit(RLIMIT_CORE, &core);
        const rlimit unlimited = {.rlim_cur = RLIM_INFINITY, .rlim_max = RLIM_INFINITY};
        const int raised = failureOf(::setrlimit(RLIMIT_FSIZE, &unlimited) == 0);
        return failureText(raised) + ", core " + std::to_string(core.rlim_max) + ", dumpable " +
               std::to_string(::prctl(PR_GET_DUMPABLE));
    });
    EXPECT_EQ(caged.text, "Operation not permitted, core 1, dumpable 0");
}

TEST(Cage, leavesNoCoreDump)
{
    const World world;
    const std::vector<std::string> before = world.folder().listing();
    const Caged caged = runCaged(world.cage(), [&]() -> std::string {
        fs::current_path(world.at("work"));
        ::signal(SIGSEGV, SIG_DFL);
        ::raise(SIGSEGV);
        return "alive";
    });
    EXPECT_TRUE(WIFSIGNALED(caged.status)) << caged.text;
    EXPECT_FALSE(WCOREDUMP(caged.status));
    EXPECT_EQ(world.folder().listing(), before);
}

TEST(Cage, takesNoDescriptorInside)
{
    const World world;
    const FileDescriptor diary(::open(world.at("home/diary").c_str(), O_RDONLY));
    ASSERT_GT(diary.get(), STDERR_FILENO);
    const Caged caged = runCaged(world.cage(), [&] {
        char byte = 0;
        return failureText(failureOf(::read(diary.get(), &byte, 1) == 1));
    });
    EXPECT_EQ(caged.text, "Bad file descriptor");
}

TEST(Cage, goesFirstWhenMemoryRunsOut)
{
    const World world;
    Cage cage = world.cage();
    cage.readable.emplace_back("/proc");
    const Caged caged = runCaged(cage, [] {
        std::string score;
        std::ifstream("/proc/self/oom_score_adj") >> score;
        return score;
    });
    EXPECT_EQ(caged.text, "1000");
}

TEST(Cage, refusesToBeEnteredWhereItWouldNotHold)
{
    const World world;
    for (const char *folder : {"missing", "work/source", "work/link"}) {
        Cage cage = world.cage();
        cage.workFolder = world.at(folder);
        EXPECT_NE(runCaged(cage, [] { return std::string("entered"); }).text, "entered") << folder;
    }

    const ChildResult result = runInChild(Rights::Same, [&]() -> std::string {
        std::thread idle([] { ::pause(); });
        idle.detach();
        try {
            world.cage().enter();
        } catch (const FileError &) {
            return "refused";
        }
        return "entered";
    });
    EXPECT_EQ(result.text, "refused");
}

TEST(CageReach, tellsPeopleHowFarItGoes)
{
    using namespace Qt::StringLiterals;
    const auto text = [](int landlockVersion, bool filters) {
        return CageReach{.landlockVersion = landlockVersion, .filtersSystemCalls = filters}.description();
    };
    EXPECT_EQ(text(7, true), u"Conversions isolées du reste du système (Landlock 7, seccomp)."_s);
    EXPECT_EQ(text(5, true), u"Conversions isolées en partie (Landlock 5, seccomp)."_s);
    EXPECT_EQ(text(7, false), u"Conversions isolées en partie (Landlock 7)."_s);
    EXPECT_EQ(text(0, true), u"Conversions isolées en partie (seccomp)."_s);
    EXPECT_EQ(text(0, false), u"Conversions non isolées : ni Landlock, ni seccomp."_s);
}

} // namespace quorvalent::test
