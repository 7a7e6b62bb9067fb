#pragma once

#include "media/image/StillReader.h"
#include "platform/MappedFile.h"

#include <vector>

namespace quorvalent {

/// An animated PNG, which libvips does not know: each frame is handed to it as a PNG of its own and laid over
/// the ones before, as the file asks. All frames are as large as the canvas, with alpha. A picture for
/// programs that know no animation, where it is not the first frame, is left out.
class ApngReader final : public StillReader
{
public:
    explicit ApngReader(std::filesystem::path path);

    /// The frames that a PNG announces before its pixels; 1 without an animation. At most as many as the file
    /// has room for.
    [[nodiscard]] static int framesAnnouncedIn(const std::filesystem::path &path);

    [[nodiscard]] int frameCount() const override { return m_announced; }
    [[nodiscard]] vips::VImage pixels(int index) override;
    [[nodiscard]] FrameProperties properties(int index) const override;
    [[nodiscard]] std::optional<int> loopCount() const override { return m_plays; }
    void verify() override { ImageReader::verify(); }

private:
    enum class Disposal : quint8 { Leave, Clear, Restore };
    struct Frame
    {
        ImageSize size;
        int left = 0;
        int top = 0;
        std::chrono::milliseconds delay{};
        Disposal disposal = Disposal::Leave;
        bool isBlended = false;             ///< over what is there, else in its place
        std::vector<QByteArrayView> chunks; ///< whole ones with its compressed pixels
    };
    using Canvas = std::vector<unsigned char>;

    void readChunks();
    [[nodiscard]] const Frame &frameAt(int index) const;
    [[nodiscard]] Frame frameOf(QByteArrayView control) const;
    [[nodiscard]] QByteArray pngOf(const Frame &frame) const;
    void draw(const Frame &frame);
    void dispose(const Frame &frame, const Canvas &former);
    /// Calls with the place in the canvas of each row of the frame, in bytes.
    template <typename Row>
    void forRows(const Frame &frame, const Row &row) const;

    MappedFile m_file;
    ImageSize m_canvasSize;
    int m_announced = 0;
    int m_plays = 0; ///< 0: for ever
    QByteArrayView m_header;
    QByteArray m_sharedChunks; ///< whole ones: palette, transparency, colours
    std::vector<Frame> m_frames;

    Canvas m_canvas; ///< what the next frame is laid over
    vips::VImage m_shown;
    int m_next = 0; ///< the first frame that the canvas is ready for
    std::size_t m_sampleBytes = 1;
    std::size_t m_pixelBytes = 4;
};

} // namespace quorvalent
