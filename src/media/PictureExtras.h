#pragma once

#include <filesystem>
#include <vector>

namespace quorvalent {

/// What a picture file may hold beside the picture itself and its metadata, and no writer here takes along.
/// Thumbnails, previews and the masks of a phone's own retouching are none of it: the picture makes them
/// again.
enum class PictureExtra {
    Film,       ///< of a motion photo, or of a sequence
    GainMap,    ///< what an HDR screen adds to the picture
    DepthMap,   ///< distances, for refocusing
    OtherViews, ///< further pictures of a panorama, a stereo pair or a burst
    Layers,     ///< of an image editor
    SensorData, ///< raw samples of a camera, or temperatures
};

/// The extras of a JPEG, HEIC or TIFF file, each kind once, in the order of the enumeration; none of any
/// other file and of what cannot be read. Looks at the structure, and in a JPEG passes once over all bytes.
[[nodiscard]] std::vector<PictureExtra> pictureExtras(const std::filesystem::path &path);

} // namespace quorvalent
