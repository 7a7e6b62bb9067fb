#pragma once

#include "media/ImageTypes.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <vector>

#include <tiffio.h>

namespace quorvalent {

struct TiffCloser
{
    void operator()(TIFF *file) const { TIFFClose(file); }
};
using TiffFile = std::unique_ptr<TIFF, TiffCloser>;

/// One picture of a TIFF file.
struct TiffPage
{
    int directory = 0; ///< its number in the file's chain
    std::uint64_t offset = 0;
    ImageSize stored; ///< before its orientation is applied
    int orientation = 1;
    QByteArray description;
};

/// The pictures of a TIFF file in their order, without previews and masks; at their end one of no size, where
/// the file announces another page that it does not have. Empty when it cannot be read.
[[nodiscard]] std::vector<TiffPage> tiffPages(const std::filesystem::path &path);

/// Whether every strip and tile of every page lies within the first `sizeBytes` of the file.
[[nodiscard]] bool tiffDataIsInside(const std::filesystem::path &path, qint64 sizeBytes);

/// The whole file with the page as its only one, and with the photometric field that it lacks: grey, by a
/// palette or RGB, as its other fields suggest. Empty where it has one, and where there is no room for
/// another.
[[nodiscard]] QByteArray withPhotometric(QByteArrayView file, std::uint64_t pageOffset);

/// The page's pixels through libtiff's own conversion, RGBA with 8 bits, top left first: for the pages that
/// nothing else reads. Throws ImageReadError.
[[nodiscard]] std::vector<std::uint32_t> tiffRgba(const std::filesystem::path &path, const TiffPage &page);

} // namespace quorvalent
