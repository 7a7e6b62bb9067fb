#include "convert/OriginalsStore.h"

#include "platform/Error.h"

#include <unistd.h>

#include <algorithm>
#include <functional>
#include <string>
#include <system_error>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr auto privateFolder = fs::perms::owner_all;
// More steps than anybody takes within a day.
constexpr int mostSteps = 100;
// An entry without its original may be one that another program is about to fill.
constexpr auto timeToFill = 1min;

fs::path volumesIn(const fs::path &home)
{
    return home / "volumes";
}

std::string nameOnVolume()
{
    return ".quorvalent-originals-" + std::to_string(::geteuid());
}

// Throws std::filesystem::filesystem_error or FileError.
std::uint64_t deviceOf(const Files &files, const fs::path &folder)
{
    return files.attributes(fs::canonical(folder)).device;
}

fs::path topOfVolume(const Files &files, const fs::path &folder)
{
    fs::path top = fs::canonical(folder);
    const std::uint64_t device = deviceOf(files, top);
    while (top.has_relative_path() && deviceOf(files, top.parent_path()) == device)
        top = top.parent_path();
    return top;
}

fs::path nearestExisting(fs::path folder)
{
    while (!fs::exists(folder) && folder.has_relative_path())
        folder = folder.parent_path();
    return folder;
}

} // namespace

OriginalsStore::OriginalsStore(const Files &files, fs::path home, Clock now)
    : m_files(files)
    , m_home(std::move(home))
    , m_now(std::move(now))
{}

KeptOriginal::Time OriginalsStore::systemTime()
{
    return std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
}

std::optional<OriginalsFolder> OriginalsStore::folderFor(const fs::path &folder) const
{
    try {
        if (deviceOf(m_files, nearestExisting(m_home)) == deviceOf(m_files, folder))
            return OriginalsFolder(m_files, m_home);
        return OriginalsFolder(m_files, topOfVolume(m_files, folder) / nameOnVolume());
    } catch (const std::exception &) {
        return std::nullopt; // the folder cannot be looked at
    }
}

bool OriginalsStore::makeHome() const
{
    std::error_code failure;
    fs::create_directories(m_home.parent_path().parent_path(), failure);
    for (const fs::path &folder : {m_home.parent_path(), m_home}) {
        if (fs::create_directory(folder, failure))
            fs::permissions(folder, privateFolder, failure);
    }
    return OriginalsFolder(m_files, m_home).isUsable();
}

// A link in the state folder, so that what is kept on a volume is found again whatever is watched then.
bool OriginalsStore::remember(const OriginalsFolder &folder) const
{
    std::error_code failure;
    fs::create_directory(volumesIn(m_home), failure);
    const fs::path link =
        volumesIn(m_home) / std::to_string(std::hash<std::string>()(folder.path().native()));
    fs::create_symlink(folder.path(), link, failure);
    return fs::is_symlink(link, failure);
}

bool OriginalsStore::keep(const fs::path &from, const std::string &name, const FileStamp &original,
                          const FileStamp &result, std::chrono::minutes span) const
{
    const std::optional<OriginalsFolder> folder = folderFor(from.parent_path());
    if (!folder || !makeHome())
        return false;
    const bool isAtHome = folder->path() == m_home;
    try {
        if (!m_files.attributes(from).isOwn)
            return false;
        if (!folder->create() || (!isAtHome && !remember(*folder)) || !makeRoomWithin(*folder, original.size))
            return false;
        folder->keep(from, {name, FileMark::of(original), FileMark::of(result), m_now(), span, {}});
        return true;
    } catch (const Error &) {
        if (!isAtHome)
            folder->removeIfEmpty();
        return false;
    }
}

// Within the share of the volume that kept originals may take.
bool OriginalsStore::makeRoomWithin(const OriginalsFolder &folder, std::uint64_t bytes) const
{
    const std::optional<std::uint64_t> free = m_files.freeBytes(folder.path());
    const std::uint64_t most = free ? std::min(mostBytes, *free / partOfFreeSpace) : mostBytes;
    if (bytes > most)
        return false;
    std::vector<KeptOriginal> kept = folder.all();
    std::uint64_t total = bytes;
    for (const KeptOriginal &one : kept)
        total += one.original.sizeBytes;
    for (auto oldest = kept.begin(); total > most && oldest != kept.end(); ++oldest) {
        folder.drop(*oldest);
        total -= oldest->original.sizeBytes;
    }
    return true;
}

std::optional<OriginalsStore::Return> OriginalsStore::returnOf(const RenameJob &job) const
{
    const std::optional<OriginalsFolder> folder = folderFor(job.newURL.parent_path());
    if (!folder || !folder->isUsable())
        return std::nullopt;
    const QString wanted = pathExtension(job.newURL).toLower();
    Return found;
    FileMark file = FileMark::of(job.stamp);
    for (int step = 0; step < mostSteps; ++step) {
        const std::optional<KeptOriginal> before = folder->replacedBy(file);
        if (!before)
            return std::nullopt;
        if (pathExtension(before->name).toLower() == wanted) {
            found.original = *before;
            return found;
        }
        found.between.push_back(*before);
        file = before->original;
    }
    return std::nullopt;
}

void OriginalsStore::finish(const Return &taken) const
{
    const OriginalsFolder folder(m_files, taken.original.entry.parent_path());
    folder.drop(taken.original);
    for (const KeptOriginal &step : taken.between)
        folder.drop(step);
}

void OriginalsStore::makeRoom(const fs::path &folder, std::uint64_t bytes) const
{
    const std::optional<OriginalsFolder> place = folderFor(folder);
    if (!place || !place->isUsable())
        return;
    for (const KeptOriginal &oldest : place->all()) {
        const std::optional<std::uint64_t> free = m_files.freeBytes(folder);
        if (!free || *free >= bytes)
            return;
        place->drop(oldest);
    }
}

std::optional<std::chrono::seconds> OriginalsStore::expire(std::optional<std::chrono::minutes> most) const
{
    std::vector<fs::path> links;
    std::error_code failure; // no volumes are remembered
    for (const auto &link : fs::directory_iterator(volumesIn(m_home), failure))
        links.push_back(link.path());

    std::optional<std::chrono::seconds> next;
    const auto expireIn = [&](const OriginalsFolder &folder) {
        for (const KeptOriginal &kept : folder.all()) {
            // Whichever way the clock was set, nothing stays longer than it should from now on.
            const auto age = std::chrono::abs(m_now() - kept.since);
            const bool isEmpty = !kept.name.empty() && !m_files.exists(kept.file());
            auto allowed = std::min(kept.span, most.value_or(kept.span));
            if (isEmpty)
                allowed = std::min<std::chrono::minutes>(allowed, timeToFill);
            if (age >= allowed)
                folder.drop(kept);
            else
                next =
                    std::min<std::chrono::seconds>(next.value_or(std::chrono::seconds::max()), allowed - age);
        }
    };
    expireIn(OriginalsFolder(m_files, m_home));
    for (const fs::path &link : links) {
        const OriginalsFolder folder(m_files, fs::read_symlink(link, failure));
        if (failure || !folder.isUsable())
            continue; // the volume is not there at present
        expireIn(folder);
        folder.removeIfEmpty();
        if (!m_files.exists(folder.path()))
            fs::remove(link, failure);
    }
    return next;
}

} // namespace quorvalent
