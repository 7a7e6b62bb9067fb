#pragma once

#include "media/image/ImageWriter.h"
#include "media/image/ScratchPixels.h"

#include <vector>

namespace quorvalent {

/// GIF. The frames wait decoded in a scratch file, because the encoder takes them all as one strip.
class GifWriter : public ImageWriter
{
public:
    GifWriter(std::filesystem::path path, int count);

    void setProperties(const ContainerProperties &properties) override { m_container = properties; }
    void add(const ImageFrame::Pixels &frame, const FrameProperties &properties, double quality) override;
    void finish() override;

private:
    std::filesystem::path m_path;
    int m_count;
    ContainerProperties m_container;
    ScratchPixels m_scratch;
    vips::VImage m_last; ///< names the format of the scratch file's pixels
    std::vector<int> m_delaysMs;
};

} // namespace quorvalent
