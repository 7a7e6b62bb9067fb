#pragma once

#include <functional>
#include <optional>

namespace quorvalent {

/// Receives the fraction of the work that is done, 0 to 1, or nothing while work goes on by an unknown
/// amount. Called on the thread that converts.
using Progress = std::function<void(std::optional<double> fraction)>;

} // namespace quorvalent
