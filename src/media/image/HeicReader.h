#pragma once

#include "media/image/ImageReader.h"

#include <vector>

namespace quorvalent {

/// HEIC and its relatives: each top-level picture is a frame; turning and mirroring are already applied.
class HeicReader : public ImageReader
{
public:
    explicit HeicReader(std::filesystem::path path);

    [[nodiscard]] int frameCount() const override { return static_cast<int>(m_pictures.size()); }
    [[nodiscard]] Header header(int index) const override;
    [[nodiscard]] vips::VImage pixels(int index) override;
    [[nodiscard]] FrameProperties properties(int index) const override;

private:
    struct Picture
    {
        ImageSize size;
        bool displayP3 = false;
    };

    [[nodiscard]] vips::VImage load(int index) const;

    std::filesystem::path m_path;
    std::vector<Picture> m_pictures;
};

} // namespace quorvalent
