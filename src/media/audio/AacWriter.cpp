#include "media/audio/AacWriter.h"

#include "media/MediaPrograms.h"
#include "platform/ComposedText.h"
#include "platform/QuietWrite.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <limits>
#include <string>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

// What the encoder puts in front of the sound.
constexpr std::int64_t encoderDelayFrames = 1024;

AudioError encodingFailed()
{
    return AudioError(u"L’encodage AAC a échoué."_s);
}

// Side and back loudspeakers are one pair to AAC. Nothing for an arrangement that has no number of its own in
// the format: players disagree on files that describe theirs themselves.
std::optional<Speakers> aacSpeakers(const AudioFormat &source)
{
    constexpr Speakers backPair = 0x30;
    constexpr Speakers sidePair = 0x600;
    Speakers speakers = source.speakers != 0 ? source.speakers : usualSpeakers(source.channels);
    if (source.channels == 1)
        speakers = usualSpeakers(1);
    else if ((speakers & sidePair) == sidePair && (speakers & (backPair | 0x100)) == 0)
        speakers = (speakers & ~sidePair) | backPair;
    constexpr std::array<Speakers, 7> numbered{0x4, 0x3, 0x7, 0x107, 0x37, 0x3F, 0x63F};
    for (const Speakers arrangement : numbered) {
        if (speakers == arrangement)
            return arrangement;
    }
    return std::nullopt;
}

// Refuses what cannot be encoded before anything is started.
void requireEncodable(const AudioFormat &source, std::optional<std::int64_t> length)
{
    if (!isAacSampleRate(source.sampleRate))
        throw AudioError(composed(u"Le format AAC n’admet pas la fréquence de {0} Hz."_s,
                                  {QString::number(source.sampleRate)}));
    if (!aacSpeakers(source))
        throw AudioError(composed(u"Le format AAC n’admet pas cette disposition de {0} canaux."_s,
                                  {QString::number(source.channels)}));
    if (length && *length > std::numeric_limits<std::uint32_t>::max() - encoderDelayFrames)
        throw AudioError(u"Cet enregistrement est trop long pour un fichier M4A."_s);
}

ChildCommand encodeCommand(int bitRate, const AudioFormat &source, int standardInput)
{
    ChildCommand command;
    command.program = MediaPrograms::ffmpeg();
    command.arguments = {"-nostdin",
                         "-loglevel",
                         "quiet",
                         "-protocol_whitelist",
                         "pipe",
                         "-probesize",
                         "32",
                         "-analyzeduration",
                         "0",
                         "-f",
                         source.samples == SampleKind::Int16 ? "s16le" : "f32le",
                         "-sample_rate",
                         std::to_string(source.sampleRate),
                         "-ch_layout",
                         std::to_string(aacSpeakers(source).value_or(0)),
                         "-i",
                         "pipe:0",
                         "-c:a",
                         "aac",
                         "-b:a",
                         std::to_string(bitRate),
                         "-f",
                         "adts",
                         "-flush_packets",
                         "0",
                         "pipe:1"};
    command.environment = {"LC_ALL=C.UTF-8"};
    command.standardInput = standardInput;
    return command;
}

} // namespace

AacWriter::AacWriter(const std::filesystem::path &path, int bitRate, const AudioFormat &source,
                     std::optional<std::int64_t> length)
    : AacWriter(path, bitRate, source, [&] {
        requireEncodable(source, length);
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0)
            throw FileError(errno, path);
        ::fcntl(ends[1], F_SETFL, O_NONBLOCK);
        return Feed{FileDescriptor(ends[1]), FileDescriptor(ends[0])};
    }())
{}

AacWriter::AacWriter(const std::filesystem::path &path, int bitRate, const AudioFormat &source, Feed feed)
    : m_channels(source.channels)
    , m_feed(std::move(feed.ours))
    , m_child(encodeCommand(bitRate, source, feed.childs.get()))
    , m_file(path)
{}

void AacWriter::write(const AudioBuffer &buffer)
{
    m_frames += static_cast<std::int64_t>(buffer.frames());
    std::span<const std::byte> rest = buffer.soundBytes();
    while (!rest.empty()) {
        // Both ends wait for each other when one of the pipes is full: so whichever moves is served.
        std::array<pollfd, 2> ends{{{m_feed.get(), POLLOUT, 0}, {m_child.outputDescriptor(), POLLIN, 0}}};
        if (::poll(ends.data(), ends.size(), -1) < 0) {
            if (errno != EINTR)
                throw FileError(errno, "poll");
            continue;
        }
        if (ends[1].revents != 0)
            receive();
        if (ends[0].revents == 0)
            continue;
        const ssize_t count = quietWrite(m_feed.get(), rest);
        if (count < 0 && errno != EAGAIN && errno != EINTR)
            throw encodingFailed();
        if (count > 0)
            rest = rest.subspan(static_cast<std::size_t>(count));
    }
}

void AacWriter::receive()
{
    const QByteArray bytes = m_child.readAvailable();
    if (bytes.isEmpty())
        throw encodingFailed();
    m_encoded += bytes;
    storePackets();
}

void AacWriter::storePackets()
{
    const std::span bytes(reinterpret_cast<const std::uint8_t *>(m_encoded.constData()),
                          static_cast<std::size_t>(m_encoded.size()));
    std::size_t stored = 0;
    while (bytes.size() - stored >= AdtsHeader::shortestBytes) {
        const std::optional<AdtsHeader> header = AdtsHeader::parse(bytes.subspan(stored));
        if (!header || header->channelConfiguration == 0 || header->blocks != 1)
            throw encodingFailed();
        if (header->frameBytes > bytes.size() - stored)
            break;
        m_file.addPacket(
            bytes.subspan(stored + header->headerBytes, header->frameBytes - header->headerBytes));
        stored += header->frameBytes;
        m_stream = header;
    }
    m_encoded.remove(0, static_cast<qsizetype>(stored));
}

void AacWriter::finish()
{
    m_feed.close();
    for (QByteArray bytes = m_child.readAvailable(); !bytes.isEmpty(); bytes = m_child.readAvailable()) {
        m_encoded += bytes;
        storePackets();
    }
    const auto encoded = static_cast<std::int64_t>(m_file.packets()) * AdtsHeader::framesPerBlock;
    if (!m_child.wait().isSuccess() || !m_encoded.isEmpty() || !m_stream ||
        encoded < encoderDelayFrames + m_frames)
        throw encodingFailed();
    m_file.finish(*m_stream, m_channels, encoderDelayFrames, m_frames);
}

} // namespace quorvalent
