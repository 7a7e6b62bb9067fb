#include "media/audio/Mp4Length.h"

#include "media/audio/ByteSource.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>

namespace quorvalent {

namespace {

struct Box
{
    std::string type;
    std::int64_t begin = 0; ///< of its content
    std::int64_t end = 0;
};

// The boxes between two places of the file, one after another; the last one may claim to reach beyond.
class BoxList
{
public:
    BoxList(const ByteSource &file, std::int64_t begin, std::int64_t end)
        : m_file(file)
        , m_next(begin)
        , m_end(end)
    {}

    std::optional<Box> next()
    {
        constexpr std::int64_t head = 8;
        if (m_next + head > m_end)
            return std::nullopt;
        std::array<std::uint8_t, 4> type{};
        m_file.read(m_next + 4, type);
        std::int64_t size = m_file.big32(m_next);
        std::int64_t headBytes = head;
        if (size == 1) {
            constexpr std::uint64_t largest = 1ULL << 62U;
            size = static_cast<std::int64_t>(std::min(m_file.big64(m_next + head), largest));
            headBytes = 16;
        } else if (size == 0) {
            size = m_end - m_next;
        }
        if (size < headBytes)
            return std::nullopt;
        const std::int64_t begin = m_next + headBytes;
        m_next += size;
        return Box{std::string(type.begin(), type.end()), begin, m_next};
    }

private:
    const ByteSource &m_file;
    std::int64_t m_next;
    std::int64_t m_end;
};

std::optional<Box> find(const ByteSource &file, const Box &parent, const std::string &type)
{
    BoxList boxes(file, parent.begin, parent.end);
    while (std::optional<Box> box = boxes.next()) {
        if (box->type == type)
            return box;
    }
    return std::nullopt;
}

struct TimeHeader
{
    std::int64_t scale = 0; ///< ticks a second
    std::int64_t duration = 0;
};

// Of a movie or media header, whose times are 32 or 64 bits wide.
TimeHeader timeHeader(const ByteSource &file, const Box &box)
{
    if (file.big32(box.begin) >> 24U == 1)
        return {file.big32(box.begin + 20), static_cast<std::int64_t>(file.big64(box.begin + 24))};
    return {file.big32(box.begin + 12), file.big32(box.begin + 16)};
}

struct Edit
{
    std::int64_t duration = 0; ///< in the movie's ticks
    std::int64_t start = 0;    ///< in the track's ticks
};

// Nothing when there is no list, or one that is more than a single cut.
std::optional<Edit> onlyEdit(const ByteSource &file, const Box &track)
{
    const std::optional<Box> edits = find(file, track, "edts");
    const std::optional<Box> list = edits ? find(file, *edits, "elst") : std::nullopt;
    if (!list || file.big32(list->begin + 4) != 1)
        return std::nullopt;
    if (file.big32(list->begin) >> 24U == 1)
        return Edit{static_cast<std::int64_t>(file.big64(list->begin + 8)),
                    static_cast<std::int64_t>(file.big64(list->begin + 16))};
    return Edit{file.big32(list->begin + 8), static_cast<std::int32_t>(file.big32(list->begin + 12))};
}

// The true number of frames as iTunes notes it, in a comment of its own: hexadecimal fields, the fourth.
std::optional<std::int64_t> notedFrames(const ByteSource &file, const Box &movie)
{
    std::optional<Box> box = find(file, movie, "udta");
    box = box ? find(file, *box, "meta") : std::nullopt;
    if (box)
        box->begin += 4; // version and flags
    box = box ? find(file, *box, "ilst") : std::nullopt;
    if (!box)
        return std::nullopt;
    BoxList items(file, box->begin, box->end);
    while (const std::optional<Box> item = items.next()) {
        const std::optional<Box> name = item->type == "----" ? find(file, *item, "name") : std::nullopt;
        const std::optional<Box> data = name ? find(file, *item, "data") : std::nullopt;
        if (!data || !file.holds(name->begin + 4, "iTunSMPB"))
            continue;
        std::array<std::uint8_t, 64> text{};
        const std::size_t count = file.read(data->begin + 8, text);
        unsigned long long frames = 0;
        const std::string line(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(count));
        if (std::sscanf(line.c_str(), " %*x %*x %*x %llx", &frames) == 1 && frames > 0 &&
            frames < 1ULL << 40U)
            return static_cast<std::int64_t>(frames);
    }
    return std::nullopt;
}

std::optional<Box> soundTrack(const ByteSource &file, const Box &movie)
{
    BoxList boxes(file, movie.begin, movie.end);
    while (std::optional<Box> track = boxes.next()) {
        const std::optional<Box> media = track->type == "trak" ? find(file, *track, "mdia") : std::nullopt;
        const std::optional<Box> handler = media ? find(file, *media, "hdlr") : std::nullopt;
        if (handler && file.holds(handler->begin + 8, "soun"))
            return track;
    }
    return std::nullopt;
}

void readMovie(const ByteSource &file, const Box &movie, DeclaredLength &declared)
{
    const std::optional<Box> track = soundTrack(file, movie);
    const std::optional<Box> media = track ? find(file, *track, "mdia") : std::nullopt;
    const std::optional<Box> mediaHead = media ? find(file, *media, "mdhd") : std::nullopt;
    const std::optional<Box> movieHead = find(file, movie, "mvhd");
    // The pieces of a fragmented movie are not counted in its header.
    if (!mediaHead || !movieHead || find(file, movie, "mvex"))
        return;
    const TimeHeader mediaTime = timeHeader(file, *mediaHead);
    const TimeHeader movieTime = timeHeader(file, *movieHead);
    if (mediaTime.scale <= 0 || mediaTime.scale > std::numeric_limits<int>::max() ||
        mediaTime.duration <= 0 || movieTime.scale <= 0)
        return;

    declared.sampleRate = static_cast<int>(mediaTime.scale);
    std::int64_t frames = mediaTime.duration;
    if (const std::optional<Edit> edit = onlyEdit(file, *track); edit && edit->start >= 0) {
        frames -= std::min(edit->start, frames);
        const double ticks = static_cast<double>(mediaTime.scale) / static_cast<double>(movieTime.scale);
        const double cut = std::round(static_cast<double>(edit->duration) * ticks); // may pass 64 bits
        // Within one tick of the movie's coarser clock the two say the same, and the finer one is exact.
        if (edit->duration > 0 && static_cast<double>(frames) - cut > ticks)
            frames = static_cast<std::int64_t>(cut);
    } else if (const std::optional<std::int64_t> noted = notedFrames(file, movie)) {
        frames = std::min(frames, *noted);
    }
    if (frames > 0)
        declared.frames = frames;
}

} // namespace

DeclaredLength mp4Length(const ByteSource &file)
{
    DeclaredLength declared{
        .container = DeclaredLength::Container::Mp4, .isTruncated = false, .frames = {}, .sampleRate = {}};
    BoxList boxes(file, 0, file.size());
    while (const std::optional<Box> box = boxes.next()) {
        const bool isMovie = box->type == "moov";
        if (box->end > file.size())
            declared.isTruncated = isMovie || box->type == "mdat" || box->type == "moof";
        else if (isMovie)
            readMovie(file, *box, declared);
    }
    return declared;
}

} // namespace quorvalent
