#include "platform/image/PalettePage.h"

namespace quorvalent {

namespace {

/// The index of each colour met so far, in a table that stays at most a quarter full.
class ColourIndex
{
public:
    /// Nothing when this would be the 257th colour.
    [[nodiscard]] std::optional<unsigned char> of(std::uint32_t colour)
    {
        // The odd constant, 2^32 divided by the golden ratio, spreads neighbouring colours.
        std::uint32_t slot = (colour * 0x9E3779B1U) >> (32U - slotBits);
        while (m_slots[slot] != empty && m_colours[m_slots[slot]] != colour)
            slot = (slot + 1) % slotCount;
        if (m_slots[slot] == empty) {
            if (m_count == m_colours.size())
                return std::nullopt;
            m_colours[m_count] = colour;
            m_slots[slot] = m_count++;
        }
        return static_cast<unsigned char>(m_slots[slot]);
    }

    [[nodiscard]] std::uint32_t colour(std::size_t index) const { return m_colours[index]; }

private:
    static constexpr unsigned slotBits = 10;
    static constexpr std::uint32_t slotCount = 1U << slotBits;
    static constexpr std::uint16_t empty = 0xffff;

    static constexpr std::array<std::uint16_t, slotCount> emptySlots()
    {
        std::array<std::uint16_t, slotCount> slots{};
        slots.fill(empty);
        return slots;
    }

    std::array<std::uint16_t, slotCount> m_slots = emptySlots();
    std::array<std::uint32_t, 256> m_colours{};
    std::uint16_t m_count = 0;
};

std::uint16_t sixteenBits(std::uint32_t eightBits)
{
    return static_cast<std::uint16_t>((eightBits & 0xffU) * 257U);
}

} // namespace

std::optional<PalettePage> PalettePage::of(const vips::VImage &image)
{
    const int bands = image.bands();
    if (image.format() != VIPS_FORMAT_UCHAR || (bands != 3 && bands != 4) ||
        image.interpretation() == VIPS_INTERPRETATION_CMYK)
        return std::nullopt;
    const auto *pixel = static_cast<const unsigned char *>(image.data());
    const std::size_t count =
        static_cast<std::size_t>(image.width()) * static_cast<std::size_t>(image.height());
    PalettePage page;
    page.indices.resize(count);
    ColourIndex colours;
    std::optional<std::uint32_t> lastColour;
    unsigned char lastIndex = 0;
    for (std::size_t at = 0; at < count; ++at, pixel += bands) {
        if (bands == 4 && pixel[3] != 0xff)
            return std::nullopt;
        const std::uint32_t colour =
            pixel[0] | std::uint32_t(pixel[1]) << 8U | std::uint32_t(pixel[2]) << 16U;
        if (colour != lastColour) {
            const std::optional<unsigned char> index = colours.of(colour);
            if (!index)
                return std::nullopt;
            lastColour = colour;
            lastIndex = *index;
        }
        page.indices[at] = lastIndex;
    }
    for (std::size_t index = 0; index < page.red.size(); ++index) {
        page.red[index] = sixteenBits(colours.colour(index));
        page.green[index] = sixteenBits(colours.colour(index) >> 8U);
        page.blue[index] = sixteenBits(colours.colour(index) >> 16U);
    }
    return page;
}

} // namespace quorvalent
