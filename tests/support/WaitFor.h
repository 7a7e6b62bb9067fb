#pragma once

#include <chrono>
#include <functional>

namespace quorvalent::test {

/// Runs the main thread's event loop until the condition holds; false when it does not within the limit,
/// which is only there so that a broken test ends.
[[nodiscard]] bool waitFor(const std::function<bool()> &condition,
                           std::chrono::milliseconds limit = std::chrono::seconds(30));

} // namespace quorvalent::test
