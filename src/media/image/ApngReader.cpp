#include "media/image/ApngReader.h"

#include "media/image/Metadata.h"

#include <QtEndian>

#include <algorithm>
#include <cstring>
#include <limits>

namespace quorvalent {

using vips::VImage;

namespace {

constexpr qsizetype signatureBytes = 8;
constexpr qsizetype chunkFrameBytes = 12; // length, type, checksum
constexpr qsizetype headerBytes = 13;
constexpr qsizetype controlBytes = 26;
constexpr qsizetype sequenceBytes = 4; // the number that leads the content of a later frame's chunk

struct Chunk
{
    QByteArrayView type;
    QByteArrayView content;
    QByteArrayView whole;
};

// Until the visitor answers false, the end chunk, or one that the file has not room for.
template <typename Visitor>
void visitChunks(QByteArrayView bytes, const Visitor &visit)
{
    for (qsizetype at = signatureBytes; bytes.size() - at >= chunkFrameBytes;) {
        const qsizetype length = qFromBigEndian<quint32>(bytes.data() + at);
        if (length > bytes.size() - at - chunkFrameBytes)
            return;
        const Chunk chunk{bytes.sliced(at + 4, 4), bytes.sliced(at + 8, length),
                          bytes.sliced(at, length + chunkFrameBytes)};
        if (chunk.type == "IEND" || !visit(chunk))
            return;
        at += chunk.whole.size();
    }
}

int number(QByteArrayView bytes, qsizetype at)
{
    const auto value = qFromBigEndian<quint32>(bytes.data() + at);
    if (value > static_cast<quint32>(std::numeric_limits<int>::max()))
        throw ImageReadError();
    return static_cast<int>(value);
}

// One pixel over another, neither multiplied by its alpha, which stands last.
template <typename Sample>
void blend(Sample *to, const Sample *from, std::size_t bands)
{
    constexpr quint64 most = std::numeric_limits<Sample>::max();
    const quint64 above = from[bands - 1] * most;
    const quint64 below = to[bands - 1] * (most - from[bands - 1]);
    const quint64 both = above + below;
    if (both == 0)
        return;
    for (std::size_t band = 0; band + 1 < bands; ++band)
        to[band] = static_cast<Sample>((from[band] * above + to[band] * below + both / 2) / both);
    to[bands - 1] = static_cast<Sample>((both + most / 2) / most);
}

template <typename Sample>
void blendRow(unsigned char *to, const unsigned char *from, std::size_t bytes, std::size_t bands)
{
    std::vector<Sample> target(bytes / sizeof(Sample));
    std::vector<Sample> source(target.size());
    std::memcpy(target.data(), to, bytes);
    std::memcpy(source.data(), from, bytes);
    for (std::size_t pixel = 0; pixel < target.size(); pixel += bands)
        blend(&target[pixel], &source[pixel], bands);
    std::memcpy(to, target.data(), bytes);
}

VImage withAlpha(const VImage &image)
{
    if (image.bands() == 2 || image.bands() == 4)
        return image;
    const double opaque = image.format() == VIPS_FORMAT_USHORT ? 65535 : 255;
    return image.bandjoin(opaque).cast(image.format());
}

MappedFile mapped(const std::filesystem::path &path)
{
    std::optional<MappedFile> file = MappedFile::open(path);
    if (!file)
        throw ImageReadError();
    return std::move(*file);
}

} // namespace

int ApngReader::framesAnnouncedIn(const std::filesystem::path &path)
{
    const std::optional<MappedFile> file = MappedFile::open(path);
    int frames = 1;
    if (!file)
        return frames;
    const qsizetype most = file->bytes().size() / (chunkFrameBytes + controlBytes);
    visitChunks(file->bytes(), [&](const Chunk &chunk) {
        const bool isControl = chunk.type == "acTL" && chunk.content.size() >= 8;
        if (isControl)
            frames = static_cast<int>(std::clamp<qint64>(qFromBigEndian<quint32>(chunk.content.data()), 1,
                                                         std::max<qint64>(1, most)));
        return !isControl && chunk.type != "IDAT";
    });
    return frames;
}

ApngReader::ApngReader(std::filesystem::path path)
    : StillReader(std::move(path), Kind::Png)
    , m_file(mapped(this->path()))
    , m_announced(framesAnnouncedIn(this->path()))
{
    readChunks();
}

void ApngReader::readChunks()
{
    bool isPastPixels = false;
    visitChunks(m_file.bytes(), [&](const Chunk &chunk) {
        if (chunk.type == "IHDR" && chunk.content.size() == headerBytes) {
            m_header = chunk.content;
            m_canvasSize = {number(m_header, 0), number(m_header, 4)};
        } else if (chunk.type == "acTL" && chunk.content.size() >= 8) {
            m_plays = number(chunk.content, 4);
        } else if (chunk.type == "fcTL") {
            m_frames.push_back(frameOf(chunk.content));
        } else if (chunk.type == "IDAT" || chunk.type == "fdAT") {
            isPastPixels = true;
            if (!m_frames.empty())
                m_frames.back().chunks.push_back(chunk.whole);
        } else if (!isPastPixels) {
            for (const char *shared : {"PLTE", "tRNS", "gAMA", "cHRM", "sRGB", "iCCP", "sBIT"}) {
                if (chunk.type == shared)
                    m_sharedChunks.append(chunk.whole);
            }
        }
        return true;
    });
}

// A frame that was announced and does not come, or comes without pixels, cannot be read.
const ApngReader::Frame &ApngReader::frameAt(int index) const
{
    const auto place = static_cast<std::size_t>(index);
    if (place >= m_frames.size() || m_frames[place].chunks.empty())
        throw ImageReadError();
    return m_frames[place];
}

ApngReader::Frame ApngReader::frameOf(QByteArrayView control) const
{
    if (control.size() != controlBytes)
        throw ImageReadError();
    Frame frame;
    frame.size = {number(control, 4), number(control, 8)};
    frame.left = number(control, 12);
    frame.top = number(control, 16);
    if (frame.size.width == 0 || frame.size.height == 0 ||
        frame.left > m_canvasSize.width - frame.size.width ||
        frame.top > m_canvasSize.height - frame.size.height)
        throw ImageReadError();
    const int part = qFromBigEndian<quint16>(control.data() + 20);
    const int ofSecond = qFromBigEndian<quint16>(control.data() + 22);
    frame.delay = std::chrono::milliseconds(part * 1000 / (ofSecond == 0 ? 100 : ofSecond));
    frame.disposal =
        static_cast<Disposal>(std::min<unsigned char>(static_cast<unsigned char>(control[24]), 2));
    if (m_frames.empty() && frame.disposal == Disposal::Restore)
        frame.disposal = Disposal::Clear; // there is nothing before it
    frame.isBlended = control[25] == 1;
    return frame;
}

QByteArray ApngReader::pngOf(const Frame &frame) const
{
    QByteArray header = m_header.toByteArray();
    qToBigEndian(frame.size.width, header.data());
    qToBigEndian(frame.size.height, header.data() + 4);
    QByteArray png =
        m_file.bytes().first(signatureBytes).toByteArray() + pngChunk("IHDR", header) + m_sharedChunks;
    for (const QByteArrayView chunk : frame.chunks) {
        if (chunk.sliced(4, 4) == "IDAT") {
            png.append(chunk);
            continue;
        }
        const QByteArray content = chunk.sliced(8).chopped(4).toByteArray();
        if (content.size() < sequenceBytes || pngChunk("fdAT", content) != chunk)
            throw ImageReadError();
        png += pngChunk("IDAT", content.sliced(sequenceBytes));
    }
    return png + pngChunk("IEND", {});
}

template <typename Row>
void ApngReader::forRows(const Frame &frame, const Row &row) const
{
    const auto place = [this](int x, int y) {
        return (static_cast<std::size_t>(y) * static_cast<std::size_t>(m_canvasSize.width) +
                static_cast<std::size_t>(x)) *
               m_pixelBytes;
    };
    for (int y = frame.top; y < frame.top + frame.size.height; ++y)
        row(place(frame.left, y), place(frame.left + frame.size.width, y));
}

void ApngReader::draw(const Frame &frame)
{
    const QByteArray png = pngOf(frame);
    const VImage lazy = withAlpha(VImage::new_from_buffer(
        png.constData(), static_cast<std::size_t>(png.size()), "",
        VImage::option()->set("access", VIPS_ACCESS_SEQUENTIAL)->set("fail_on", VIPS_FAIL_ON_TRUNCATED)));
    VImage image = readIntoMemory(lazy);
    if (m_canvas.empty()) {
        constexpr std::size_t mostPixels = 250'000'000;
        const auto width = static_cast<std::size_t>(m_canvasSize.width);
        const auto height = static_cast<std::size_t>(m_canvasSize.height);
        m_sampleBytes = image.format() == VIPS_FORMAT_USHORT ? 2 : 1;
        m_pixelBytes = pixelBytes(image);
        if (width > mostPixels / height)
            throw ImageReadError();
        m_canvas.resize(width * height * m_pixelBytes);
    }
    if (pixelBytes(image) != m_pixelBytes || image.width() != frame.size.width ||
        image.height() != frame.size.height)
        throw ImageReadError();
    const auto *from = static_cast<const unsigned char *>(image.data());
    forRows(frame, [&](std::size_t begin, std::size_t end) {
        const std::size_t bytes = end - begin;
        if (!frame.isBlended)
            std::memcpy(&m_canvas[begin], from, bytes);
        else if (m_sampleBytes == 2)
            blendRow<quint16>(&m_canvas[begin], from, bytes, m_pixelBytes / 2);
        else
            blendRow<quint8>(&m_canvas[begin], from, bytes, m_pixelBytes);
        from += bytes;
    });
    const VImage canvas(vips_image_new_from_memory_copy(m_canvas.data(), m_canvas.size(), m_canvasSize.width,
                                                        m_canvasSize.height, image.bands(), image.format()));
    m_shown = canvas.copy(VImage::option()->set("interpretation", image.interpretation()));
    adorn(m_shown);
}

void ApngReader::dispose(const Frame &frame, const Canvas &former)
{
    if (frame.disposal == Disposal::Leave)
        return;
    forRows(frame, [&](std::size_t begin, std::size_t end) {
        if (frame.disposal == Disposal::Clear)
            std::memset(&m_canvas[begin], 0, end - begin);
        else
            std::memcpy(&m_canvas[begin], &former[begin], end - begin);
    });
}

VImage ApngReader::pixels(int index)
{
    if (index + 1 < m_next) {
        m_next = 0;
        std::ranges::fill(m_canvas, 0);
    }
    for (; m_next <= index; ++m_next) {
        const Frame &frame = frameAt(m_next);
        const Canvas former = frame.disposal == Disposal::Restore ? m_canvas : Canvas();
        draw(frame);
        dispose(frame, former);
    }
    return m_shown;
}

FrameProperties ApngReader::properties(int index) const
{
    FrameProperties properties = StillReader::properties(index);
    properties.delay = frameAt(index).delay;
    return properties;
}

} // namespace quorvalent
