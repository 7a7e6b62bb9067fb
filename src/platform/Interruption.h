#pragma once

#include "platform/FileDescriptor.h"

namespace quorvalent {

/// A request to stop, which wakes everything that polls for it. Once made, it stays. Any thread may call.
class Interruption
{
public:
    /// FileError when the system has no descriptor left.
    Interruption();

    void request() const;
    [[nodiscard]] bool isRequested() const;
    /// Readable once the request was made.
    [[nodiscard]] int descriptor() const { return m_event.get(); }

private:
    FileDescriptor m_event;
};

} // namespace quorvalent
