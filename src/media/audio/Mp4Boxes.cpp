#include "media/audio/Mp4Boxes.h"

#include <algorithm>
#include <numeric>
#include <utility>
#include <vector>

namespace quorvalent {

namespace {

// The transformation matrix that changes nothing: 16.16 fixed point, the last one 2.30.
Mp4Box &identityMatrix(Mp4Box &box)
{
    return box.u32(0x10000).zeros(12).u32(0x10000).zeros(12).u32(0x40000000);
}

std::int64_t totalBytes(const Mp4AudioIndex &index)
{
    return std::accumulate(index.packetBytes.begin(), index.packetBytes.end(), std::int64_t{0});
}

QByteArray movieHeader(const Mp4AudioIndex &index)
{
    Mp4Box box;
    box.zeros(12)
        .u32(static_cast<std::uint64_t>(index.sampleRate))
        .u32(static_cast<std::uint64_t>(index.frames));
    box.u32(0x10000).u16(0x100).zeros(10); // speed 1, volume 1
    return identityMatrix(box).zeros(24).u32(2).as("mvhd");
}

QByteArray trackHeader(const Mp4AudioIndex &index)
{
    Mp4Box box;
    box.u32(7).zeros(8).u32(1).zeros(4).u32(static_cast<std::uint64_t>(index.frames)); // enabled, track 1
    box.zeros(8).u16(0).u16(1).u16(0x100).u16(0);                                      // group 1, volume 1
    return identityMatrix(box).zeros(8).as("tkhd");
}

QByteArray editList(const Mp4AudioIndex &index)
{
    Mp4Box list;
    list.zeros(4).u32(1).u32(static_cast<std::uint64_t>(index.frames));
    list.u32(static_cast<std::uint64_t>(index.delayFrames)).u32(0x10000);
    return Mp4Box().bytes(list.as("elst")).as("edts");
}

// A descriptor of ISO 14496-1: tag, length, content; ours are all shorter than 128 bytes.
QByteArray descriptor(unsigned tag, const Mp4Box &content)
{
    const QByteArray &bytes = content.content();
    return Mp4Box().u8(tag).u8(static_cast<unsigned>(bytes.size())).bytes(bytes).content();
}

QByteArray sampleDescription(const Mp4AudioIndex &index)
{
    const std::int64_t sounding = std::max<std::int64_t>(index.frames + index.delayFrames, 1);
    const auto bitRate = static_cast<std::uint64_t>(totalBytes(index) * 8 * index.sampleRate / sounding);
    Mp4Box decoder;
    decoder.u8(0x40).u8(0x15).u8(0).u16(0).u32(bitRate).u32(bitRate); // AAC, audio stream, buffer unknown
    decoder.bytes(descriptor(5, Mp4Box().bytes(index.decoderSetup)));
    Mp4Box stream;
    stream.u16(0).u8(0).bytes(descriptor(4, decoder)).bytes(descriptor(6, Mp4Box().u8(2)));
    const QByteArray setup = Mp4Box().zeros(4).bytes(descriptor(3, stream)).as("esds");

    Mp4Box entry;
    entry.zeros(6).u16(1).zeros(8).u16(static_cast<unsigned>(index.channels)).u16(16).zeros(4);
    // The rate is 16.16 fixed point: what does not fit stands in the decoder's setup alone.
    entry.u16(index.sampleRate <= 0xFFFF ? static_cast<unsigned>(index.sampleRate) : 0).u16(0).bytes(setup);
    return Mp4Box().zeros(4).u32(1).bytes(entry.as("mp4a")).as("stsd");
}

// How long each packet lasts: the last ones less, or not at all, so that the track ends with the sound.
QByteArray packetTimes(const Mp4AudioIndex &index)
{
    const auto packets = static_cast<std::int64_t>(index.packetBytes.size());
    const std::int64_t total = index.delayFrames + index.frames;
    const std::int64_t whole = std::min(packets, total / index.framesPerPacket);
    std::vector<std::pair<std::int64_t, std::int64_t>> runs; // packets, frames of each
    if (whole > 0)
        runs.emplace_back(whole, index.framesPerPacket);
    if (packets > whole)
        runs.emplace_back(1, total - whole * index.framesPerPacket);
    if (packets > whole + 1)
        runs.emplace_back(packets - whole - 1, 0);

    Mp4Box box;
    box.zeros(4).u32(runs.size());
    for (const auto &[count, frames] : runs)
        box.u32(static_cast<std::uint64_t>(count)).u32(static_cast<std::uint64_t>(frames));
    return box.as("stts");
}

// What the list of sizes takes in the file.
std::uint64_t listBytes(const Mp4AudioIndex &index)
{
    return index.packetBytes.size() * sizeof(std::uint32_t);
}

// Without the list itself, of which a long recording has megabytes.
QByteArray packetSizesHead(const Mp4AudioIndex &index)
{
    return Mp4Box().zeros(8).u32(index.packetBytes.size()).as("stsz", listBytes(index));
}

// Players read a chunk at a time: about half a second each.
constexpr std::size_t packetsPerChunk = 22;

QByteArray chunkLayout(const Mp4AudioIndex &index)
{
    const std::size_t packets = index.packetBytes.size();
    const std::size_t whole = packets / packetsPerChunk;
    const std::size_t rest = packets % packetsPerChunk;
    Mp4Box box;
    box.zeros(4).u32((whole > 0 ? 1U : 0U) + (rest > 0 ? 1U : 0U));
    if (whole > 0)
        box.u32(1).u32(packetsPerChunk).u32(1);
    if (rest > 0)
        box.u32(whole + 1).u32(rest).u32(1);
    return box.as("stsc");
}

QByteArray chunkOffsets(const Mp4AudioIndex &index)
{
    const std::size_t packets = index.packetBytes.size();
    Mp4Box box;
    box.zeros(4).u32((packets + packetsPerChunk - 1) / packetsPerChunk);
    auto offset = static_cast<std::uint64_t>(index.firstPacketOffset);
    for (std::size_t packet = 0; packet < packets; ++packet) {
        if (packet % packetsPerChunk == 0)
            box.u32(offset);
        offset += index.packetBytes[packet];
    }
    return box.as("stco");
}

QByteArray mediaBox(const Mp4AudioIndex &index)
{
    Mp4Box header;
    header.zeros(12).u32(static_cast<std::uint64_t>(index.sampleRate));
    header.u32(static_cast<std::uint64_t>(index.frames + index.delayFrames))
        .u16(0x55C4)
        .u16(0); // language "und"
    Mp4Box handler;
    handler.zeros(8).text("soun").zeros(12).text("SoundHandler").u8(0);
    const QByteArray here = Mp4Box().u32(1).as("url "); // the packets are in this file
    const QByteArray references = Mp4Box().zeros(4).u32(1).bytes(here).as("dref");

    Mp4Box table;
    table.bytes(sampleDescription(index)).bytes(packetTimes(index)).bytes(chunkLayout(index));
    table.bytes(chunkOffsets(index)).bytes(packetSizesHead(index));
    Mp4Box information;
    information.bytes(Mp4Box().zeros(8).as("smhd")).bytes(Mp4Box().bytes(references).as("dinf"));
    information.bytes(table.as("stbl", listBytes(index)));
    return Mp4Box()
        .bytes(header.as("mdhd"))
        .bytes(handler.as("hdlr"))
        .bytes(information.as("minf", listBytes(index)))
        .as("mdia", listBytes(index));
}

} // namespace

Mp4Box &Mp4Box::u8(unsigned value)
{
    m_content.append(static_cast<char>(value));
    return *this;
}

Mp4Box &Mp4Box::u16(unsigned value)
{
    return u8(value >> 8U & 0xFFU).u8(value & 0xFFU);
}

Mp4Box &Mp4Box::u32(std::uint64_t value)
{
    return u16(static_cast<unsigned>(value >> 16U & 0xFFFFU)).u16(static_cast<unsigned>(value & 0xFFFFU));
}

Mp4Box &Mp4Box::zeros(qsizetype bytes)
{
    m_content.append(bytes, '\0');
    return *this;
}

Mp4Box &Mp4Box::text(std::string_view bytes)
{
    m_content.append(bytes.data(), static_cast<qsizetype>(bytes.size()));
    return *this;
}

Mp4Box &Mp4Box::bytes(const QByteArray &bytes)
{
    m_content.append(bytes);
    return *this;
}

QByteArray Mp4Box::as(std::string_view type, std::uint64_t bytesToCome) const
{
    Mp4Box box;
    box.u32(static_cast<std::uint64_t>(m_content.size()) + 4 + type.size() + bytesToCome);
    return box.text(type).bytes(m_content).content();
}

QByteArray movieBox(const Mp4AudioIndex &index)
{
    Mp4Box track;
    track.bytes(trackHeader(index)).bytes(editList(index)).bytes(mediaBox(index));
    return Mp4Box()
        .bytes(movieHeader(index))
        .bytes(track.as("trak", listBytes(index)))
        .as("moov", listBytes(index));
}

} // namespace quorvalent
