#pragma once

#include "media/MediaAsset.h"

#include <QString>
#include <QStringList>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace quorvalent {

/// A cover picture that has to be taken out of the source, because FFmpeg's Matroska writer makes a track of
/// one that it is to copy.
struct CoverFile
{
    std::size_t sourceIndex = 0;
    std::string name; ///< of the file, in the work folder

    bool operator==(const CoverFile &) const = default;
};

/// What the external engine does with each stream of a source.
struct StreamPlan
{
    /// FFmpeg's, to stand behind the fixed ones and before their tail; empty where the fixed ones alone take
    /// along all that the target can hold.
    std::vector<std::string> arguments;
    std::vector<CoverFile> covers;   ///< to be there before FFmpeg starts with the arguments
    std::vector<std::size_t> tracks; ///< the source's pictures and sounds, in the order of the result
    std::size_t subtitles = 0;       ///< of the result
    QStringList omissions;           ///< a French sentence for everything that stays behind

    bool operator==(const StreamPlan &) const = default;
};

/// The stream that FFmpeg takes when none is named: the largest picture or the most channels, where the one
/// marked as default counts five million more.
[[nodiscard]] std::optional<std::size_t> chosenStream(const MediaAsset &asset, MediaStream::Kind kind);

/// Of an audio or video target, by its lower-case extension. Pure.
[[nodiscard]] StreamPlan planStreams(const MediaAsset &source, const QString &target);

/// Whether the plan has to know more than a movie's index tells: its covers, and where its channels belong.
[[nodiscard]] bool needsProbe(const MediaAsset &source, const QString &target);

} // namespace quorvalent
