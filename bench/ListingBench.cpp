#include "watch/Listing.h"

#include <QCoreApplication>
#include <QStringList>

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <thread>
#include <vector>

using namespace quorvalent;

namespace {

/// Memory of this process that is in use, in bytes.
long residentBytes()
{
    long total = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return resident * ::sysconf(_SC_PAGESIZE);
}

} // namespace

/// bench-listing ROOT [RUNS [REST]]: what one scan of the watcher does, a fresh listing compared with the one
/// before it, timed as the median of RUNS (5), on a thread as nice as the watcher's. Prints one JSON object.
/// Before each run the process sleeps REST milliseconds (0): a processor that wakes up takes about a tenth
/// longer, and so does the watcher's own listing after its quiet times.
int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const int runs = arguments.size() > 2 ? arguments.at(2).toInt() : 5;
    const std::chrono::milliseconds rest(arguments.size() > 3 ? arguments.at(3).toInt() : 0);
    if (argc < 2 || runs < 1 || rest.count() < 0) {
        std::fprintf(stderr, "usage: bench-listing ROOT [RUNS [REST]]\n");
        return 2;
    }
    (void)::setpriority(PRIO_PROCESS, 0, 10);

    bool hasProblem = false;
    const auto onError = [&](const QString &message) {
        hasProblem = true;
        std::fprintf(stderr, "%s\n", qPrintable(message));
    };
    const std::vector<std::filesystem::path> roots{argv[1]};

    const long before = residentBytes();
    Listing listing = Listing::take(roots, onError);
    const long used = residentBytes() - before;

    std::vector<double> seconds;
    std::size_t renames = 0;
    for (int run = 0; run < runs; ++run) {
        std::this_thread::sleep_for(rest);
        const auto start = std::chrono::steady_clock::now();
        listing.refresh(roots, onError, [&](const RenameJob &) { ++renames; });
        seconds.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    std::ranges::sort(seconds);
    const auto files = static_cast<long>(listing.count());
    std::printf(
        "{\"files\": %ld, \"renames\": %zu, \"seconds\": %.4f, \"fastest\": %.4f, \"bytesPerFile\": %.0f}\n",
        files, renames, seconds[seconds.size() / 2], seconds.front(),
        files > 0 ? static_cast<double>(used) / static_cast<double>(files) : 0.0);
    return hasProblem ? 1 : 0;
}
