#include "platform/TerminationSignals.h"

#include "platform/Error.h"

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <utility>

namespace quorvalent {

namespace {

volatile std::sig_atomic_t pipeToLoop = -1;
volatile std::sig_atomic_t untilTheEnd = 0; // seconds
volatile std::sig_atomic_t statusOfTheEnd = 0;
std::atomic<int> requestsToEnd = 0; // two threads may each handle one at the same time

void endNow(int /*signalNumber*/)
{
    ::_exit(statusOfTheEnd);
}

// Runs in whatever the signal interrupted, on any thread: nothing but system calls, with errno as it was.
void passOn(int signalNumber)
{
    const int saved = errno;
    if (signalNumber != SIGHUP && requestsToEnd.fetch_add(1) == 1) {
        statusOfTheEnd = 128 + signalNumber; // what a shell reports for a program that a signal ended
        ::alarm(static_cast<unsigned>(untilTheEnd));
    }
    const auto byte = static_cast<unsigned char>(signalNumber);
    (void)!::write(pipeToLoop, &byte, 1);
    errno = saved;
}

void ignoreOne(int /*signalNumber*/) {}

void handle(int signalNumber, void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    // One after another: of two pending signals the later handler would run first, on top of the other.
    sigemptyset(&action.sa_mask);
    for (const int other : {SIGINT, SIGTERM, SIGHUP, SIGALRM})
        sigaddset(&action.sa_mask, other);
    ::sigaction(signalNumber, &action, nullptr);
}

} // namespace

TerminationSignals::TerminationSignals(std::chrono::seconds atTheLatest)
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0)
        throw FileError(errno, "pipe");
    m_readEnd = FileDescriptor(ends[0]);
    m_writeEnd = FileDescriptor(ends[1]);
    m_notifier.emplace(m_readEnd.get(), QSocketNotifier::Read);
    QObject::connect(&*m_notifier, &QSocketNotifier::activated, [this] { readPending(); });

    pipeToLoop = m_writeEnd.get();
    requestsToEnd = 0;
    untilTheEnd = static_cast<std::sig_atomic_t>(atTheLatest.count());
    handle(SIGALRM, &endNow);
    handle(SIGINT, &passOn);
    handle(SIGTERM, &passOn);
    // Ends a session together with SIGTERM, or with the terminal alone; whoever had it ignored wants to go
    // on.
    struct sigaction hangUp = {};
    ::sigaction(SIGHUP, nullptr, &hangUp);
    m_hearsHangUp = hangUp.sa_handler != SIG_IGN;
    if (m_hearsHangUp)
        handle(SIGHUP, &passOn);
    // A handler of our own and not SIG_IGN, which child programs would inherit.
    handle(SIGPIPE, &ignoreOne);
}

TerminationSignals::~TerminationSignals()
{
    for (const int signalNumber : {SIGINT, SIGTERM, SIGPIPE})
        handle(signalNumber, SIG_DFL);
    if (m_hearsHangUp)
        handle(SIGHUP, SIG_DFL);
    pipeToLoop = -1;
}

void TerminationSignals::readPending()
{
    std::array<unsigned char, 16> numbers{};
    const ssize_t count = ::read(m_readEnd.get(), numbers.data(), numbers.size());
    for (ssize_t at = 0; at < count; ++at) {
        const int number = numbers[static_cast<std::size_t>(at)];
        const bool isRepeated = std::exchange(m_heardOne, true);
        if (onSignal && !(number == SIGHUP && isRepeated))
            onSignal(number);
    }
}

} // namespace quorvalent
