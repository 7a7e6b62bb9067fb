#pragma once

#include "media/ImageTypes.h"

#include <QByteArray>

#include <optional>

namespace quorvalent {

/// The forms in which the formats carry the metadata blocks of FrameProperties.

/// An EXIF block as the picture is seen: orientation 1, the given size, without thumbnail; everything else
/// stays where it is, so that maker notes keep their offsets. Takes a block with or without the lead
/// "Exif\0\0"; empty when the block is not readable.
[[nodiscard]] QByteArray uprightExif(QByteArray block, ImageSize size);

/// An XMP packet for the picture alone: its tiff:Orientation set to 1, and no film announced behind the
/// picture, which would make readers take the end of the new file for one.
[[nodiscard]] QByteArray uprightXmp(QByteArray packet);

/// The IPTC records of a Photoshop resource block (with or without the lead "Photoshop 3.0\0"); bare records
/// are passed on.
[[nodiscard]] QByteArray iptcFromPhotoshop(const QByteArray &block);

/// The IPTC records of the text of a PNG "Raw profile type iptc" chunk.
[[nodiscard]] QByteArray iptcFromPngText(const QByteArray &text);

/// Dots per inch.
struct Resolution
{
    int x = 0;
    int y = 0;
};

/// Segments to stand after a JPEG file's start: JFIF header, EXIF, XMP, IPTC, profile. A block too large for
/// its segments is left out.
[[nodiscard]] QByteArray jpegSegments(const FrameProperties &properties, const QByteArray &profile,
                                      Resolution resolution);

/// A PNG file's chunk with its length and checksum; the type has four letters.
[[nodiscard]] QByteArray pngChunk(const char *type, const QByteArray &payload);

/// Chunks to stand after a PNG file's header: profile, EXIF, XMP, IPTC.
[[nodiscard]] QByteArray pngChunks(const FrameProperties &properties, const QByteArray &profile);

} // namespace quorvalent
