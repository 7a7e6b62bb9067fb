#include "platform/cage/CageLimits.h"

#include "platform/Error.h"

#include <sys/statvfs.h>
#include <sys/sysinfo.h>

#include <algorithm>
#include <cerrno>
#include <fstream>

namespace quorvalent {

namespace {

constexpr std::uint64_t gibibyte = 1ULL << 30;

// What x264 reserves for an 8K film on 16 cores; where the machine has less, the kernel's killer decides.
constexpr std::uint64_t leastMemoryBytes = 16 * gibibyte;
// Room for what the conversion starts on the largest machines, and for what its user starts meanwhile.
constexpr std::uint64_t furtherTasks = 4096;
// Some ten times what a conversion was seen to hold open.
constexpr std::uint64_t mostOpenFiles = 256;

// All of it, because what is reserved counts, and encoders touch two thirds of that.
std::uint64_t memoryOfThisMachine()
{
    struct sysinfo machine = {};
    if (::sysinfo(&machine) != 0)
        return leastMemoryBytes;
    return std::max(std::uint64_t{machine.totalram} * machine.mem_unit, leastMemoryBytes);
}

// Twice what is free, because a file system that compresses holds more than it has room for, and what
// somebody may free meanwhile: a disk that fills up is to be told as such, before this limit.
std::uint64_t fileRoomAt(const std::filesystem::path &workFolder)
{
    struct statvfs volume = {};
    if (::statvfs(workFolder.c_str(), &volume) != 0)
        throw FileError(errno, workFolder);
    return std::uint64_t{volume.f_bavail} * volume.f_frsize * 2 + gibibyte;
}

// The tasks of all users are at least those of ours, which cannot be counted without reading all of /proc.
// (sysinfo() has this number in 16 bits.)
std::optional<std::uint64_t> tasksOfThisMachine()
{
    std::ifstream load("/proc/loadavg"); // "0.20 0.18 0.12 1/80 11206": running/all tasks
    std::string field;
    for (int skipped = 0; skipped < 3; ++skipped)
        load >> field;
    std::uint64_t running = 0;
    std::uint64_t all = 0;
    char slash = 0;
    if (!(load >> running >> slash >> all))
        return std::nullopt;
    return all + furtherTasks;
}

} // namespace

CageLimits CageLimits::forConversion(const std::filesystem::path &workFolder)
{
    CageLimits limits = forReading();
    limits.fileBytes = fileRoomAt(workFolder);
    return limits;
}

CageLimits CageLimits::forReading()
{
    return {.memoryBytes = memoryOfThisMachine(),
            .fileBytes = 0,
            .userTasks = tasksOfThisMachine(),
            .openFiles = mostOpenFiles};
}

} // namespace quorvalent
