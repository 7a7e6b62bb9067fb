#include "media/audio/ByteSource.h"

#include "platform/Error.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace quorvalent {

ByteSource::ByteSource(const std::filesystem::path &path)
    : m_path(path)
    , m_file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK))
{
    struct stat status = {};
    if (!m_file.isOpen() || ::fstat(m_file.get(), &status) != 0)
        throw FileError(errno, path);
    if (!S_ISREG(status.st_mode))
        throw FileError(EINVAL, path);
    m_size = status.st_size;
}

std::size_t ByteSource::read(std::int64_t offset, std::span<std::uint8_t> bytes) const
{
    std::size_t done = 0;
    while (offset >= 0 && done < bytes.size()) {
        const ssize_t count = ::pread(m_file.get(), bytes.data() + done, bytes.size() - done,
                                      offset + static_cast<std::int64_t>(done));
        if (count < 0 && errno != EINTR)
            throw FileError(errno, m_path);
        if (count == 0)
            break;
        done += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(done), bytes.end(), std::uint8_t{0});
    return done;
}

std::uint32_t ByteSource::number(std::int64_t offset, std::size_t count, bool isBigEndian) const
{
    std::array<std::uint8_t, 4> bytes{};
    const auto field = std::span(bytes).first(count);
    read(offset, field);
    if (!isBigEndian)
        std::reverse(field.begin(), field.end());
    std::uint32_t value = 0;
    for (const std::uint8_t byte : field)
        value = value << 8U | byte;
    return value;
}

std::uint64_t ByteSource::big64(std::int64_t offset) const
{
    return std::uint64_t{big32(offset)} << 32U | big32(offset + 4);
}

std::uint64_t ByteSource::little64(std::int64_t offset) const
{
    return std::uint64_t{little32(offset + 4)} << 32U | little32(offset);
}

bool ByteSource::holds(std::int64_t offset, std::string_view bytes) const
{
    std::array<std::uint8_t, 16> found{};
    return bytes.size() <= found.size() &&
           read(offset, std::span(found).first(bytes.size())) == bytes.size() &&
           std::equal(bytes.begin(), bytes.end(), found.begin(), [](char wanted, std::uint8_t byte) {
               return static_cast<std::uint8_t>(wanted) == byte;
           });
}

std::int64_t ByteSource::endOfId3() const
{
    std::int64_t offset = 0;
    // Taggers that do not look put a second tag in front of the first.
    while (holds(offset, "ID3")) {
        std::array<std::uint8_t, 5> flagsAndSize{};
        read(offset + 5, flagsAndSize);
        std::int64_t size = 0;
        for (const std::uint8_t byte : std::span(flagsAndSize).subspan(1))
            size = size << 7 | (byte & 0x7F);
        constexpr std::uint8_t hasFooter = 0x10;
        offset += 10 + size + ((flagsAndSize[0] & hasFooter) != 0 ? 10 : 0);
    }
    return offset;
}

} // namespace quorvalent
