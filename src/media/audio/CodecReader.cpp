#include "media/audio/CodecReader.h"

#include "media/MediaPrograms.h"

#include <QtEndian>

#include <cmath>
#include <cstring>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;
using Container = DeclaredLength::Container;

AudioError unreadable()
{
    return AudioError(u"Lecture de l’audio impossible."_s);
}

ChildCommand decodeCommand(const std::filesystem::path &path)
{
    ChildCommand command;
    command.program = MediaPrograms::ffmpeg();
    command.arguments = {"-nostdin", "-loglevel", "quiet", "-xerror",
                         // Only files that may hold nothing but themselves: no playlist, no network.
                         "-protocol_whitelist", "file,pipe", "-format_whitelist",
                         "mov,mp4,aac,loas,flac,ogg,mp3,wav,w64,aiff,caf,ac3,eac3,matroska,webm,asf",
                         // The prefix keeps a name such as "-x" from being anything but a name.
                         "-i", "file:" + std::filesystem::absolute(path).native(), "-map", "0:a:0",
                         "-map_metadata", "-1", "-c:a", "pcm_f32le", "-f", "wav", "-bitexact", "pipe:1"};
    command.environment = {"LC_ALL=C.UTF-8"};
    return command;
}

} // namespace

CodecReader::CodecReader(const std::filesystem::path &path, const DeclaredLength &declared)
    : m_child(decodeCommand(path))
{
    readWaveHead();
    if (!declared.frames || !declared.sampleRate || *declared.sampleRate <= 0)
        return;
    const double scale = static_cast<double>(m_format.sampleRate) / *declared.sampleRate;
    m_length = static_cast<std::int64_t>(std::llround(static_cast<double>(*declared.frames) * scale));
    // Two packets of AAC, which some writers count and none can decode without the one before.
    constexpr double packetFrames = 1024;
    if (declared.container != Container::Flac)
        m_toleranceFrames = static_cast<std::int64_t>(2 * packetFrames * scale);
}

bool CodecReader::receive()
{
    m_pending.remove(0, m_taken);
    m_taken = 0;
    const QByteArray bytes = m_child.readAvailable();
    m_pending += bytes;
    return !bytes.isEmpty();
}

QByteArray CodecReader::take(qsizetype bytes)
{
    while (m_pending.size() - m_taken < bytes) {
        if (!receive())
            throw unreadable();
    }
    QByteArray taken = m_pending.sliced(m_taken, bytes);
    m_taken += bytes;
    return taken;
}

// The chunks in front of the samples; the sizes of the file and of the samples are not known in a pipe.
void CodecReader::readWaveHead()
{
    const QByteArray riff = take(12);
    if (!riff.startsWith("RIFF") || !riff.endsWith("WAVE"))
        throw unreadable();
    while (true) {
        const QByteArray head = take(8);
        if (head.startsWith("data"))
            break;
        const QByteArray chunk = take(qFromLittleEndian<qint32>(head.constData() + 4));
        if (!head.startsWith("fmt ") || chunk.size() < 16)
            continue;
        m_format.channels = qFromLittleEndian<quint16>(chunk.constData() + 2);
        m_format.sampleRate = qFromLittleEndian<qint32>(chunk.constData() + 4);
        constexpr qsizetype extensibleSize = 40;
        m_format.speakers = chunk.size() >= extensibleSize
                                ? qFromLittleEndian<quint32>(chunk.constData() + 20)
                                : usualSpeakers(m_format.channels);
    }
    if (m_format.channels <= 0 || m_format.sampleRate <= 0)
        throw unreadable();
    m_format.samples = SampleKind::Float32;
}

std::size_t CodecReader::decode(AudioBuffer &buffer)
{
    const auto target = std::as_writable_bytes(buffer.floats());
    std::size_t filled = 0;
    while (filled < target.size()) {
        const qsizetype available = m_pending.size() - m_taken;
        if (available == 0) {
            if (receive())
                continue;
            if (!m_child.wait().isSuccess())
                throw AudioError(u"Le fichier audio est endommagé."_s);
            break;
        }
        const std::size_t count = std::min(target.size() - filled, static_cast<std::size_t>(available));
        std::memcpy(target.data() + filled, m_pending.constData() + m_taken, count);
        m_taken += static_cast<qsizetype>(count);
        filled += count;
    }
    return filled / sizeof(float) / buffer.channels();
}

} // namespace quorvalent
