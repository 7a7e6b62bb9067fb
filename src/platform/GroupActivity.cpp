#include "platform/GroupActivity.h"

#include <sys/stat.h>

#include <algorithm>
#include <ctime>
#include <fstream>
#include <sstream>
#include <string>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;

// Where the system hides processes that cannot be traced (hidepid), their clock can still be read.
std::int64_t ownTicks(pid_t process)
{
    clockid_t clock = 0;
    timespec used = {};
    if (::clock_getcpuclockid(process, &clock) != 0 || ::clock_gettime(clock, &used) != 0)
        return 0;
    constexpr std::int64_t nanosecondsOfTick = 10'000'000;
    return std::int64_t{used.tv_sec} * 100 + used.tv_nsec / nanosecondsOfTick;
}

// A process's time and that of its children that have ended, where it belongs to the group.
std::int64_t ticksWithin(pid_t leader, const fs::path &process)
{
    std::ifstream file(process / "stat");
    std::string line;
    std::getline(file, line, '\0');
    const std::size_t endOfName = line.rfind(')'); // a name may hold anything
    if (endOfName == std::string::npos)
        return 0;
    std::istringstream rest(line.substr(endOfName + 1));
    std::string state;
    std::int64_t parent = 0;
    std::int64_t group = 0;
    rest >> state >> parent >> group;
    if (group != leader)
        return 0;
    constexpr int betweenGroupAndTimes = 8;
    std::string passedOver;
    for (int field = 0; field < betweenGroupAndTimes; ++field)
        rest >> passedOver;
    std::int64_t sum = 0;
    std::int64_t ticks = 0;
    for (int field = 0; field < 4 && rest >> ticks; ++field)
        sum += ticks;
    return sum;
}

} // namespace

GroupActivity GroupActivity::now(pid_t leader, const fs::path &folder)
{
    GroupActivity activity{.processorTicks = ownTicks(leader)};
    std::error_code ended;
    for (auto process = fs::directory_iterator("/proc", ended); !ended && process != fs::directory_iterator();
         process.increment(ended)) {
        const std::string name = process->path().filename().native();
        if (std::ranges::all_of(name, [](char digit) { return digit >= '0' && digit <= '9'; }))
            activity.processorTicks += ticksWithin(leader, process->path());
    }
    for (auto file = fs::directory_iterator(folder, ended); !ended && file != fs::directory_iterator();
         file.increment(ended)) {
        struct stat found = {};
        if (::lstat(file->path().c_str(), &found) != 0)
            continue;
        constexpr std::int64_t nanosecondsOfSecond = 1'000'000'000;
        activity.newestChange =
            std::max(activity.newestChange,
                     std::int64_t{found.st_mtim.tv_sec} * nanosecondsOfSecond + found.st_mtim.tv_nsec);
        activity.blocks += found.st_blocks;
    }
    return activity;
}

} // namespace quorvalent
