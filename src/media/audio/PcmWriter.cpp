#include "media/audio/PcmWriter.h"

#include "platform/ComposedText.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <limits>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;
using Container = AudioEncoding::Container;

// Sizes in WAVE and AIFF are 32-bit numbers; this much is left for headers and tags.
constexpr std::int64_t largestSoundBytes = 0xFFFFFFFFLL - 64LL * 1024 * 1024;

AudioError tooLong(Container container)
{
    return AudioError(container == Container::Aiff ? u"Un fichier AIFF ne peut pas dépasser 4 Go."_s
                                                   : u"Un fichier WAV ne peut pas dépasser 4 Go."_s);
}

int placeOf(Speakers speaker)
{
    switch (speaker) {
    case 0x1:
        return SF_CHANNEL_MAP_LEFT;
    case 0x2:
        return SF_CHANNEL_MAP_RIGHT;
    case 0x4:
        return SF_CHANNEL_MAP_CENTER;
    case 0x8:
        return SF_CHANNEL_MAP_LFE;
    case 0x10:
        return SF_CHANNEL_MAP_REAR_LEFT;
    case 0x20:
        return SF_CHANNEL_MAP_REAR_RIGHT;
    case 0x40:
        return SF_CHANNEL_MAP_FRONT_LEFT_OF_CENTER;
    case 0x80:
        return SF_CHANNEL_MAP_FRONT_RIGHT_OF_CENTER;
    case 0x100:
        return SF_CHANNEL_MAP_REAR_CENTER;
    case 0x200:
        return SF_CHANNEL_MAP_SIDE_LEFT;
    case 0x400:
        return SF_CHANNEL_MAP_SIDE_RIGHT;
    default:
        return SF_CHANNEL_MAP_INVALID;
    }
}

} // namespace

PcmWriter::PcmWriter(std::filesystem::path path, Container container, const AudioFormat &source,
                     std::optional<std::int64_t> length)
    : m_path(std::move(path))
    , m_container(container)
{
    const std::int64_t frameBytes = 2LL * source.channels;
    const bool isLong = length && *length > largestSoundBytes / frameBytes;
    if (isLong && container == Container::Aiff)
        throw tooLong(container);
    m_framesLeft = isLong ? std::numeric_limits<std::int64_t>::max() : largestSoundBytes / frameBytes;

    SF_INFO info = {};
    info.samplerate = source.sampleRate;
    info.channels = source.channels;
    // More than two channels need the header that names their loudspeakers.
    const int wave = isLong ? SF_FORMAT_RF64 : (source.channels > 2 ? SF_FORMAT_WAVEX : SF_FORMAT_WAV);
    info.format = (container == Container::Aiff ? SF_FORMAT_AIFF : wave) | SF_FORMAT_PCM_16;
    if (sf_format_check(&info) != SF_TRUE)
        throw AudioError(composed(u"Ce fichier ne peut pas contenir un son de {0} canaux à {1} Hz."_s,
                                  {QString::number(source.channels), QString::number(source.sampleRate)}));

    m_descriptor = FileDescriptor::createForWriting(m_path);
    m_file.reset(sf_open_fd(m_descriptor.get(), SFM_WRITE, &info, SF_FALSE));
    if (!m_file)
        fail();
    if (source.channels > 2)
        setSpeakers(source.speakers, source.channels);
}

void PcmWriter::setSpeakers(Speakers speakers, int channels)
{
    std::vector<int> map;
    for (Speakers bit = 1; bit != 0; bit <<= 1U) {
        if ((speakers & bit) != 0)
            map.push_back(placeOf(bit));
    }
    // An arrangement that the container has no name for is left unnamed; the channels are all there.
    if (map.size() == static_cast<std::size_t>(channels))
        sf_command(m_file.get(), SFC_SET_CHANNEL_MAP_INFO, map.data(),
                   static_cast<int>(map.size() * sizeof(int)));
}

void PcmWriter::fail() const
{
    // The library knows that the system refused, the system knows why.
    const int errorNumber = errno;
    if (sf_error(m_file.get()) == SF_ERR_SYSTEM && errorNumber != 0)
        throw FileError(errorNumber, m_path);
    throw AudioError(u"Écriture de l’audio impossible."_s);
}

void PcmWriter::write(const AudioBuffer &buffer)
{
    const auto frames = static_cast<std::int64_t>(buffer.frames());
    if (frames > m_framesLeft)
        throw tooLong(m_container);
    m_framesLeft -= frames;

    std::span<const std::int16_t> integers = buffer.integerSound();
    if (buffer.kind() == SampleKind::Float32) {
        m_integers.resize(buffer.floatSound().size());
        m_quantizer.quantize(buffer.floatSound(), m_integers);
        integers = m_integers;
    }
    errno = 0;
    const bool isWritten = m_container == Container::Aiff
                               ? writeBigEndian(integers)
                               : sf_writef_short(m_file.get(), integers.data(), frames) == frames;
    if (!isWritten)
        fail();
}

// The library would turn the bytes round in pieces of 8 KiB, with a system call for each.
bool PcmWriter::writeBigEndian(std::span<const std::int16_t> integers)
{
    static_assert(std::endian::native == std::endian::little);
    m_bigEndian.resize(integers.size());
    std::transform(integers.begin(), integers.end(), m_bigEndian.begin(),
                   [](std::int16_t sample) { return __builtin_bswap16(static_cast<std::uint16_t>(sample)); });
    const auto bytes = static_cast<sf_count_t>(m_bigEndian.size() * sizeof(std::uint16_t));
    return sf_write_raw(m_file.get(), m_bigEndian.data(), bytes) == bytes;
}

void PcmWriter::finish()
{
    if (sf_close(m_file.release()) != 0)
        throw AudioError(u"Écriture de l’audio impossible."_s);
}

} // namespace quorvalent
