#pragma once

#include "media/image/ImageWriter.h"
#include "media/image/TagDirectory.h"
#include "media/image/TiffPages.h"
#include "media/image/VipsPixels.h"

#include <future>
#include <vector>

namespace quorvalent {

struct PalettePage;

/// TIFF, one directory a frame, each of its own size and kind. EXIF and GPS directories are put behind the
/// finished file, because libtiff drops the tags that it does not know. A page whose pixels are in memory is
/// compressed on a second thread while the caller decodes the next one.
class TiffWriter : public ImageWriter
{
public:
    TiffWriter(std::filesystem::path path, int count);

    void setProperties(const ContainerProperties &properties) override { m_container = properties; }
    void add(const ImageFrame::Pixels &frame, const FrameProperties &properties, double quality) override;
    void finish() override;

private:
    void writePage(const vips::VImage &image, const FrameProperties &properties, bool isInMemory);
    void open(std::uint64_t frameBytes);
    void writePixels(const vips::VImage &image);
    void writeIndices(PalettePage &page);
    void setMetadata(const FrameProperties &properties);

    std::filesystem::path m_path;
    int m_count;
    int m_written = 0;
    bool m_large = false; ///< BigTIFF: offsets of 64 bits
    ContainerProperties m_container;
    TiffFile m_file;
    std::vector<ExifTags> m_exif; ///< of each page
    /// The page on the second thread, which has all of the above to itself till then. Last, so that it is
    /// waited for before they go.
    std::future<void> m_pending;
};

} // namespace quorvalent
