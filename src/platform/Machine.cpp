#include "platform/Machine.h"

#include <algorithm>
#include <fstream>
#include <limits>
#include <string>
#include <thread>

namespace quorvalent {

namespace {

std::uint64_t availableMemoryBytes()
{
    std::ifstream kernel("/proc/meminfo");
    std::string key;
    std::uint64_t kibibytes = 0;
    while (kernel >> key >> kibibytes) {
        if (key == "MemAvailable:")
            return kibibytes << 10;
        kernel.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    }
    return 0;
}

} // namespace

Machine Machine::now()
{
    // The C library counts what the process's affinity allows.
    return {static_cast<int>(std::max(1U, std::thread::hardware_concurrency())), availableMemoryBytes()};
}

} // namespace quorvalent
