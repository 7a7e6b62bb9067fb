#pragma once

#include "media/image/BmpHeader.h"
#include "media/image/ImageReader.h"
#include "platform/MappedFile.h"

namespace quorvalent {

/// BMP: 1 to 32 bits, run-length coded ones included, as rows of 8-bit RGB or RGBA.
class BmpReader : public ImageReader
{
public:
    explicit BmpReader(const std::filesystem::path &path);

    [[nodiscard]] int frameCount() const override { return 1; }
    [[nodiscard]] Header header(int) const override { return {m_bmp->header.size, 1}; }
    [[nodiscard]] vips::VImage pixels(int index) override;
    [[nodiscard]] FrameProperties properties(int) const override { return {}; }

private:
    /// Shared with the images made from it.
    struct Bmp
    {
        MappedFile file;
        BmpHeader header;
        QByteArray unpacked; ///< a run-length coded picture's colour numbers, one byte each, top row first

        /// `row` counts from the top.
        void convertRow(int row, int left, int count, unsigned char *out) const;
    };

    static int fillRegion(VipsRegion *out, void *sequence, void *bmp, void *unused, gboolean *stop);

    std::shared_ptr<Bmp> m_bmp;
};

} // namespace quorvalent
