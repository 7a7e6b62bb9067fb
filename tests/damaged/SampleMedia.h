#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace quorvalent::test {

/// A small sound file, picture or video.
struct Sample
{
    std::string family;    ///< "image", "audio" or "video"
    std::string extension; ///< with the dot
    std::string bytes;
};

/// One of every format, made below `folder`.
[[nodiscard]] std::vector<Sample> madeSamples(const std::filesystem::path &folder);

/// The small files of a folder with subfolders named after the families.
[[nodiscard]] std::vector<Sample> samplesIn(const std::filesystem::path &folder);

/// The sample with something wrong: cut short, bits flipped anywhere or among the headers, a part zeroed,
/// left out or repeated. The same for the same number, on every machine.
[[nodiscard]] std::string damaged(const Sample &sample, unsigned number);

} // namespace quorvalent::test
