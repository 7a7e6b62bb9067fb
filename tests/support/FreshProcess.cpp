#include "support/FreshProcess.h"

#include <grp.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quorvalent::test {

namespace {

constexpr auto childMark = "QUORVALENT_TEST_CHILD";
constexpr uid_t nobody = 65534;

bool isChild()
{
    return std::getenv(childMark) != nullptr;
}

bool giveUpRights()
{
    if (::geteuid() != 0)
        return true;
    return ::setgroups(0, nullptr) == 0 && ::setresgid(nobody, nobody, nobody) == 0 &&
           ::setresuid(nobody, nobody, nobody) == 0;
}

bool succeedsInChild(std::vector<std::string> command)
{
    const testing::TestInfo *test = testing::UnitTest::GetInstance()->current_test_info();
    command.push_back(std::filesystem::read_symlink("/proc/self/exe"));
    command.push_back(std::string("--gtest_filter=") + test->test_suite_name() + "." + test->name());
    std::vector<char *> arguments;
    for (std::string &argument : command)
        arguments.push_back(argument.data());
    arguments.push_back(nullptr);

    // Not QProcess: after its vfork, the checker for races no longer follows this thread.
    ::setenv(childMark, "1", 1);
    pid_t child = 0;
    const int failure = ::posix_spawnp(&child, arguments[0], nullptr, nullptr, arguments.data(), environ);
    ::unsetenv(childMark);
    int status = 0;
    return failure == 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status) &&
           WEXITSTATUS(status) == 0;
}

} // namespace

bool holdsWithoutRights(const std::function<bool()> &check)
{
    if (isChild())
        std::_Exit(giveUpRights() && check() ? 0 : 1);
    return succeedsInChild({});
}

bool holdsWithOwnMounts(const std::function<bool()> &check)
{
    if (isChild())
        std::_Exit(check() ? 0 : 1);
    return succeedsInChild({"unshare", "--map-root-user", "--mount"});
}

} // namespace quorvalent::test
