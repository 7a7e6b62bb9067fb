#include "media/MovieIndex.h"

#include "platform/FileDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string_view>

namespace quorvalent {

namespace {

// A read outside the box that was asked: the index is broken, and read() answers with nothing.
class BrokenIndex : public std::exception
{};

// A view of big-endian bytes that refuses to look past its end.
class Bytes
{
public:
    explicit Bytes(std::string_view bytes)
        : m_bytes(bytes)
    {}

    [[nodiscard]] std::size_t size() const { return m_bytes.size(); }
    [[nodiscard]] Bytes from(std::size_t offset) const
    {
        require(offset, 0);
        return Bytes(m_bytes.substr(offset));
    }
    [[nodiscard]] Bytes slice(std::size_t offset, std::size_t length) const
    {
        require(offset, length);
        return Bytes(m_bytes.substr(offset, length));
    }
    [[nodiscard]] std::string text(std::size_t offset, std::size_t length) const
    {
        require(offset, length);
        return std::string(m_bytes.substr(offset, length));
    }
    [[nodiscard]] std::uint64_t number(std::size_t offset, std::size_t length) const
    {
        require(offset, length);
        std::uint64_t value = 0;
        for (const char byte : m_bytes.substr(offset, length))
            value = value << 8U | static_cast<unsigned char>(byte);
        return value;
    }
    [[nodiscard]] std::uint32_t u32(std::size_t offset) const
    {
        return static_cast<std::uint32_t>(number(offset, 4));
    }
    [[nodiscard]] std::size_t find(std::string_view text) const { return m_bytes.find(text); }

private:
    void require(std::size_t offset, std::size_t length) const
    {
        if (offset > m_bytes.size() || length > m_bytes.size() - offset)
            throw BrokenIndex();
    }

    std::string_view m_bytes;
};

struct Box
{
    std::string type;
    Bytes content;
};

std::vector<Box> boxesIn(const Bytes &bytes)
{
    std::vector<Box> boxes;
    // QuickTime may end a list with four zero bytes.
    for (std::size_t offset = 0; offset + 8 <= bytes.size();) {
        std::uint64_t length = bytes.u32(offset);
        std::size_t head = 8;
        if (length == 1) {
            length = bytes.number(offset + 8, 8);
            head = 16;
        } else if (length == 0) {
            length = bytes.size() - offset;
        }
        if (length < head || length > bytes.size() - offset)
            throw BrokenIndex();
        boxes.push_back({bytes.text(offset + 4, 4), bytes.slice(offset + head, length - head)});
        offset += length;
    }
    return boxes;
}

// The first box at a path such as {"mdia", "minf", "stbl"}.
std::optional<Bytes> find(Bytes bytes, std::initializer_list<std::string_view> path)
{
    for (const std::string_view type : path) {
        const std::vector<Box> boxes = boxesIn(bytes);
        const auto box =
            std::find_if(boxes.begin(), boxes.end(), [type](const Box &b) { return b.type == type; });
        if (box == boxes.end())
            return std::nullopt;
        bytes = box->content;
    }
    return bytes;
}

Bytes required(const Bytes &bytes, std::initializer_list<std::string_view> path)
{
    const std::optional<Bytes> found = find(bytes, path);
    if (!found)
        throw BrokenIndex();
    return *found;
}

struct Clock
{
    double unitsPerSecond = 0;
    double units = 0;
};

// Movie and media headers share this beginning: flags, two dates, time scale, duration.
Clock clockOf(const Bytes &header)
{
    const bool isLong = header.number(0, 1) == 1;
    const std::size_t scale = isLong ? 20 : 12;
    const Clock clock{static_cast<double>(header.u32(scale)),
                      static_cast<double>(header.number(scale + 4, isLong ? 8 : 4))};
    if (clock.unitsPerSecond == 0)
        throw BrokenIndex();
    return clock;
}

// The matrix turns by multiples of a quarter in every file that a camera writes; any other one counts as
// not turned.
int rotationOf(const Bytes &trackHeader)
{
    const std::size_t matrix = trackHeader.number(0, 1) == 1 ? 52 : 40;
    const auto a = static_cast<std::int32_t>(trackHeader.u32(matrix));
    const auto b = static_cast<std::int32_t>(trackHeader.u32(matrix + 4));
    if (a == 0 && b != 0)
        return b > 0 ? 90 : 270;
    return a < 0 ? 180 : 0;
}

// What the edit list plays, in seconds; the whole media where there is none.
double playedSeconds(const Bytes &track, const Clock &movie, const Clock &media)
{
    const std::optional<Bytes> edits = find(track, {"edts", "elst"});
    const double whole = media.units / media.unitsPerSecond;
    if (!edits || edits->u32(4) == 0)
        return whole;
    const bool isLong = edits->number(0, 1) == 1;
    const std::size_t width = isLong ? 8 : 4;
    double units = 0;
    for (std::uint32_t i = 0; i < edits->u32(4); ++i) {
        const Bytes edit = edits->from(8 + i * (2 * width + 4));
        const bool isPause =
            isLong ? edit.number(8, 8) == ~std::uint64_t{0} : edit.u32(4) == ~std::uint32_t{0};
        if (!isPause)
            units += static_cast<double>(edit.number(0, width));
    }
    // Fragmented files write an edit of no length, meaning all there is.
    return units == 0 ? whole : units / movie.unitsPerSecond;
}

// The object type in the elementary stream descriptor; QuickTime hides that box one level further down, so
// it is looked for by its name.
int objectTypeOf(const Bytes &description)
{
    const std::size_t name = description.find("esds");
    if (name == std::string_view::npos)
        return 0;
    Bytes rest = description.from(name + 8);
    const auto enter = [&rest](std::uint64_t tag) {
        if (rest.number(0, 1) != tag)
            throw BrokenIndex();
        std::size_t head = 1;
        while ((rest.number(head, 1) & 0x80U) != 0) // the length: seven bits a byte
            ++head;
        rest = rest.from(head + 1);
    };
    enter(3);
    const std::uint64_t flags = rest.number(2, 1);
    if (flags != 0) // optional parts that no writer of movies uses
        return 0;
    rest = rest.from(3);
    enter(4);
    return static_cast<int>(rest.number(0, 1));
}

// One size for all samples, or a list of them.
std::uint64_t totalBytes(const Bytes &sizes)
{
    const std::uint64_t samples = sizes.u32(8);
    if (const std::uint64_t each = sizes.u32(4); each != 0)
        return each * samples;
    const Bytes list = sizes.slice(12, samples * 4);
    std::uint64_t total = 0;
    for (std::size_t offset = 0; offset < list.size(); offset += 4)
        total += list.u32(offset);
    return total;
}

// Of the table that tells how many samples in a row last how long.
double totalUnits(const Bytes &durations)
{
    const Bytes list = durations.slice(8, std::size_t{durations.u32(4)} * 8);
    std::uint64_t total = 0;
    for (std::size_t offset = 0; offset < list.size(); offset += 8)
        total += std::uint64_t{list.u32(offset)} * list.u32(offset + 4);
    return static_cast<double>(total);
}

MovieTrack trackOf(const Bytes &bytes, const Clock &movie)
{
    MovieTrack track;
    const Bytes media = required(bytes, {"mdia"});
    track.handler = required(media, {"hdlr"}).text(8, 4);
    const Clock mediaClock = clockOf(required(media, {"mdhd"}));
    track.seconds = playedSeconds(bytes, movie, mediaClock);
    track.rotationDegrees = rotationOf(required(bytes, {"tkhd"}));

    const Bytes table = required(media, {"minf", "stbl"});
    const std::vector<Box> descriptions = boxesIn(required(table, {"stsd"}).from(8));
    if (!descriptions.empty()) {
        const Box &first = descriptions.front();
        track.sampleFormat = first.type;
        if (track.handler == "vide") {
            track.width = static_cast<int>(first.content.number(24, 2));
            track.height = static_cast<int>(first.content.number(26, 2));
        } else if (track.handler == "soun") {
            track.objectType = objectTypeOf(first.content);
        }
    }
    if (const auto sizes = find(table, {"stsz"})) {
        track.samples = sizes->u32(8);
        track.sampleBytes = totalBytes(*sizes);
    } else {
        track.samples = required(table, {"stz2"}).u32(8);
    }
    track.sampleSeconds = totalUnits(required(table, {"stts"})) / mediaClock.unitsPerSecond;
    return track;
}

bool isEncrypted(const Bytes &track)
{
    const Bytes table = required(track, {"mdia", "minf", "stbl"});
    if (find(table, {"senc"}))
        return true;
    for (const Box &description : boxesIn(required(table, {"stsd"}).from(8)))
        for (const std::string_view format : {"encv", "enca", "enct", "drmi", "drms", "p608"})
            if (description.type == format)
                return true;
    return false;
}

std::vector<std::uint32_t> chapterTracks(const Bytes &track)
{
    std::vector<std::uint32_t> ids;
    if (const auto chapters = find(track, {"tref", "chap"}))
        for (std::size_t offset = 0; offset + 4 <= chapters->size(); offset += 4)
            ids.push_back(chapters->u32(offset));
    return ids;
}

std::uint32_t trackNumber(const Bytes &track)
{
    const Bytes header = required(track, {"tkhd"});
    return header.u32(header.number(0, 1) == 1 ? 20 : 12);
}

void readMovie(const Bytes &movie, MovieIndex &index)
{
    const Clock clock = clockOf(required(movie, {"mvhd"}));
    index.seconds = clock.units / clock.unitsPerSecond;
    index.hasFragments = index.hasFragments || find(movie, {"mvex"}).has_value();
    // Both lie in different places, depending on the writer. Their names turning up elsewhere by chance costs
    // no more than a closer look.
    index.hasMakerTags = movie.find("mdtacom.") != std::string_view::npos;
    index.hasCoverPicture = movie.find("covr") != std::string_view::npos;

    std::vector<std::uint32_t> numbers;
    std::vector<std::uint32_t> chapters;
    for (const Box &box : boxesIn(movie)) {
        if (box.type != "trak")
            continue;
        index.tracks.push_back(trackOf(box.content, clock));
        index.isEncrypted = index.isEncrypted || isEncrypted(box.content);
        numbers.push_back(trackNumber(box.content));
        const std::vector<std::uint32_t> named = chapterTracks(box.content);
        chapters.insert(chapters.end(), named.begin(), named.end());
    }
    std::sort(chapters.begin(), chapters.end());
    for (std::size_t i = 0; i < numbers.size(); ++i)
        index.tracks[i].isChapterList = std::binary_search(chapters.begin(), chapters.end(), numbers[i]);
}

std::string readAt(const FileDescriptor &file, std::uint64_t offset, std::size_t length)
{
    std::string bytes(length, '\0');
    std::size_t done = 0;
    while (done < length) {
        const ssize_t count =
            ::pread(file.get(), bytes.data() + done, length - done, static_cast<off_t>(offset + done));
        if (count <= 0)
            break;
        done += static_cast<std::size_t>(count);
    }
    bytes.resize(done);
    return bytes;
}

// What may stand at the top of such a file; anything else in the first place makes it a file of another kind.
bool opensMovie(const std::string &type)
{
    static constexpr std::string_view types[] = {"ftyp", "moov", "mdat", "free",
                                                 "skip", "wide", "pnot", "uuid"};
    return std::find(std::begin(types), std::end(types), type) != std::end(types);
}

// The index of a three-hour film has some ten megabytes; a larger claim than this is a broken length.
constexpr std::uint64_t largestIndexBytes = std::uint64_t{1} << 30U;

std::optional<MovieIndex> readIndex(const FileDescriptor &file, std::uint64_t fileBytes)
{
    MovieIndex index;
    bool hasIndex = false;
    bool hasData = false;
    for (std::uint64_t offset = 0; offset + 8 <= fileBytes;) {
        const std::string start = readAt(file, offset, 16);
        const Bytes head(start);
        const std::string type = head.text(4, 4);
        if (offset == 0 && !opensMovie(type))
            return std::nullopt;
        std::uint64_t length = head.u32(0);
        std::uint64_t headBytes = 8;
        if (length == 1) {
            length = head.number(8, 8);
            headBytes = 16;
        } else if (length == 0) {
            length = fileBytes - offset;
        }
        if (length < headBytes)
            break; // no box: padding after the last one
        const bool isWhole = length <= fileBytes - offset;
        // Rubbish after the last part is no loss, even when it reads as a part that does not fit.
        index.isTruncated = index.isTruncated || (!isWhole && (type == "mdat" || type == "moof"));

        if (type == "ftyp") {
            index.brand = head.text(8, 4);
        } else if (type == "mdat") {
            hasData = true;
            index.dataBytes += std::min(length, fileBytes - offset) - headBytes;
        } else if (type == "moof") {
            index.hasFragments = true;
        } else if (type == "moov" && !hasIndex) {
            if (!isWhole || length > largestIndexBytes)
                return std::nullopt;
            const std::string movie = readAt(file, offset + headBytes, length - headBytes);
            readMovie(Bytes(movie), index);
            hasIndex = true;
            index.precedesData = !hasData;
        }
        if (!isWhole)
            break;
        offset += length;
    }
    return hasIndex ? std::optional(index) : std::nullopt;
}

} // namespace

std::optional<MovieIndex> MovieIndex::read(const std::filesystem::path &path)
{
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    struct stat status = {};
    if (!file.isOpen() || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    try {
        return readIndex(file, static_cast<std::uint64_t>(status.st_size));
    } catch (const BrokenIndex &) {
        return std::nullopt;
    }
}

} // namespace quorvalent
