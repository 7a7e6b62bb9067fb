#pragma once

#include "media/image/ImageWriter.h"

namespace quorvalent {

/// BMP of 24 bits, or of 256 greys: what every viewer reads. Transparency goes onto white, because most
/// viewers show what lies under it.
class BmpWriter : public ImageWriter
{
public:
    explicit BmpWriter(std::filesystem::path path);

    void add(const ImageFrame::Pixels &frame, const FrameProperties &properties, double quality) override;

private:
    std::filesystem::path m_path;
};

} // namespace quorvalent
