#include "convert/SwapJournal.h"

#include <array>
#include <charconv>

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

bool isPlainName(const std::string &name)
{
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

template <typename Number>
bool parse(const std::string &text, Number &into)
{
    const char *end = text.data() + text.size();
    const auto [stop, failure] = std::from_chars(text.data(), end, into);
    return failure == std::errc() && stop == end;
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
    std::string bytes;
    const std::array<std::string, fieldCount> fields = {signature,
                                                        oldName.native(),
                                                        newName.native(),
                                                        collisionName.native(),
                                                        keepsOriginal ? "keep" : "replace",
                                                        fileNumber.toStdString(),
                                                        std::to_string(sizeBytes),
                                                        std::to_string(modified.time_since_epoch().count()),
                                                        ending};
    for (const std::string &field : fields)
        bytes += field + '\0';
    return bytes;
}

std::optional<SwapJournal> SwapJournal::decoded(const std::string &bytes)
{
    std::array<std::string, fieldCount> fields;
    std::size_t at = 0;
    for (std::string &field : fields) {
        const std::size_t end = bytes.find('\0', at);
        if (end == std::string::npos)
            return std::nullopt;
        field = bytes.substr(at, end - at);
        at = end + 1;
    }
    SwapJournal journal{
        fields[1], fields[2], fields[3], fields[4] == "keep", QString::fromStdString(fields[5]), 0, {}};
    std::int64_t nanoseconds = 0;
    const bool isSound = fields[0] == signature && fields[8] == ending && isPlainName(fields[1]) &&
                         isPlainName(fields[2]) && isPlainName(fields[3]) &&
                         parse(fields[6], journal.sizeBytes) && parse(fields[7], nanoseconds);
    if (!isSound)
        return std::nullopt;
    journal.modified = FileTime(std::chrono::nanoseconds(nanoseconds));
    return journal;
}

} // namespace quorvalent
