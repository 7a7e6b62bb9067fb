#include "core/RenameJob.h"

namespace quorvalent {

RenameJob RenameJob::movedTo(const std::filesystem::path &place) const
{
    std::filesystem::path former = nameWithoutExtension(place);
    former += oldURL.extension();
    return {place.parent_path() / former, place, stamp};
}

bool RenameJob::changesExtension() const
{
    return pathExtension(oldURL).toLower() != pathExtension(newURL).toLower();
}

QString pathExtension(const std::filesystem::path &path)
{
    return QString::fromStdString(path.extension().native()).mid(1);
}

std::filesystem::path nameWithoutExtension(const std::filesystem::path &path)
{
    return path.stem();
}

} // namespace quorvalent
