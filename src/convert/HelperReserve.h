#pragma once

#include "convert/EngineHelper.h"
#include "convert/HelperEngines.h"
#include "platform/Dispatch.h"

#include <chrono>
#include <memory>

namespace quorvalent {

/// Starts engine helpers, the one for a conversion that is about to come ahead of it, because loading the
/// libraries of a helper takes as long as converting a small picture. One helper at most waits, and not for
/// long: while nothing is about to happen, no process is there.
///
/// Owns the thread that all its helpers are started on, so that they end with it at the latest. Every
/// function may be called from any other thread.
class HelperReserve
{
public:
    static constexpr std::chrono::seconds usualPatience{10};

    /// A helper is let go when no conversion has come for `patience`.
    explicit HelperReserve(HelperPrograms programs = HelperPrograms::bundled(),
                           std::chrono::milliseconds patience = usualPatience, HelperLimits limits = {});
    ~HelperReserve();
    HelperReserve(const HelperReserve &) = delete;
    HelperReserve &operator=(const HelperReserve &) = delete;

    /// Returns at once. A conversion of this family will probably be asked for soon. What stands in the way
    /// of its helper is told by take().
    void expect(EngineHelper::Family family);

    /// The helper that waits, where it is of this family, or a new one; ConversionError when it cannot be
    /// started. Blocks while a process starts.
    [[nodiscard]] std::unique_ptr<EngineHelper> take(EngineHelper::Family family);

private:
    /// One of this family waits afterwards; ConversionError when it cannot be started.
    void provide(EngineHelper::Family family);

    const HelperPrograms m_programs;
    const std::chrono::milliseconds m_patience;
    const HelperLimits m_limits;
    // All below live on m_queue.
    std::unique_ptr<EngineHelper> m_waiting;
    EngineHelper::Family m_family = EngineHelper::Family::Media; ///< of the one that waits
    DelayedTask m_dismissal;
    SerialQueue m_queue;
};

} // namespace quorvalent
