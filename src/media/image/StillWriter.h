#pragma once

#include "media/image/ImageWriter.h"

namespace quorvalent {

/// JPEG and PNG; a plain PNG has 8 bits and no profile, its pixels are sRGB.
class StillWriter : public ImageWriter
{
public:
    enum class Kind { Jpeg, Png, PlainPng };
    StillWriter(std::filesystem::path path, Kind kind);

    void add(const ImageFrame::Pixels &frame, const FrameProperties &properties, double quality) override;

private:
    std::filesystem::path m_path;
    Kind m_kind;
};

} // namespace quorvalent
