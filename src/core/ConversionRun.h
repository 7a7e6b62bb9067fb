#pragma once

#include "core/Progress.h"

#include <atomic>
#include <memory>

namespace quorvalent {

/// Asks a conversion to end without a result. Copies are one request; any thread.
class Cancellation
{
public:
    void request() { *m_isRequested = true; }
    [[nodiscard]] bool isRequested() const { return *m_isRequested; }

private:
    std::shared_ptr<std::atomic<bool>> m_isRequested = std::make_shared<std::atomic<bool>>(false);
};

/// How a conversion is run, beside what the user chose for its result.
struct ConversionRun
{
    Progress progress;
    int threads = 0; ///< that the image library may use; 0 leaves it to the library
    Cancellation cancellation;
};

} // namespace quorvalent
