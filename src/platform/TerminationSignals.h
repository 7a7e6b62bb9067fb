#pragma once

#include "platform/FileDescriptor.h"

#include <QSocketNotifier>

#include <chrono>
#include <functional>
#include <optional>

namespace quorvalent {

/// Turns SIGINT, SIGTERM and SIGHUP into ordinary calls on the main thread's event loop, and keeps a broken
/// pipe from ending the program. A SIGHUP that was ignored stays so. One at a time; signals are handled as
/// before once it is destroyed.
///
/// After a second SIGINT or SIGTERM the program ends with status 128 plus its number when `atTheLatest` has
/// passed, whatever its threads are doing; that holds when the object is destroyed, too.
class TerminationSignals
{
public:
    /// FileError when the system has no descriptor left.
    explicit TerminationSignals(std::chrono::seconds atTheLatest = std::chrono::seconds(4));
    ~TerminationSignals();
    TerminationSignals(const TerminationSignals &) = delete;
    TerminationSignals &operator=(const TerminationSignals &) = delete;

    /// Each signal once, in order; a SIGHUP only when it is the first, because it accompanies a SIGTERM.
    std::function<void(int signalNumber)> onSignal;

private:
    void readPending();

    FileDescriptor m_readEnd;
    FileDescriptor m_writeEnd;
    std::optional<QSocketNotifier> m_notifier;
    bool m_hearsHangUp = false;
    bool m_heardOne = false;
};

} // namespace quorvalent
