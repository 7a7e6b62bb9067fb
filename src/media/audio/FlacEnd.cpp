#include "media/audio/FlacEnd.h"

#include "media/audio/ByteSource.h"

#include <algorithm>
#include <optional>
#include <span>
#include <vector>

namespace quorvalent {

namespace {

using Bytes = std::span<const std::uint8_t>;

// Both checks of the format: most significant bit first, starting from zero.
template <typename Number, unsigned polynomial>
Number checkOf(Bytes bytes, Number check = 0)
{
    constexpr unsigned bits = sizeof(Number) * 8;
    for (const std::uint8_t byte : bytes) {
        check = static_cast<Number>(check ^ (unsigned{byte} << (bits - 8)));
        for (int bit = 0; bit < 8; ++bit) {
            const bool carry = (check >> (bits - 1) & 1U) != 0;
            check = static_cast<Number>((unsigned{check} << 1U) ^ (carry ? polynomial : 0));
        }
    }
    return check;
}

struct FrameHeader
{
    std::int64_t endFrame = 0; ///< the number of the sample behind the frame
    std::size_t bytes = 0;     ///< of the header
};

// The number of a frame or sample: as UTF-8 writes characters, but of up to 36 bits.
std::optional<std::int64_t> codedNumber(Bytes bytes, std::size_t &at)
{
    if (at >= bytes.size())
        return std::nullopt;
    const unsigned first = bytes[at++];
    if (first < 0x80)
        return first;
    unsigned more = 0;
    while (more < 7 && (first >> (6 - more) & 1U) != 0)
        ++more;
    if (more == 0 || more > 6 || at + more > bytes.size())
        return std::nullopt;
    std::int64_t number = more >= 6 ? 0 : first & (0x3FU >> more);
    for (; more > 0; --more) {
        if ((bytes[at] & 0xC0U) != 0x80U)
            return std::nullopt;
        number = number << 6 | (bytes[at++] & 0x3FU);
    }
    return number;
}

// `usualFrames` is the number of samples in a frame of a stream whose frames all have the same.
std::optional<FrameHeader> frameHeader(Bytes bytes, std::int64_t usualFrames)
{
    if (bytes.size() < 6 || bytes[0] != 0xFF || (bytes[1] & 0xFEU) != 0xF8)
        return std::nullopt;
    const bool countsSamples = (bytes[1] & 1U) != 0;
    const unsigned blockCode = bytes[2] >> 4U;
    const unsigned rateCode = bytes[2] & 0xFU;
    if (blockCode == 0 || rateCode == 0xF || bytes[3] >> 4U > 10 || (bytes[3] & 1U) != 0)
        return std::nullopt;
    std::size_t at = 4;
    const std::optional<std::int64_t> number = codedNumber(bytes, at);
    const std::size_t blockBytes = blockCode == 6 ? 1 : (blockCode == 7 ? 2 : 0);
    const std::size_t rateBytes = rateCode == 12 ? 1 : (rateCode == 13 || rateCode == 14 ? 2 : 0);
    if (!number || at + blockBytes + rateBytes + 1 > bytes.size())
        return std::nullopt;
    std::int64_t frames = 0;
    if (blockCode == 1)
        frames = 192;
    else if (blockCode <= 5)
        frames = 576LL << (blockCode - 2);
    else if (blockCode == 6)
        frames = bytes[at] + 1;
    else if (blockCode == 7)
        frames = (bytes[at] << 8 | bytes[at + 1]) + 1;
    else
        frames = 256LL << (blockCode - 8);
    at += blockBytes + rateBytes;
    if (checkOf<std::uint8_t, 0x07>(bytes.first(at)) != bytes[at])
        return std::nullopt;
    return FrameHeader{(countsSamples ? *number : *number * usualFrames) + frames, at + 1};
}

// Whether a frame that starts here ends somewhere in these bytes: its last two make the check zero.
bool isComplete(Bytes bytes, std::size_t headerBytes)
{
    std::uint16_t check = checkOf<std::uint16_t, 0x8005>(bytes.first(headerBytes));
    for (std::size_t at = headerBytes; at < bytes.size(); ++at) {
        check = checkOf<std::uint16_t, 0x8005>(bytes.subspan(at, 1), check);
        if (check == 0 && at > headerBytes + 1)
            return true;
    }
    return false;
}

} // namespace

bool endsWithLastFlacFrame(const ByteSource &file, std::int64_t start, std::int64_t totalFrames)
{
    // STREAMINFO: sizes of blocks, then of frames; the latter may be left at zero.
    const std::int64_t usualFrames = file.big16(start + 8);
    const std::int64_t statedBytes = file.big32(start + 14) & 0xFFFFFFU;
    constexpr std::int64_t mostTags = 64LL * 1024;       // behind the sound
    constexpr std::int64_t unstatedBytes = 512LL * 1024; // beyond the largest frames that encoders make
    const std::int64_t window = (statedBytes > 0 ? statedBytes : unstatedBytes) + mostTags;
    const std::int64_t from = std::max(start, file.size() - window);
    std::vector<std::uint8_t> tail(static_cast<std::size_t>(file.size() - from));
    file.read(from, tail);

    Bytes bytes(tail);
    constexpr std::int64_t id3Bytes = 128;
    if (file.holds(file.size() - id3Bytes, "TAG"))
        bytes = bytes.first(bytes.size() - static_cast<std::size_t>(id3Bytes));
    for (std::size_t at = bytes.size(); at-- > 0;) {
        const Bytes rest = bytes.subspan(at);
        const std::optional<FrameHeader> header = frameHeader(rest, usualFrames);
        if (!header)
            continue;
        // Without a total, the last frame is the one that ends where the file does.
        const bool isLast = totalFrames == 0
                                ? checkOf<std::uint16_t, 0x8005>(rest) == 0
                                : header->endFrame >= totalFrames && isComplete(rest, header->bytes);
        if (isLast)
            return true;
    }
    return false;
}

} // namespace quorvalent
