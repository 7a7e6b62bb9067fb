#include "media/VideoFilters.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace quorvalent {

namespace {

int evenAtMost(int length)
{
    return std::max(2, length - length % 2);
}

int evenNearest(double length)
{
    return std::max(2, 2 * static_cast<int>(std::lround(length / 2)));
}

class FilterChain
{
public:
    void add(const std::string &filter) { m_text += (m_text.empty() ? "" : ",") + filter; }
    [[nodiscard]] const std::string &text() const { return m_text; }

private:
    std::string m_text;
};

std::string sides(PixelSize size)
{
    return std::to_string(size.width) + ":" + std::to_string(size.height);
}

// Light is made linear, 100 cd/m² being the white of an ordinary screen, the colours are brought into its
// gamut and the highlights bent below its limit.
void addToneMapping(const SourceStream &stream, FilterChain &chain)
{
    const std::string primaries = stream.primaries.isEmpty() ? "bt2020" : stream.primaries.toStdString();
    const std::string matrix = stream.matrix.isEmpty() ? "bt2020nc" : stream.matrix.toStdString();
    chain.add("zscale=tin=" + stream.transfer.toStdString() + ":pin=" + primaries + ":min=" + matrix +
              ":t=linear:npl=100");
    chain.add("format=gbrpf32le");
    chain.add("zscale=p=bt709");
    chain.add("tonemap=tonemap=hable:desat=0");
    chain.add("zscale=t=bt709:m=bt709:r=tv");
}

} // namespace

EncodedPicture encodedPicture(const SourceStream &stream, PixelSize largest)
{
    PixelSize turned{stream.width, stream.height};
    double aspect = stream.pixelAspect;
    if (stream.rotationDegrees % 180 != 0) {
        std::swap(turned.width, turned.height);
        aspect = 1 / aspect;
    }
    const double seenWidth = turned.width * aspect;
    const double shrink =
        largest == PixelSize{}
            ? 1
            : std::min({1.0, largest.width / seenWidth, static_cast<double>(largest.height) / turned.height});

    EncodedPicture picture;
    FilterChain chain;
    if (stream.isInterlaced)
        chain.add("bwdif=mode=send_frame:deint=interlaced");
    if (shrink < 1) {
        picture.size = {std::min(evenNearest(seenWidth * shrink), largest.width),
                        std::min(evenNearest(turned.height * shrink), largest.height)};
        chain.add("scale=" + sides(picture.size) + ":flags=bicubic");
        chain.add("setsar=1");
    } else {
        picture.size = {evenAtMost(turned.width), evenAtMost(turned.height)};
        if (picture.size != turned)
            chain.add("crop=" + sides(picture.size) + ":0:0");
    }

    if (stream.isHighDynamicRange()) {
        addToneMapping(stream, chain);
    } else if (stream.isRgb) {
        chain.add("scale=out_color_matrix=bt709:out_range=tv");
        chain.add("setparams=colorspace=bt709:range=tv");
    } else if (stream.isFullRange) {
        chain.add("scale=out_range=tv");
    }
    chain.add("format=yuv420p");
    picture.filters = chain.text();
    return picture;
}

} // namespace quorvalent
