#include "platform/Dispatch.h"
#include "watch/RenameWatcher.h"

#include <QCoreApplication>
#include <QStringList>

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <thread>
#include <vector>

using namespace quorvalent;
using namespace std::chrono_literals;

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto quiet = 600ms;

/// Memory of this process that is in use, in bytes.
long residentBytes()
{
    long total = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return resident * ::sysconf(_SC_PAGESIZE);
}

double processorSeconds()
{
    timespec time = {};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double seconds(Clock::duration span)
{
    return std::chrono::duration<double>(span).count();
}

double median(std::vector<double> values)
{
    std::ranges::sort(values);
    return values[values.size() / 2];
}

} // namespace

/// bench-listing ROOT FILE FILES [RUNS]: the watcher over ROOT, which holds FILES files. Prints one JSON
/// object: the time until it listens, the memory it then takes, and as medians of RUNS (5) the processor time
/// of one change (FILE written and left alone) and the time from a rename of FILE to its report, beyond the
/// quiet time. FILE keeps its name and content.
int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const int runs = arguments.size() > 4 ? arguments.at(4).toInt() : 5;
    if (argc < 4 || runs < 1) {
        std::fprintf(stderr, "usage: bench-listing ROOT FILE FILES [RUNS]\n");
        return 2;
    }
    const std::filesystem::path file = argv[2];
    const double files = arguments.at(3).toDouble();

    std::atomic<bool> isWatching = false;
    std::atomic<int> renames = 0;
    std::atomic<bool> hasProblem = false;
    const long before = residentBytes();
    const auto start = Clock::now();
    QString reported;
    RenameWatcher watcher(
        [&](const RenameJob &job) {
            reported = job.identity();
            ++renames;
        },
        [&](const QString &message) {
            hasProblem = true;
            std::fprintf(stderr, "%s\n", qPrintable(message));
        },
        {250ms, quiet, 1000ms});
    watcher.start({argv[1]}, [&] { isWatching = true; });
    while (!isWatching)
        std::this_thread::sleep_for(1ms);
    const double started = seconds(Clock::now() - start);
    const long used = residentBytes() - before;

    std::vector<double> changes;
    std::vector<double> delays;
    for (int run = 0; run < runs; ++run) {
        const double idle = processorSeconds();
        std::ofstream(file, std::ios::app).flush(); // opened for writing and closed: an event, the same bytes
        std::this_thread::sleep_for(quiet + 200ms);
        changes.push_back(processorSeconds() - idle);

        std::filesystem::path renamed = file;
        renamed.replace_extension(".renamed");
        const int known = renames;
        const auto begin = Clock::now();
        std::filesystem::rename(file, renamed);
        while (renames == known && Clock::now() - begin < 30s)
            std::this_thread::sleep_for(200us);
        delays.push_back(seconds(Clock::now() - begin - quiet));
        std::filesystem::rename(renamed, file);
        watcher.complete(reported);
        std::this_thread::sleep_for(quiet + 200ms);
    }
    std::printf("{\"start\": %.4f, \"bytesPerFile\": %.0f, \"change\": %.6f, \"recognised\": %.4f}\n",
                started, static_cast<double>(used) / files, median(changes), median(delays));
    return hasProblem ? 1 : 0;
}
