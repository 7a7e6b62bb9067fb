#include "core/FileStamp.h"

#include "core/ConversionError.h"

namespace quorvalent {

FileStamp FileStamp::read(const std::filesystem::path &location)
{
    const FileAttributes attributes = Files().attributes(location);
    if (attributes.type != FileType::Regular)
        throw ConversionError(QStringLiteral("Ce fichier n’est pas un fichier ordinaire."));
    return {identityOf(attributes.device, attributes.inode), attributes.sizeBytes, attributes.modified};
}

bool FileStamp::isAt(const std::filesystem::path &location) const
{
    try {
        return read(location) == *this;
    } catch (const Error &) {
        return false;
    }
}

bool FileStamp::isSameFile(const std::filesystem::path &location) const
{
    try {
        return read(location).identity == identity;
    } catch (const Error &) {
        return false;
    }
}

QString FileStamp::identityOf(std::uint64_t device, std::uint64_t inode)
{
    return QString::number(device) + QLatin1Char('-') + QString::number(inode);
}

} // namespace quorvalent
