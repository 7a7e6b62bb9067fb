#pragma once

#include "platform/update/SigningKey.h"

#include <filesystem>
#include <string>
#include <vector>

namespace quorvalent::test {

enum class EntryType { File, Folder, Link, HardLink, Device };

struct ArchiveEntry
{
    std::string name;
    EntryType type = EntryType::File;
    std::string content = {}; ///< of a file; the target of a link
    unsigned mode = 0644;
};

/// Writes a tar archive, compressed by zstd when the name ends so.
void writeArchive(const std::filesystem::path &path, const std::vector<ArchiveEntry> &entries);

/// The release of this archive, with everything about it right.
[[nodiscard]] UpdateRelease signedRelease(const SigningKey &key, const char *version,
                                          const std::filesystem::path &archive);

} // namespace quorvalent::test
