#include "core/RenameJob.h"

namespace quorvalent {

QString pathExtension(const std::filesystem::path &path)
{
    return QString::fromStdString(path.extension().native()).mid(1);
}

std::filesystem::path nameWithoutExtension(const std::filesystem::path &path)
{
    return path.stem();
}

} // namespace quorvalent
