#pragma once

#include "media/image/ImageReader.h"

namespace quorvalent {

/// JPEG and PNG; of an animated one, the picture that stands for all.
class StillReader : public ImageReader
{
public:
    enum class Kind { Jpeg, Png };
    StillReader(std::filesystem::path path, Kind kind);

    [[nodiscard]] int frameCount() const override { return 1; }
    [[nodiscard]] Header header(int index) const override;
    [[nodiscard]] vips::VImage pixels(int index) override;
    [[nodiscard]] FrameProperties properties(int index) const override;
    void verify() override;

protected:
    [[nodiscard]] const std::filesystem::path &path() const { return m_path; }
    /// Gives pixels that were made from this file's its profile and resolution.
    void adorn(vips::VImage &image) const;

private:
    [[nodiscard]] vips::VImage load(int shrink) const;

    std::filesystem::path m_path;
    Kind m_kind;
    vips::VImage m_image;
};

} // namespace quorvalent
