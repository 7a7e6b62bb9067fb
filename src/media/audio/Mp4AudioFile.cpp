#include "media/audio/Mp4AudioFile.h"

#include "media/AudioFormat.h"
#include "media/audio/Mp4Boxes.h"

#include <cerrno>
#include <limits>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

constexpr std::size_t bufferBytes = 256UL * 1024;

std::span<const std::uint8_t> bytesOf(const QByteArray &array)
{
    return {reinterpret_cast<const std::uint8_t *>(array.constData()),
            static_cast<std::size_t>(array.size())};
}

QByteArray fileType()
{
    return Mp4Box().text("M4A ").u32(0x200).text("M4A isomiso2mp42").as("ftyp");
}

// Of ISO 14496-3: five bits of object type, four of rate, four of channels, then three of defaults.
QByteArray decoderSetup(const AdtsHeader &stream)
{
    return Mp4Box()
        .u16(stream.objectType << 11U | stream.rateIndex << 7U | stream.channelConfiguration << 3U)
        .content();
}

} // namespace

Mp4AudioFile::Mp4AudioFile(std::filesystem::path path)
    : m_path(std::move(path))
    , m_file(FileDescriptor::createForWriting(m_path))
{
    m_buffer.reserve(bufferBytes);
    append(bytesOf(fileType()));
    append(bytesOf(Mp4Box().as("mdat"))); // the size is put in at the end
}

void Mp4AudioFile::append(std::span<const std::uint8_t> bytes)
{
    m_buffer.insert(m_buffer.end(), bytes.begin(), bytes.end());
    m_size += static_cast<std::int64_t>(bytes.size());
    if (m_buffer.size() >= bufferBytes)
        flush();
}

void Mp4AudioFile::flush()
{
    std::size_t done = 0;
    while (done < m_buffer.size()) {
        const ssize_t count = ::write(m_file.get(), m_buffer.data() + done, m_buffer.size() - done);
        if (count < 0 && errno != EINTR)
            throw FileError(errno, m_path);
        done += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    m_buffer.clear();
}

void Mp4AudioFile::addPacket(std::span<const std::uint8_t> packet)
{
    if (m_size + static_cast<std::int64_t>(packet.size()) > std::numeric_limits<std::uint32_t>::max())
        throw AudioError(u"Un fichier M4A ne peut pas dépasser 4 Go."_s);
    append(packet);
    m_packetBytes.push_back(static_cast<std::uint16_t>(packet.size()));
}

void Mp4AudioFile::finish(const AdtsHeader &stream, int channels, std::int64_t delayFrames,
                          std::int64_t frames)
{
    const std::int64_t dataStart = fileType().size();
    const QByteArray dataSize = Mp4Box().u32(static_cast<std::uint64_t>(m_size - dataStart)).content();
    append(bytesOf(movieBox({.sampleRate = stream.sampleRate,
                             .channels = channels,
                             .decoderSetup = decoderSetup(stream),
                             .delayFrames = delayFrames,
                             .frames = frames,
                             .framesPerPacket = AdtsHeader::framesPerBlock,
                             .firstPacketOffset = dataStart + 8,
                             .packetBytes = m_packetBytes})));
    for (const std::uint16_t bytes : m_packetBytes)
        append(bytesOf(Mp4Box().u32(bytes).content()));
    flush();
    if (::pwrite(m_file.get(), dataSize.constData(), 4, dataStart) != 4)
        throw FileError(errno, m_path);
    m_file.close();
}

} // namespace quorvalent
