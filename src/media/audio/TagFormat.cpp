#include "media/audio/TagFormat.h"

#include "media/audio/AdtsHeader.h"
#include "media/audio/ByteSource.h"

#include <array>

namespace quorvalent {

namespace {

TagFormat oggFormat(const ByteSource &file)
{
    // The first packet lies behind a page header of 27 bytes and a table of one byte.
    constexpr std::int64_t firstPacket = 28;
    if (file.holds(firstPacket, "\x01vorbis"))
        return TagFormat::OggVorbis;
    if (file.holds(firstPacket, "OpusHead"))
        return TagFormat::OggOpus;
    return file.holds(firstPacket, "\x7F"
                                   "FLAC")
               ? TagFormat::OggFlac
               : TagFormat::None;
}

} // namespace

TagFormat tagFormat(const std::filesystem::path &path)
{
    const ByteSource file(path);
    // RF64 is left out: its sizes do not fit the tags' library.
    if (file.holds(0, "RIFF") && file.holds(8, "WAVE"))
        return TagFormat::Wave;
    if (file.holds(0, "FORM") && (file.holds(8, "AIFF") || file.holds(8, "AIFC")))
        return TagFormat::Aiff;
    if (file.holds(4, "ftyp"))
        return TagFormat::Mp4;
    if (file.holds(0, "OggS"))
        return oggFormat(file);
    const std::int64_t start = file.endOfId3();
    if (file.holds(start, "fLaC"))
        return TagFormat::Flac;
    std::array<std::uint8_t, AdtsHeader::shortestBytes> head{};
    file.read(start, head);
    if (AdtsHeader::parse(head))
        return TagFormat::Adts;
    const bool isMpeg = head[0] == 0xFF && (head[1] & 0xE0U) == 0xE0;
    return isMpeg || start > 0 ? TagFormat::Mpeg : TagFormat::None;
}

} // namespace quorvalent
