#pragma once

#include "media/image/ImageReader.h"

namespace quorvalent {

/// JPEG and PNG.
class StillReader : public ImageReader
{
public:
    enum class Kind { Jpeg, Png };
    StillReader(std::filesystem::path path, Kind kind);

    /// More than 1 for an animated PNG, of which only the frame that stands for all can be decoded.
    [[nodiscard]] int frameCount() const override { return m_frameCount; }
    [[nodiscard]] Header header(int index) const override;
    [[nodiscard]] vips::VImage pixels(int index) override;
    [[nodiscard]] FrameProperties properties(int index) const override;
    void verify() override;

private:
    [[nodiscard]] vips::VImage load(int shrink) const;

    std::filesystem::path m_path;
    Kind m_kind;
    vips::VImage m_image;
    int m_frameCount = 1;
};

} // namespace quorvalent
