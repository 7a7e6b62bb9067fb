#pragma once

#include <cstdint>
#include <optional>

namespace quorvalent {

class ByteSource;

/// One element of a Matroska or WebM file's structure (EBML).
struct MatroskaElement
{
    struct Id
    {
        static constexpr std::uint32_t header = 0x1A45DFA3;
        static constexpr std::uint32_t documentType = 0x4282;
        static constexpr std::uint32_t segment = 0x18538067;
        static constexpr std::uint32_t cluster = 0x1F43B675;
        static constexpr std::uint32_t tracks = 0x1654AE6B;
        static constexpr std::uint32_t track = 0xAE;
        static constexpr std::uint32_t trackType = 0x83;
    };

    std::uint32_t id = 0;
    std::int64_t begin = 0;            ///< of its content
    std::optional<std::int64_t> bytes; ///< nothing where its writer did not know

    /// Nothing at the end of the file, or where no element can start.
    [[nodiscard]] static std::optional<MatroskaElement> at(const ByteSource &file, std::int64_t offset);
};

} // namespace quorvalent
