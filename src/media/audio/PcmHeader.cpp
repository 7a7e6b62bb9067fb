#include "media/audio/PcmHeader.h"

#include "media/audio/ByteSource.h"
#include "media/audio/SoundChunk.h"

#include <cmath>
#include <limits>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

struct Sample
{
    char type = 's'; ///< FFmpeg's letters: u unsigned, s signed, f floating point
    int bits = 0;
    bool isLittleEndian = true;
};

// Nothing for a sample that neither kind of file holds.
QString codecOf(const Sample &sample)
{
    const bool isWhole = sample.bits % 8 == 0 && sample.bits >= 8 && sample.bits <= 32;
    if (sample.type == 'f' ? sample.bits != 32 && sample.bits != 64 : !isWhole)
        return {};
    QString name = "pcm_"_L1 + QLatin1Char(sample.type) + QString::number(sample.bits);
    if (sample.bits == 8)
        return name;
    return name + (sample.isLittleEndian ? "le"_L1 : "be"_L1);
}

// The rate of an AIFF file is a floating-point number of 80 bits. 0 where it is no rate.
int extendedNumber(const ByteSource &file, std::int64_t offset)
{
    constexpr int bias = 16383;
    constexpr int fractionBits = 63;
    const int exponent = static_cast<int>(file.big16(offset)) - bias - fractionBits;
    const double value = std::ldexp(static_cast<double>(file.big64(offset + 2)), exponent);
    return value >= 1 && value <= std::numeric_limits<int>::max() ? static_cast<int>(value) : 0;
}

// Whether the file holds as many bytes as its header speaks of.
bool isPresent(const ByteSource &file, const SoundChunk &data)
{
    return data.bytes && *data.bytes <= static_cast<std::uint64_t>(file.size() - data.begin);
}

bool isUsable(const PcmHeader &header)
{
    return !header.codec.isEmpty() && header.sampleRate > 0 && header.channels > 0 && header.frames > 0;
}

} // namespace

std::optional<PcmHeader> PcmHeader::readWave(const ByteSource &file)
{
    constexpr unsigned integers = 1;
    constexpr unsigned floatingPoint = 3;
    constexpr unsigned extensible = 0xFFFE;
    const std::optional<SoundChunk> format = SoundChunk::find(file, "fmt ", true);
    const std::optional<SoundChunk> data = SoundChunk::find(file, "data", true);
    if (!format || !data || !isPresent(file, *data))
        return std::nullopt;
    const auto little16 = [&file](std::int64_t offset) { return file.little32(offset) & 0xFFFFU; };

    unsigned coding = little16(format->begin);
    if (coding == extensible)
        coding = little16(format->begin + 24); // the first bytes of a longer number for the same
    if (coding != integers && coding != floatingPoint)
        return std::nullopt;
    const auto bits = static_cast<int>(little16(format->begin + 14));
    const char integerType = bits == 8 ? 'u' : 's';
    PcmHeader header;
    header.codec = codecOf({.type = coding == floatingPoint ? 'f' : integerType, .bits = bits});
    header.channels = static_cast<int>(little16(format->begin + 2));
    header.sampleRate = static_cast<int>(file.little32(format->begin + 4));
    const std::int64_t frameBytes = std::int64_t{header.channels} * bits / 8;
    if (frameBytes == 0 || frameBytes != little16(format->begin + 12))
        return std::nullopt;
    header.frames = static_cast<std::int64_t>(*data->bytes) / frameBytes;
    return isUsable(header) ? std::optional(header) : std::nullopt;
}

std::optional<PcmHeader> PcmHeader::readAiff(const ByteSource &file)
{
    const std::optional<SoundChunk> common = SoundChunk::find(file, "COMM", false);
    const std::optional<SoundChunk> data = SoundChunk::find(file, "SSND", false);
    if (!common || !data || !isPresent(file, *data))
        return std::nullopt;
    const bool isLittleEndian = file.holds(common->begin + 18, "sowt");
    const bool isPlain = file.holds(8, "AIFF") || isLittleEndian || file.holds(common->begin + 18, "NONE");
    if (!isPlain)
        return std::nullopt;
    const auto bits = static_cast<int>(file.big16(common->begin + 6));
    PcmHeader header;
    header.codec = codecOf({.type = 's', .bits = bits, .isLittleEndian = isLittleEndian});
    header.channels = static_cast<int>(file.big16(common->begin));
    header.sampleRate = extendedNumber(file, common->begin + 8);
    header.frames = file.big32(common->begin + 2);
    if (!isUsable(header)) // also bounds the numbers multiplied below
        return std::nullopt;
    constexpr std::uint64_t dataHead = 8; // two numbers before the samples
    const auto soundBytes = static_cast<std::uint64_t>(header.frames * header.channels * bits / 8);
    if (*data->bytes < dataHead + soundBytes)
        return std::nullopt;
    return header;
}

} // namespace quorvalent
