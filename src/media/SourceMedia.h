#pragma once

#include <QByteArray>
#include <QString>

#include <filesystem>
#include <optional>
#include <vector>

namespace quorvalent {

struct MovieIndex;

/// One stream of a media file, with everything that decides whether and how it travels into a movie.
struct SourceStream
{
    enum class Kind { Video, Audio, Subtitle, CoverPicture, Timecode, Chapters, Other };

    int index = 0; ///< FFmpeg's number for it
    Kind kind = Kind::Other;
    QString codec;                 ///< FFmpeg's short name, empty when unknown
    QString profile;               ///< as FFmpeg names it, empty when unknown
    QString title;                 ///< of this track, from Matroska
    std::optional<double> seconds; ///< as the file states it; some writers of Matroska count from zero
    double startSeconds = 0;
    bool isEncrypted = false;
    /// Enough is known of the content to decode it; always false where only the file's index was read.
    bool isDecodable = false;

    int width = 0; ///< pixels as stored, before the rotation
    int height = 0;
    double pixelAspect = 1;  ///< width of a pixel over its height
    int rotationDegrees = 0; ///< clockwise turn that a player applies: 0, 90, 180 or 270
    bool isInterlaced = false;
    bool isRgb = false;
    bool isFullRange = false; ///< black is 0, not 16
    bool hasReorderedFrames = false;
    int dolbyVisionProfile = 0; ///< 0 when it is not Dolby Vision
    QString transfer;           ///< FFmpeg's names, empty when unspecified
    QString primaries;
    QString matrix;

    int channels = 0;
    int bitrateKbps = 0; ///< 0 when unknown

    bool operator==(const SourceStream &) const = default;

    [[nodiscard]] bool isHighDynamicRange() const;
};

/// A media file as the start of an export needs to know it.
struct SourceMedia
{
    QString format; ///< FFmpeg's names for the container, joined by commas
    std::vector<SourceStream> streams;
    std::optional<double> seconds;
    bool hasMakerTags = false; ///< metadata under the maker's own keys
    bool isTruncated = false;  ///< the file ends before its media data does

    bool operator==(const SourceMedia &) const = default;

    /// Asks FFmpeg's probe, which takes about 70 ms whatever the length. Nothing when the file is no movie or
    /// sound that it can read; FileError when the probe cannot run. Blocks.
    [[nodiscard]] static std::optional<SourceMedia> read(const std::filesystem::path &path);

    /// The same from the probe's JSON answer.
    [[nodiscard]] static std::optional<SourceMedia> fromProbe(const QByteArray &json);

    /// What an index alone can tell: enough to pass streams through, never to decode one. Nothing when the
    /// file holds anything out of the ordinary, which the probe then has to look at.
    [[nodiscard]] static std::optional<SourceMedia> fromIndex(const MovieIndex &index);
};

} // namespace quorvalent
