#pragma once

#include <taglib/tbytevector.h>
#include <taglib/tpropertymap.h>

#include <filesystem>
#include <vector>

namespace quorvalent {

struct CoverPicture
{
    TagLib::ByteVector bytes;
    TagLib::String mimeType;
    TagLib::String description;
    int kind = 3; ///< as ID3v2 numbers them: 3 is the front cover
};

/// What is written on a sound, in the names that all formats share. Track and disc are "number/total".
struct TagSet
{
    TagLib::PropertyMap texts;
    std::vector<CoverPicture> covers;

    [[nodiscard]] bool isEmpty() const { return texts.isEmpty() && covers.empty(); }
};

/// What the file's tags hold, of all kinds of tags that its format has, less what describes its encoding.
/// Empty when there are none that can be read.
[[nodiscard]] TagSet readTags(const std::filesystem::path &path);

/// Replaces the file's tags; false when it can hold none. A failed write may leave the file unusable.
[[nodiscard]] bool writeTags(const std::filesystem::path &path, const TagSet &tags);

} // namespace quorvalent
