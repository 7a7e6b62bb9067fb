#pragma once

#include "platform/FileDescriptor.h"

namespace quorvalent {

/// The other end of a ProgramLaunch: tells the program that launched this one that it runs. Main thread.
class StartNotice
{
public:
    static constexpr const char *variable =
        "QUORVALENT_STARTED_DESCRIPTOR"; ///< holds the descriptor's number
    static constexpr int descriptor = 3; ///< of the connection; the first after the standard streams
    static constexpr char mark = 's';    ///< what is sent

    /// Takes the connection over, if there is one. At the beginning of the program, so that no child of it
    /// inherits the descriptor or the variable.
    StartNotice();

    /// This program runs. Harmless where nobody waits; only the first call counts.
    void send();

private:
    FileDescriptor m_connection;
};

} // namespace quorvalent
