#include "support/ChildProcess.h"

#include <grp.h>
#include <pwd.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <stdexcept>

namespace quorvalent::test {

namespace {

bool giveUpRoot()
{
    if (::geteuid() != 0)
        return true;
    const passwd *nobody = ::getpwnam("nobody");
    return nobody != nullptr && ::setgroups(0, nullptr) == 0 && ::setgid(nobody->pw_gid) == 0 &&
           ::setuid(nobody->pw_uid) == 0;
}

bool takeOwnMounts()
{
    const uid_t user = ::geteuid();
    const gid_t group = ::getegid();
    if (user == 0)
        return ::unshare(CLONE_NEWNS) == 0 &&
               ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
        return false;
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/uid_map") << "0 " + std::to_string(user) + " 1";
    std::ofstream("/proc/self/gid_map") << "0 " + std::to_string(group) + " 1";
    return true;
}

std::string textOf(Rights rights, const std::function<std::string()> &body)
{
    if (rights == Rights::Nobody && !giveUpRoot())
        return "could not become nobody";
    if (rights == Rights::OwnMounts && !takeOwnMounts())
        return "could not get mounts of its own";
    try {
        return body();
    } catch (const std::exception &failure) {
        return failure.what();
    }
}

} // namespace

ChildResult runInChild(Rights rights, const std::function<std::string()> &body)
{
    std::array<int, 2> pipe = {};
    if (::pipe(pipe.data()) != 0)
        throw std::runtime_error("no pipe");
    const pid_t child = ::fork();
    if (child < 0)
        throw std::runtime_error("no child process");
    if (child == 0) {
        const std::string text = textOf(rights, body);
        const ssize_t written = ::write(pipe[1], text.data(), text.size());
        ::_exit(written == static_cast<ssize_t>(text.size()) ? 0 : 1);
    }
    ::close(pipe[1]);
    ChildResult result;
    std::array<char, 4096> buffer = {};
    for (ssize_t count = 0; (count = ::read(pipe[0], buffer.data(), buffer.size())) > 0;)
        result.text.append(buffer.data(), static_cast<std::size_t>(count));
    ::close(pipe[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    result.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    return result;
}

} // namespace quorvalent::test
