#pragma once

#include <chrono>
#include <functional>
#include <optional>

namespace quorvalent {

/// Thins the progress of one job out to what a reader can use: at most 10 reports in any second, the one that
/// says 1.0 always among them, and the first.
class ProgressThrottle
{
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    explicit ProgressThrottle(Clock clock = &std::chrono::steady_clock::now);

    [[nodiscard]] bool admits(std::optional<double> fraction);

private:
    Clock m_clock;
    std::optional<std::chrono::steady_clock::time_point> m_last; ///< when the last report passed
};

} // namespace quorvalent
