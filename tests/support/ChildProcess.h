#pragma once

#include <functional>
#include <string>

namespace quorvalent::test {

/// How a child process ended.
struct ChildResult
{
    int signal = 0;   ///< that killed it, or 0
    std::string text; ///< what the body returned, or the reason why it could not
};

enum class Rights {
    Same,
    Nobody,    ///< those of the user nobody; when the tests do not run as root, their own
    OwnMounts, ///< may mount, and nobody else sees it
};

/// Runs the body in a forked child and waits for its end. No thread of the calling process may be running
/// that the body needs.
[[nodiscard]] ChildResult runInChild(Rights rights, const std::function<std::string()> &body);

} // namespace quorvalent::test
