#include "media/MatroskaElement.h"

#include "media/audio/ByteSource.h"

#include <array>

namespace quorvalent {

std::optional<MatroskaElement> MatroskaElement::at(const ByteSource &file, std::int64_t offset)
{
    std::array<std::uint8_t, 12> head{};
    const std::size_t present = file.read(offset, head);
    std::size_t idBytes = 1;
    while (idBytes <= 4 && (head[0] >> (8 - idBytes) & 1U) == 0)
        ++idBytes;
    if (idBytes > 4 || present <= idBytes)
        return std::nullopt;
    MatroskaElement element;
    for (std::size_t i = 0; i < idBytes; ++i)
        element.id = element.id << 8U | head.at(i);
    const std::uint8_t first = head.at(idBytes);
    std::size_t sizeBytes = 1;
    while (sizeBytes <= 8 && (first >> (8 - sizeBytes) & 1U) == 0)
        ++sizeBytes;
    if (sizeBytes > 8)
        return std::nullopt;
    std::uint64_t size = first & (0xFFU >> sizeBytes);
    for (std::size_t i = 1; i < sizeBytes; ++i)
        size = size << 8U | head.at(idBytes + i);
    element.begin = offset + static_cast<std::int64_t>(idBytes + sizeBytes);
    if (size != (std::uint64_t{1} << (7 * sizeBytes)) - 1)
        element.bytes = static_cast<std::int64_t>(size);
    return element;
}

} // namespace quorvalent
