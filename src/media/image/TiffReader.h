#pragma once

#include "media/image/ImageReader.h"
#include "media/image/TiffPages.h"

#include <vector>

namespace quorvalent {

/// TIFF: each page that is no preview or mask is a frame.
class TiffReader : public ImageReader
{
public:
    explicit TiffReader(std::filesystem::path path);

    [[nodiscard]] int frameCount() const override { return static_cast<int>(m_pages.size()); }
    [[nodiscard]] Header header(int index) const override;
    [[nodiscard]] vips::VImage pixels(int index) override;
    [[nodiscard]] FrameProperties properties(int index) const override;
    [[nodiscard]] std::optional<int> loopCount() const override;

private:
    [[nodiscard]] const TiffPage &page(int index) const
    {
        return m_pages.at(static_cast<std::size_t>(index));
    }

    std::filesystem::path m_path;
    std::vector<TiffPage> m_pages;
};

} // namespace quorvalent
