#pragma once

#include "media/image/ImageWriter.h"

namespace quorvalent {

/// HEIC with 8 bits a channel, or 10 for deeper pictures. Holds the whole frame in memory, as its encoder
/// does.
class HeicWriter : public ImageWriter
{
public:
    explicit HeicWriter(std::filesystem::path path);

    /// Whether this machine has an encoder.
    [[nodiscard]] static bool isAvailable();

    void add(const ImageFrame::Pixels &frame, const FrameProperties &properties, double quality) override;

private:
    std::filesystem::path m_path;
};

} // namespace quorvalent
