#pragma once

#include "media/ImageTypes.h"

#include <QByteArray>

#include <optional>

namespace quorvalent {

/// An animation's timing as a line of text in each page's ImageDescription: TIFF has no field for it, and a
/// GIF that became a TIFF is to play the same when it becomes a GIF again.
struct FrameTiming
{
    std::optional<std::chrono::milliseconds> delay;
    std::optional<int> loopCount;

    bool operator==(const FrameTiming &) const = default;
};

/// The description with the timing as its last line; unchanged when there is no delay.
[[nodiscard]] QByteArray withTiming(QByteArray description, const FrameTiming &timing);

/// Takes the timing line off the description, when it has one.
[[nodiscard]] FrameTiming takeTiming(QByteArray &description);

} // namespace quorvalent
