#pragma once

#include "core/RenameJob.h"
#include "platform/Machine.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace quorvalent {

/// What a conversion takes of the machine.
struct LaneDemand
{
    bool runsAlone = false;        ///< its encoder keeps all cores busy
    std::uint64_t memoryBytes = 0; ///< at its peak, rather too much than too little

    /// Told by the names and the size of the file alone: what is in it is the engine's business.
    [[nodiscard]] static LaneDemand of(const RenameJob &job);
};

/// How many conversions run side by side.
class Lanes
{
public:
    /// `asked`: this many, 1 or more. Without it as many as the machine has cores, 2 to 8, and only once a
    /// few jobs wait.
    explicit Lanes(std::optional<int> asked = {})
        : m_asked(asked)
    {}

    /// Whether conversions run side by side, which goes on until no job waits.
    [[nodiscard]] bool isOpen() const { return m_isOpen; }
    /// To be told whenever the number of waiting jobs has changed.
    void update(std::size_t waiting);

    /// Whether one more may start beside those that run. Never more at once than half of the memory that is
    /// available.
    [[nodiscard]] bool admit(const LaneDemand &next, const std::vector<LaneDemand> &running,
                             const Machine &machine) const;

    /// Threads for one conversion when this many run or are about to; 0 leaves it to the libraries.
    [[nodiscard]] int threadsFor(std::size_t sideBySide, const Machine &machine) const;

private:
    [[nodiscard]] std::size_t count(const Machine &machine) const;

    std::optional<int> m_asked;
    bool m_isOpen = false;
};

} // namespace quorvalent
