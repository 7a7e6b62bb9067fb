// An engine helper as a hostile file might leave it: speaks the protocol, sits in the cage that the real one
// sits in, and misbehaves as the file "behaviour" beside it says.

#include "convert/EngineProtocol.h"
#include "platform/Error.h"
#include "platform/cage/Cage.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fstream>
#include <functional>
#include <limits>
#include <map>
#include <vector>

namespace {

using namespace quorvalent;
using namespace Qt::StringLiterals;
namespace fs = std::filesystem;
namespace Protocol = EngineProtocol;

// What was read beside the program, before the cage closed.
struct Surroundings
{
    std::string behaviour;
    std::uint16_t port = 0; ///< where somebody listens
    fs::path diary;         ///< a file of the user's
};

struct Job
{
    Surroundings surroundings;
    fs::path output;
};

void sendBytes(const QByteArray &bytes)
{
    if (::write(STDOUT_FILENO, bytes.constData(), static_cast<std::size_t>(bytes.size())) != bytes.size())
        ::_exit(3);
}

void send(const Protocol::Reply &reply)
{
    sendBytes(Protocol::encoded(reply));
}

// The message that reports a known fraction, with another number in it.
void sendFraction(double fraction)
{
    QByteArray bytes = Protocol::encoded(Protocol::Reply(Protocol::ProgressReport{0.0}));
    quint64 bits = 0;
    std::memcpy(&bits, &fraction, sizeof(bits));
    for (qsizetype place = 0; place < qsizetype{sizeof(bits)}; ++place)
        bytes[bytes.size() - 1 - place] = static_cast<char>(bits >> (8 * place));
    sendBytes(bytes);
}

void finish(const Job &job)
{
    std::ofstream(job.output) << "new";
    send(Protocol::ProgressReport{0.5});
    send(Protocol::Done{});
}

// An attempt that the cage is to stop: had it succeeded, the job would end well.
void attempt(const Job &job, bool succeeded)
{
    if (succeeded)
        finish(job);
    else
        send(Protocol::Failure{u"Refusé par la cage."_s});
}

bool opens(const fs::path &path, int flags)
{
    return ::open(path.c_str(), flags, 0600) >= 0;
}

bool connects(std::uint16_t port)
{
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return ::connect(socket, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0;
}

// Reserved and not touched: the limit counts it all the same.
void eatMemory()
{
    std::vector<std::vector<char>> eaten;
    for (int course = 0; course < 64; ++course)
        eaten.emplace_back().reserve(64UL << 20);
}

void waitForEver()
{
    while (true)
        ::pause();
}

void leaveAChild()
{
    if (::fork() == 0) {
        ::setsid();
        ::setpgid(0, 0);
        waitForEver();
    }
}

// Longer than the test's helper may be silent.
void computeInSilence()
{
    timespec used = {};
    while (used.tv_sec < 1)
        ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
}

const std::map<std::string, std::function<void(const Job &)>> &behaviours()
{
    static const std::map<std::string, std::function<void(const Job &)>> table{
        {"good", finish},
        {"crashes", [](const Job &) { ::raise(SIGSEGV); }},
        {"crashesOnce",
         [](const Job &job) {
             const fs::path mark = job.output.parent_path() / "crashed";
             if (fs::exists(mark)) {
                 finish(job);
             } else {
                 std::ofstream(mark) << "yes";
                 ::raise(SIGSEGV);
             }
         }},
        {"isKilled", [](const Job &) { ::raise(SIGKILL); }},
        {"hangsUpAndGoesOn",
         [](const Job &) {
             ::close(STDOUT_FILENO);
             waitForEver();
         }},
        {"saysNothing", [](const Job &) { waitForEver(); }},
        {"doesNotListen",
         [](const Job &) {
             std::signal(SIGTERM, SIG_IGN);
             waitForEver();
         }},
        {"computesInSilence",
         [](const Job &job) {
             computeInSilence();
             finish(job);
         }},
        {"letsAChildCompute",
         [](const Job &job) {
             const pid_t child = ::fork();
             if (child == 0) {
                 computeInSilence();
                 ::_exit(0);
             }
             ::waitpid(child, nullptr, 0);
             finish(job);
         }},
        {"floods",
         [](const Job &) {
             while (true)
                 send(Protocol::ProgressReport{0.5});
         }},
        {"sendsGarbage", [](const Job &) { sendBytes("HTTP/1.1 200 OK\r\n\r\n"); }},
        {"sendsAHugeLength", [](const Job &) { sendBytes(QByteArray::fromHex("10ffffffff")); }},
        {"sendsHalfAMessage",
         [](const Job &) {
             sendBytes(Protocol::encoded(Protocol::Reply(Protocol::ProgressReport{0.5})).chopped(1));
             ::_exit(0);
         }},
        {"sendsARequest",
         [](const Job &) { sendBytes(Protocol::encoded(Protocol::Request(Protocol::Check{}))); }},
        {"answersAnotherQuestion", [](const Job &) { send(Protocol::Verdict{true}); }},
        {"goesBeyondTheEnd", [](const Job &) { sendFraction(1.5); }},
        {"goesBackBeyondTheStart", [](const Job &) { sendFraction(-0.1); }},
        {"reportsNoNumber", [](const Job &) { sendFraction(std::numeric_limits<double>::quiet_NaN()); }},
        {"exitsWithoutAWord", [](const Job &) { ::_exit(0); }},
        {"claimsToBeDone", [](const Job &) { send(Protocol::Done{}); }},
        {"leavesAChildAndDies",
         [](const Job &) {
             leaveAChild();
             ::_exit(0);
         }},
        {"leavesAChild",
         [](const Job &job) {
             leaveAChild();
             finish(job);
         }},
        {"opensTheUsersTable", [](const Job &job) { attempt(job, opens("/etc/passwd", O_RDONLY)); }},
        {"opensTheHome", [](const Job &job) { attempt(job, opens(job.surroundings.diary, O_RDONLY)); }},
        {"writesElsewhere",
         [](const Job &job) {
             attempt(job, opens(job.surroundings.diary, O_WRONLY) ||
                              opens(job.output.parent_path().parent_path() / "new", O_WRONLY | O_CREAT));
         }},
        {"connectsToLoopback", [](const Job &job) { attempt(job, connects(job.surroundings.port)); }},
        {"eatsMemory",
         [](const Job &job) {
             try {
                 eatMemory();
                 finish(job);
             } catch (const std::bad_alloc &) {
                 send(Protocol::OutOfMemory{});
             }
         }},
        {"diesForWantOfMemory",
         [](const Job &job) {
             try {
                 eatMemory();
                 finish(job);
             } catch (const std::bad_alloc &) {
                 ::_exit(Protocol::outOfMemoryExitCode);
             }
         }},
        {"leavesALink",
         [](const Job &job) {
             fs::create_symlink(job.surroundings.diary, job.output);
             send(Protocol::Done{});
         }},
        {"leavesAnotherNameOfAFile",
         [](const Job &job) {
             fs::create_hard_link(job.surroundings.diary, job.output);
             send(Protocol::Done{});
         }},
        {"leavesAPipe",
         [](const Job &job) {
             ::mkfifo(job.output.c_str(), 0600);
             send(Protocol::Done{});
         }},
        {"leavesAFolder",
         [](const Job &job) {
             fs::create_directory(job.output);
             send(Protocol::Done{});
         }},
        {"leavesNothingInAFile",
         [](const Job &job) {
             std::ofstream(job.output).flush();
             send(Protocol::Done{});
         }},
    };
    return table;
}

Surroundings surroundings(const fs::path &program)
{
    Surroundings found;
    std::ifstream(program.parent_path() / "behaviour") >> found.behaviour;
    std::ifstream(program.parent_path() / "port") >> found.port;
    found.diary = program.parent_path() / "diary";
    return found;
}

// As on a kernel without Landlock and seccomp: what must then hold is the program's own caution.
bool staysOutside(const std::string &behaviour)
{
    constexpr std::array<std::string_view, 3> outside{"leavesALink", "leavesAnotherNameOfAFile",
                                                      "leavesAPipe"};
    return std::find(outside.begin(), outside.end(), behaviour) != outside.end();
}

void enterCage(const fs::path &workFolder)
{
    Cage cage = Cage::forConversion(workFolder);
    cage.limits.memoryBytes = 512UL << 20;
    cage.enter();
}

void serve(const Surroundings &surroundings)
{
    fs::path workFolder;
    QByteArray received;
    std::array<char, 4096> bytes{};
    for (ssize_t count = 0; (count = ::read(STDIN_FILENO, bytes.data(), bytes.size())) > 0;) {
        received.append(bytes.data(), count);
        while (const std::optional<Protocol::Request> request = Protocol::takeRequest(received)) {
            if (const auto *begin = std::get_if<Protocol::Begin>(&*request)) {
                workFolder = begin->workFolder;
                if (!staysOutside(surroundings.behaviour))
                    enterCage(workFolder);
            } else if (const auto *conversion = std::get_if<Protocol::Conversion>(&*request)) {
                behaviours().at(surroundings.behaviour)(
                    {surroundings, workFolder / conversion->files.output});
            } else {
                // The original is not yet what it should become; the output is.
                send(Protocol::Verdict{std::holds_alternative<Protocol::Check>(*request)});
            }
        }
    }
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 1)
        return 2;
    const Surroundings found = surroundings(argv[0]);
    std::ofstream(found.diary.parent_path() / "starts", std::ios::app) << '.';
    if (found.behaviour == "diesAtTheStart")
        return 1;
    serve(found);
    return 0;
}
