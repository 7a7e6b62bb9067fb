#pragma once

#include "platform/ChildProcess.h"
#include "platform/FileDescriptor.h"

#include <QString>

#include <chrono>
#include <filesystem>
#include <optional>
#include <vector>

namespace quorvalent {

using MediaSeconds = std::chrono::duration<double>;

/// Where packets of one stream lie, on the file's own time line.
struct MediaExtent
{
    MediaSeconds first{0}; ///< start of the first packet
    MediaSeconds last{0};  ///< start of the last one
    MediaSeconds end{0};   ///< end of the last one

    bool operator==(const MediaExtent &) const = default;
};

struct MediaStream
{
    enum class Kind { Video, Audio, Subtitle, AttachedPicture, Attachment, Timecode, Chapters, Data };

    Kind kind = Kind::Data;
    QString codec; ///< FFmpeg's short name, empty when unknown
    int width = 0; ///< pixels as stored, before the rotation
    int height = 0;
    int rotationDegrees = 0; ///< counter-clockwise turn that a player applies, -180 to 180
    int sampleRate = 0;      ///< Hz
    int channels = 0;
    QString channelLayout;                ///< FFmpeg's name, empty when unknown
    bool isDefault = false;               ///< marked by the file as the one to play
    std::optional<MediaSeconds> duration; ///< as the file states it
    std::optional<MediaExtent> packets;   ///< of the packets that were read, where any were
    MediaSeconds packetSeconds{0};        ///< their lengths together, wherever they lie

    bool operator==(const MediaStream &) const = default;
};

/// What an audio or video file says of itself.
struct MediaAsset
{
    QString format; ///< FFmpeg's names for the container, joined by commas
    std::vector<MediaStream> streams;
    std::optional<MediaSeconds> duration;
    /// The file states no length: it was guessed from the first bit rates and may be off by a tenth or more.
    bool isDurationEstimated = false;
    int chapters = 0;              ///< as far as the headers tell
    bool hasUnlistedCover = false; ///< from headers alone, a movie's cover is not among the streams

    bool operator==(const MediaAsset &) const = default;

    /// What the file's own headers say, read without a child process: a millisecond instead of sixty. Nothing
    /// when the file is none of the plain kinds that headers tell enough of (WAVE, AIFF, FLAC, MP3 with an
    /// index, movies with common codecs and one track of each kind), or not all there: the probe has to look.
    /// `packets` is set where the file is sure to hold all of them. Tracks of movies come without rate,
    /// channels and the number of chapters, FLAC without channels. FileError when the file cannot be read.
    [[nodiscard]] static std::optional<MediaAsset> fromHeaders(const std::filesystem::path &path);

    /// The same as MediaProbe's result, without anything to do meanwhile.
    [[nodiscard]] static std::optional<MediaAsset>
    read(const std::filesystem::path &path, std::optional<MediaSeconds> packetsFrom = std::nullopt);
};

/// A reading of MediaAsset that goes on in a child process while its owner does something else. Belongs to
/// one thread, as its ChildProcess does. There is no time limit, as there is none for a conversion.
class MediaProbe
{
public:
    /// `path` is absolute and means this file alone, whatever its name looks like. Headers alone take about
    /// 60 ms, whatever the length. With `packetsFrom`, the packets from about that time to the end of what is
    /// readable are listed too, without decoding them: a millisecond for two to five seconds of media.
    /// Throws FileError when the probe cannot run.
    explicit MediaProbe(const std::filesystem::path &path,
                        std::optional<MediaSeconds> packetsFrom = std::nullopt);

    /// Blocks until the answer is there. Nothing when the file is no readable media, or has nothing at
    /// `packetsFrom`. Once.
    [[nodiscard]] std::optional<MediaAsset> result();

private:
    FileDescriptor m_warnings;
    ChildProcess m_child;
};

} // namespace quorvalent
