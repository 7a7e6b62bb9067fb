#pragma once

#include <functional>

namespace quorvalent::test {

// Each runs a check in another process and answers its result, false too when that process died. The process
// is this program, started anew for the running test only: the call is the first thing in the test, and the
// check makes and removes all that it needs.

/// The check runs without root's rights.
[[nodiscard]] bool holdsWithoutRights(const std::function<bool()> &check);

/// The check may mount, where nobody else sees it.
[[nodiscard]] bool holdsWithOwnMounts(const std::function<bool()> &check);

} // namespace quorvalent::test
