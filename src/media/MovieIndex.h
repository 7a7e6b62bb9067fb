#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace quorvalent {

/// One track of a movie file, as the file's index describes it.
struct MovieTrack
{
    std::string handler;           ///< four characters: "vide", "soun", "sbtl", "text", "tmcd", "meta", …
    std::string sampleFormat;      ///< four characters of the first sample description: "avc1", "mp4a", …
    int objectType = 0;            ///< MPEG-4 object type of an "mp4a" description; 0 when it has none
    std::uint64_t samples = 0;     ///< in the index itself; those of later fragments do not count
    std::uint64_t sampleBytes = 0; ///< of all of them
    double sampleSeconds = 0;      ///< how long all of them last
    double seconds = 0;            ///< what is played of it, without the pause before its start
    int width = 0;                 ///< pixels as stored
    int height = 0;
    int rotationDegrees = 0;    ///< clockwise turn that a player applies: 0, 90, 180 or 270
    bool isChapterList = false; ///< another track names it as its chapters

    bool operator==(const MovieTrack &) const = default;
};

/// The index of a file of the QuickTime and MPEG-4 family, read by ourselves: a millisecond where starting a
/// probe takes sixty, and an opinion of its own on what another program wrote.
struct MovieIndex
{
    std::string brand;         ///< four characters, empty in old QuickTime files
    bool precedesData = false; ///< a player over the network may start at once
    bool hasFragments = false; ///< more samples follow in parts outside this index
    bool isTruncated = false;  ///< the file ends before its media data does
    bool isEncrypted = false;  ///< some track is
    bool hasMakerTags = false; ///< metadata under the maker's own keys
    bool hasCoverPicture = false;
    std::uint64_t dataBytes = 0;    ///< of media data that the file holds
    double seconds = 0;             ///< of the whole movie
    std::vector<MovieTrack> tracks; ///< in the order of the file

    bool operator==(const MovieIndex &) const = default;

    /// Nothing when the file is of another kind, cannot be read or has a broken index. Memory grows with the
    /// index (about 20 bytes a sample), not with the media.
    [[nodiscard]] static std::optional<MovieIndex> read(const std::filesystem::path &path);
};

} // namespace quorvalent
