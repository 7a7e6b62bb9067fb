#pragma once

#include "platform/FileDescriptor.h"
#include "platform/cage/Cage.h"
#include "support/ChildProcess.h"
#include "support/TestFolder.h"

#include <netinet/in.h>
#include <sys/un.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace quorvalent::test {

/// The folders that the tests of the cage are about, and somebody who listens, all within reach of any user.
class CageWorld
{
public:
    CageWorld();

    [[nodiscard]] std::filesystem::path at(const char *name) const { return m_folder / name; }
    [[nodiscard]] const TestFolder &folder() const { return m_folder; }
    [[nodiscard]] const sockaddr_in &tcp() const { return m_tcp; }
    [[nodiscard]] const sockaddr_un &unixSocket() const { return m_unix; }
    [[nodiscard]] const sockaddr_un &abstractSocket() const { return m_abstract; }

    /// Around the folder "work"; "shared" can be read too.
    [[nodiscard]] Cage cage() const;

private:
    TestFolder m_folder;
    std::vector<FileDescriptor> m_listeners;
    sockaddr_in m_tcp = {};
    sockaddr_un m_unix = {};
    sockaddr_un m_abstract = {};
};

/// How a caged process ended and what it had to say.
struct Caged
{
    int status = 0; ///< as waitpid tells it
    std::string text;
};

/// Runs the body in a caged process whose parent is of the same user and lets anybody trace it, so that what
/// is refused is refused by the cage. An exception's text is an answer too.
Caged runCaged(const Cage &cage, Rights rights, const CageReach &reach,
               const std::function<std::string()> &body);

/// Zero, or why the last call failed.
inline int failureOf(bool succeeded)
{
    return succeeded ? 0 : errno;
}

} // namespace quorvalent::test
