#include "console/ProgressThrottle.h"

#include <utility>

namespace quorvalent {

namespace {

using namespace std::chrono_literals;

// Nine in a second, which leaves room for the last one.
constexpr auto interval = 112ms;

} // namespace

ProgressThrottle::ProgressThrottle(Clock clock)
    : m_clock(std::move(clock))
{}

bool ProgressThrottle::admits(std::optional<double> fraction)
{
    const auto now = m_clock();
    if (m_last && now - *m_last < interval && fraction.value_or(0.0) < 1.0)
        return false;
    m_last = now;
    return true;
}

} // namespace quorvalent
