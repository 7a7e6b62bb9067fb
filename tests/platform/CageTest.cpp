#include "CageWorld.h"

#include "platform/ChildProcess.h"
#include "platform/Error.h"
#include "support/TestMedia.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <array>
#include <csignal>
#include <cstring>
#include <fstream>
#include <memory>
#include <thread>

namespace quorvalent::test {

namespace {

namespace fs = std::filesystem;

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
    const CageWorld world;
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
    const CageWorld world;
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
    const CageWorld world;
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
    const CageWorld world;
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
    const CageWorld world;
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
    const CageWorld world;
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
    const CageWorld world;
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
    const CageWorld world;
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
    const CageWorld world;
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
    const CageWorld world;
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
    const CageWorld world;
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
    const CageWorld world;
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