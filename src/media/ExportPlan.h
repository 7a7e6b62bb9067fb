#pragma once

#include "media/SourceMedia.h"

#include <QStringList>

#include <optional>
#include <string>
#include <vector>

namespace quorvalent {

/// How much of a source an export keeps. The highest passes through untouched whatever the file type can
/// carry; the others re-encode, each within a size and a bit rate of its own.
enum class ExportPreset { HighestQuality, MediumQuality, LowQuality };

enum class MovieFileType { QuickTimeMovie, AppleM4V, Mpeg4 };

/// One track of the movie to be written.
struct PlannedTrack
{
    int sourceIndex = 0; ///< FFmpeg's number of the source's stream
    SourceStream::Kind kind = SourceStream::Kind::Other;
    bool isCopied = false;         ///< every sample as it is in the source
    QString codec;                 ///< of the result, FFmpeg's short name
    std::optional<double> seconds; ///< as the source states it
    double startSeconds = 0;       ///< in the source
    int width = 0;                 ///< pixels to be stored; video only
    int height = 0;
    int rotationDegrees = 0; ///< clockwise, as in MovieTrack

    bool operator==(const PlannedTrack &) const = default;
};

/// What an export is going to do, decided before anything is written.
struct ExportPlan
{
    std::vector<PlannedTrack> tracks;   ///< in the order of the result
    std::vector<std::string> arguments; ///< FFmpeg's, between the input and the name of the output
    QStringList omissions;              ///< a French sentence for each stream that stays behind
    std::optional<double> seconds;      ///< of the source as a whole

    bool operator==(const ExportPlan &) const = default;
};

/// Nothing when the source cannot become such a file: nothing to see or hear in it, encrypted, cut off, or
/// with a stream that has to be re-encoded and cannot be. Pure; any thread.
[[nodiscard]] std::optional<ExportPlan> planExport(const SourceMedia &source, ExportPreset preset,
                                                   MovieFileType type);

} // namespace quorvalent
