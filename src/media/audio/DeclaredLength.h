#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

namespace quorvalent {

/// What an audio file's own headers say about its length, read without decoding anything.
struct DeclaredLength
{
    enum class Container { Other, Pcm, Flac, Mpeg, Adts, Mp4 };

    Container container = Container::Other;
    bool isTruncated = false;           ///< bytes that the header announces are missing from the file
    std::optional<std::int64_t> frames; ///< in frames of `sampleRate`
    std::optional<int> sampleRate;      ///< Hz; what `frames` counts in, half the decoded rate for HE-AAC

    bool operator==(const DeclaredLength &) const = default;
};

/// FileError when the file cannot be read; a content that nothing is known about is Container::Other.
[[nodiscard]] DeclaredLength declaredLength(const std::filesystem::path &path);

} // namespace quorvalent
