#include "convert/SwapJournal.h"

#include "convert/JournalFields.h"

#include <vector>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;

constexpr char signature[] = "quorvalent replacement 1";
constexpr char ending[] = "end";
constexpr std::size_t fieldCount = 9;

QString fileNumberOf(const FileStamp &stamp)
{
    return stamp.identity.section(QLatin1Char('-'), 1);
}

} // namespace

SwapJournal SwapJournal::of(const RenameJob &job, fs::path collisionName, bool keepsOriginal)
{
    return {job.oldURL.filename(),   job.newURL.filename(), std::move(collisionName), keepsOriginal,
            fileNumberOf(job.stamp), job.stamp.size,        job.stamp.modified};
}

bool SwapJournal::isOriginal(const FileAttributes &found) const
{
    return found.type == FileType::Regular && QString::number(found.inode) == fileNumber &&
           found.sizeBytes == sizeBytes && found.modified == modified;
}

std::string SwapJournal::encoded() const
{
    return JournalFields::joined({signature, oldName.native(), newName.native(), collisionName.native(),
                                  keepsOriginal ? "keep" : "replace", fileNumber.toStdString(),
                                  std::to_string(sizeBytes),
                                  std::to_string(modified.time_since_epoch().count()), ending});
}

std::optional<SwapJournal> SwapJournal::decoded(const std::string &bytes)
{
    using JournalFields::isPlainName;
    const auto split = JournalFields::split(bytes, fieldCount);
    if (!split)
        return std::nullopt;
    const std::vector<std::string> &fields = *split;
    SwapJournal journal{
        fields[1], fields[2], fields[3], fields[4] == "keep", QString::fromStdString(fields[5]), 0, {}};
    std::int64_t nanoseconds = 0;
    const bool isSound = fields[0] == signature && fields[8] == ending && isPlainName(fields[1]) &&
                         isPlainName(fields[2]) && isPlainName(fields[3]) &&
                         JournalFields::parse(fields[6], journal.sizeBytes) &&
                         JournalFields::parse(fields[7], nanoseconds);
    if (!isSound)
        return std::nullopt;
    journal.modified = FileTime(std::chrono::nanoseconds(nanoseconds));
    return journal;
}

} // namespace quorvalent
