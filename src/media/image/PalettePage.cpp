#include "media/image/PalettePage.h"

namespace quorvalent {

namespace {

/// The index of each colour met so far, in a table that stays at most a quarter full. One entry holds the
/// colour in its low 24 bits and the index above them, so that a search is one look at the memory.
class ColourIndex
{
public:
    static constexpr int none = -1;

    /// `none` when this would be the 257th colour.
    [[nodiscard]] int of(std::uint32_t colour)
    {
        // The odd constant, 2^32 divided by the golden ratio, spreads neighbouring colours.
        std::uint32_t slot = (colour * 0x9E3779B1U) >> (32U - slotBits);
        while (m_isUsed[slot] && (m_entries[slot] & colourMask) != colour)
            slot = (slot + 1) % slotCount;
        if (!m_isUsed[slot]) {
            if (m_count == m_colours.size())
                return none;
            m_isUsed[slot] = true;
            m_entries[slot] = colour | static_cast<std::uint32_t>(m_count) << 24U;
            m_colours[m_count++] = colour;
        }
        return static_cast<int>(m_entries[slot] >> 24U);
    }

    [[nodiscard]] std::uint32_t colour(std::size_t index) const { return m_colours[index]; }

private:
    static constexpr unsigned slotBits = 10;
    static constexpr std::uint32_t slotCount = 1U << slotBits;
    static constexpr std::uint32_t colourMask = 0xffffff;

    std::array<std::uint32_t, slotCount> m_entries{};
    std::array<bool, slotCount> m_isUsed{};
    std::array<std::uint32_t, 256> m_colours{};
    std::size_t m_count = 0;
};

std::uint16_t sixteenBits(std::uint32_t eightBits)
{
    return static_cast<std::uint16_t>((eightBits & 0xffU) * 257U);
}

std::uint32_t colourAt(const unsigned char *pixel)
{
    return pixel[0] | std::uint32_t(pixel[1]) << 8U | std::uint32_t(pixel[2]) << 16U;
}

/// Writes a row's indices; false at a pixel that is not opaque or has one colour too many.
template <int bands>
bool indexRowOf(const unsigned char *pixel, int width, ColourIndex &colours, unsigned char *indices)
{
    for (int at = 0; at < width; ++at, pixel += bands) {
        if (bands == 4 && pixel[3] != 0xff)
            return false;
        const int index = colours.of(colourAt(pixel));
        if (index == ColourIndex::none)
            return false;
        indices[at] = static_cast<unsigned char>(index);
    }
    return true;
}

} // namespace

std::optional<PalettePage> PalettePage::of(const vips::VImage &image)
{
    const int bands = image.bands();
    if (image.format() != VIPS_FORMAT_UCHAR || (bands != 3 && bands != 4) ||
        image.interpretation() == VIPS_INTERPRETATION_CMYK)
        return std::nullopt;
    const auto indexRow = bands == 4 ? indexRowOf<4> : indexRowOf<3>;
    PalettePage page;
    page.indices.resize(static_cast<std::size_t>(image.width()) * static_cast<std::size_t>(image.height()));
    ColourIndex colours;
    unsigned char *to = page.indices.data();
    const bool fits = readRows(image, [&](const unsigned char *rows, std::size_t stride, int, int count) {
        bool rowsFit = true;
        for (int row = 0; rowsFit && row < count; ++row, rows += stride, to += image.width())
            rowsFit = indexRow(rows, image.width(), colours, to);
        return rowsFit;
    });
    if (!fits)
        return std::nullopt;
    for (std::size_t index = 0; index < page.red.size(); ++index) {
        page.red[index] = sixteenBits(colours.colour(index));
        page.green[index] = sixteenBits(colours.colour(index) >> 8U);
        page.blue[index] = sixteenBits(colours.colour(index) >> 16U);
    }
    return page;
}

bool PalettePage::hasRuns() const
{
    std::size_t repeated = 0;
    for (std::size_t at = 1; at < indices.size(); ++at)
        repeated += indices[at] == indices[at - 1] ? 1U : 0U;
    return repeated > indices.size() / 4;
}

} // namespace quorvalent
