#include "CageWorld.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

namespace quorvalent::test {

namespace {

namespace fs = std::filesystem;

template <typename Address>
FileDescriptor listening(int family, const Address *address, socklen_t size)
{
    FileDescriptor socket(::socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (::bind(socket.get(), reinterpret_cast<const sockaddr *>(address), size) != 0 ||
        ::listen(socket.get(), 64) != 0)
        throw std::runtime_error("no listener");
    return socket;
}

} // namespace

CageWorld::CageWorld()
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

Cage CageWorld::cage() const
{
    Cage cage = Cage::forConversion(at("work"));
    cage.readable.push_back(at("shared"));
    return cage;
}

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

} // namespace quorvalent::test
