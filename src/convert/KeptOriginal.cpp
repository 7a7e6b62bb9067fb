#include "convert/KeptOriginal.h"

#include "convert/JournalFields.h"
#include "platform/Error.h"

namespace quorvalent {

namespace {

constexpr char signature[] = "quorvalent original 1";
constexpr char ending[] = "end";
constexpr std::size_t fieldCount = 11;

void append(std::vector<std::string> &fields, const FileMark &mark)
{
    fields.push_back(mark.fileNumber.toStdString());
    fields.push_back(std::to_string(mark.sizeBytes));
    fields.push_back(std::to_string(mark.modified.time_since_epoch().count()));
}

bool read(FileMark &mark, const std::vector<std::string> &fields, std::size_t at)
{
    mark.fileNumber = QString::fromStdString(fields[at]);
    std::int64_t nanoseconds = 0;
    if (!JournalFields::parse(fields[at + 1], mark.sizeBytes) ||
        !JournalFields::parse(fields[at + 2], nanoseconds))
        return false;
    mark.modified = FileTime(std::chrono::nanoseconds(nanoseconds));
    return true;
}

} // namespace

FileMark FileMark::of(const FileStamp &stamp)
{
    return {stamp.identity.section(QLatin1Char('-'), 1), stamp.size, stamp.modified};
}

bool FileMark::isAt(const std::filesystem::path &location) const
{
    try {
        return of(FileStamp::read(location)) == *this;
    } catch (const Error &) {
        return false;
    }
}

std::string KeptOriginal::encoded() const
{
    std::vector<std::string> fields{signature, name};
    append(fields, original);
    append(fields, result);
    fields.push_back(std::to_string(since.time_since_epoch().count()));
    fields.push_back(std::to_string(span.count()));
    fields.emplace_back(ending);
    return JournalFields::joined(fields);
}

std::optional<KeptOriginal> KeptOriginal::decoded(const std::string &bytes)
{
    const auto fields = JournalFields::split(bytes, fieldCount);
    if (!fields)
        return std::nullopt;
    KeptOriginal kept;
    kept.name = (*fields)[1];
    std::int64_t seconds = 0;
    std::int64_t minutes = 0;
    const bool isSound = fields->front() == signature && fields->back() == ending &&
                         JournalFields::isPlainName(kept.name) && read(kept.original, *fields, 2) &&
                         read(kept.result, *fields, 5) && JournalFields::parse((*fields)[8], seconds) &&
                         JournalFields::parse((*fields)[9], minutes);
    if (!isSound)
        return std::nullopt;
    kept.since = Time(std::chrono::seconds(seconds));
    kept.span = std::chrono::minutes(minutes);
    return kept;
}

} // namespace quorvalent
