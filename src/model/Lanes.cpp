#include "model/Lanes.h"

#include "core/MediaFamilies.h"
#include "core/RenamePolicy.h"

#include <algorithm>

namespace quorvalent {

namespace {

// Below, a person waits for each of them, and one after the other the first is done soonest.
constexpr std::size_t waitingThatOpen = 4;

constexpr int fewestLanes = 2; // while one conversion flushes its result, another computes
constexpr int mostLanes = 8;   // beyond, the disk is what they all wait for

constexpr std::uint64_t mebibyte = 1 << 20;
constexpr std::uint64_t helperBytes = 64 * mebibyte; // libraries, buffers, an encoder beside it

// Bytes of memory for a byte of the file, by how tightly a format packs its pixels. Generous: most
// conversions go through a picture in strips.
std::uint64_t growthOf(const QString &format)
{
    static const QStringList tight{QStringLiteral("heic"), QStringLiteral("heif"), QStringLiteral("webp")};
    static const QStringList plain{QStringLiteral("bmp"), QStringLiteral("tif"), QStringLiteral("tiff")};
    if (tight.contains(format))
        return 100;
    return plain.contains(format) ? 2 : 20;
}

} // namespace

LaneDemand LaneDemand::of(const RenameJob &job)
{
    if (RenameProtection::reason(job))
        return {}; // it gets its name back, and that is all
    const QString source = pathExtension(job.oldURL).toLower();
    if (videoExtensions().contains(source))
        return {.runsAlone = true};
    if (audioExtensions().contains(source))
        return {.memoryBytes = helperBytes}; // sounds are streamed
    return {.memoryBytes = helperBytes + job.stamp.size * growthOf(source)};
}

void Lanes::update(std::size_t waiting)
{
    if (m_asked)
        m_isOpen = *m_asked > 1;
    else if (waiting >= waitingThatOpen)
        m_isOpen = true;
    else if (waiting == 0)
        m_isOpen = false;
}

bool Lanes::admit(const LaneDemand &next, const std::vector<LaneDemand> &running,
                  const Machine &machine) const
{
    if (running.empty())
        return true;
    if (!m_isOpen || running.size() >= count(machine) || next.runsAlone)
        return false;
    std::uint64_t bytes = next.memoryBytes;
    for (const LaneDemand &one : running) {
        if (one.runsAlone)
            return false;
        bytes += one.memoryBytes;
    }
    return bytes <= machine.availableBytes / 2;
}

int Lanes::threadsFor(std::size_t sideBySide, const Machine &machine) const
{
    if (!m_isOpen)
        return 0;
    const auto shared = static_cast<int>(std::clamp<std::size_t>(sideBySide, 1, count(machine)));
    // Rounded up: no conversion keeps all its threads busy all the time.
    return std::max(1, (machine.cores + shared - 1) / shared);
}

std::size_t Lanes::count(const Machine &machine) const
{
    return static_cast<std::size_t>(m_asked.value_or(std::clamp(machine.cores, fewestLanes, mostLanes)));
}

} // namespace quorvalent
