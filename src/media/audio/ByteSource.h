#pragma once

#include "platform/FileDescriptor.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string_view>

namespace quorvalent {

/// A file that headers are read from, at any place. Beyond its end all bytes read as zero.
class ByteSource
{
public:
    /// FileError when the file cannot be opened.
    explicit ByteSource(const std::filesystem::path &path);

    [[nodiscard]] std::int64_t size() const { return m_size; }
    /// Fills `bytes` from `offset` on and returns how many of them the file really holds.
    std::size_t read(std::int64_t offset, std::span<std::uint8_t> bytes) const;

    [[nodiscard]] std::uint32_t big16(std::int64_t offset) const { return number(offset, 2, true); }
    [[nodiscard]] std::uint32_t big32(std::int64_t offset) const { return number(offset, 4, true); }
    [[nodiscard]] std::uint32_t little32(std::int64_t offset) const { return number(offset, 4, false); }
    [[nodiscard]] std::uint64_t big64(std::int64_t offset) const;
    [[nodiscard]] std::uint64_t little64(std::int64_t offset) const;
    /// Whether the file holds these bytes at the offset; 16 at most.
    [[nodiscard]] bool holds(std::int64_t offset, std::string_view bytes) const;
    /// Where the content starts behind an ID3v2 tag at the very front: 0 when there is none.
    [[nodiscard]] std::int64_t endOfId3() const;

    [[nodiscard]] int descriptor() const { return m_file.get(); }

private:
    [[nodiscard]] std::uint32_t number(std::int64_t offset, std::size_t count, bool isBigEndian) const;

    std::filesystem::path m_path;
    FileDescriptor m_file;
    std::int64_t m_size = 0;
};

} // namespace quorvalent
