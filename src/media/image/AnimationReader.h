#pragma once

#include "media/image/ImageReader.h"

namespace quorvalent {

/// GIF and WebP: frames of one size, decoded in ascending order as one strip.
class AnimationReader : public ImageReader
{
public:
    enum class Kind { Gif, Webp };
    AnimationReader(std::filesystem::path path, Kind kind);

    [[nodiscard]] int frameCount() const override { return m_frameCount; }
    [[nodiscard]] Header header(int index) const override;
    [[nodiscard]] vips::VImage pixels(int index) override;
    [[nodiscard]] FrameProperties properties(int index) const override;
    [[nodiscard]] std::optional<int> loopCount() const override;

private:
    [[nodiscard]] vips::VImage load() const;

    std::filesystem::path m_path;
    Kind m_kind;
    vips::VImage m_strip;
    int m_frameCount = 1;
    int m_frameHeight = 0;
    int m_next = 0; ///< the first frame that the strip can still deliver
};

} // namespace quorvalent
