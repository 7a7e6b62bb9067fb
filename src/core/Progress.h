#pragma once

#include <functional>
#include <optional>

namespace quorvalent {

/// Receives the fraction of the work that is done, 0 to 1, or nothing while work goes on by an unknown
/// amount. Called on the thread that converts, by report(). Empty where nobody wants to know.
using Progress = std::function<void(std::optional<double> fraction)>;

inline void report(const Progress &progress, std::optional<double> fraction)
{
    if (progress)
        progress(fraction);
}

} // namespace quorvalent
