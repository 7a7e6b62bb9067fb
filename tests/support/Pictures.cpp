#include "support/Pictures.h"

#include "platform/ChildProcess.h"
#include "support/TestMedia.h"

#include <QByteArray>
#include <QtEndian>

#include <cstdlib>
#include <stdexcept>

namespace quorvalent::test {

namespace {

template <typename Number>
void append(std::string &to, Number number, bool bigEndian = false)
{
    std::array<char, sizeof(Number)> bytes{};
    if (bigEndian)
        qToBigEndian(number, bytes.data());
    else
        qToLittleEndian(number, bytes.data());
    to.append(bytes.data(), bytes.size());
}

void appendTag(std::string &to, quint16 tag, quint16 type, quint32 count, quint32 value, bool bigEndian)
{
    append(to, tag, bigEndian);
    append(to, type, bigEndian);
    append(to, count, bigEndian);
    if (type == 3 && count == 1) {
        append(to, static_cast<quint16>(value), bigEndian);
        append(to, quint16{0}, bigEndian);
    } else {
        append(to, value, bigEndian);
    }
}

} // namespace

Picture plain(int width, int height, Colour colour)
{
    return {width, height,
            std::vector<Colour>(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), colour)};
}

Picture fourFields(int width, int height)
{
    Picture picture = plain(width, height, white);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const bool left = x < width / 2;
            const bool top = y < height / 2;
            picture.pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                           static_cast<std::size_t>(x)] = top ? (left ? red : green) : (left ? blue : white);
        }
    }
    return picture;
}

std::string bmpBytes(const Picture &picture)
{
    constexpr quint32 headerBytes = 14 + 108;
    const auto pixelBytes = static_cast<quint32>(picture.pixels.size() * 4);
    std::string bytes = "BM";
    append(bytes, headerBytes + pixelBytes);
    append(bytes, quint32{0});
    append(bytes, headerBytes);
    append(bytes, quint32{108});
    append(bytes, qint32{picture.width});
    append(bytes, qint32{-picture.height}); // top row first
    append(bytes, quint16{1});
    append(bytes, quint16{32});
    append(bytes, quint32{3});
    append(bytes, pixelBytes);
    bytes.append(16, '\0');
    for (const quint32 mask : {0xffU, 0xff00U, 0xff0000U, 0xff000000U})
        append(bytes, mask);
    bytes.append(108 - 56, '\0');
    for (const Colour &colour : picture.pixels)
        bytes.append(colour.begin(), colour.end());
    return bytes;
}

std::string exifBytes(int orientation, bool bigEndian)
{
    const std::string date("2021:05:04 03:02:01\0", 20);
    constexpr quint32 imageAt = 8;
    constexpr quint32 exifAt = imageAt + 2 + 3 * 12 + 4;
    constexpr quint32 thumbnailDirectoryAt = exifAt + 2 + 2 * 12 + 4;
    constexpr quint32 dateAt = thumbnailDirectoryAt + 2 + 2 * 12 + 4;
    constexpr quint32 thumbnailAt = dateAt + 20;
    std::string bytes = bigEndian ? std::string("MM\0*", 4) : std::string("II*\0", 4);
    append(bytes, imageAt, bigEndian);
    append(bytes, quint16{3}, bigEndian);
    appendTag(bytes, 0x0112, 3, 1, static_cast<quint32>(orientation), bigEndian);
    appendTag(bytes, 0x0132, 2, 20, dateAt, bigEndian);
    appendTag(bytes, 0x8769, 4, 1, exifAt, bigEndian);
    append(bytes, thumbnailDirectoryAt, bigEndian);
    append(bytes, quint16{2}, bigEndian);
    appendTag(bytes, 0xa002, 4, 1, 999, bigEndian);
    appendTag(bytes, 0xa003, 3, 1, 888, bigEndian);
    append(bytes, quint32{0}, bigEndian);
    append(bytes, quint16{2}, bigEndian);
    appendTag(bytes, 0x0201, 4, 1, thumbnailAt, bigEndian);
    appendTag(bytes, 0x0202, 4, 1, 9, bigEndian);
    append(bytes, quint32{0}, bigEndian);
    return bytes + date + "thumbnail";
}

std::string tiffBytes(int width, int height, int photometric, int bits,
                      const std::vector<std::uint16_t> &samples)
{
    const auto count = static_cast<quint32>(samples.size());
    const auto pixelBytes = static_cast<quint32>(width * height * bits / 8) * count;
    constexpr quint32 entries = 9;
    constexpr quint32 bitsAt = 8 + 2 + entries * 12 + 4;
    const quint32 pixelsAt = bitsAt + 2 * count + (count % 2) * 2;
    std::string bytes("II*\0\x08\0\0\0", 8);
    append(bytes, static_cast<quint16>(entries));
    appendTag(bytes, 256, 3, 1, static_cast<quint32>(width), false);
    appendTag(bytes, 257, 3, 1, static_cast<quint32>(height), false);
    appendTag(bytes, 258, 3, count, count == 1 ? static_cast<quint32>(bits) : bitsAt, false);
    appendTag(bytes, 259, 3, 1, 1, false);
    appendTag(bytes, 262, 3, 1, static_cast<quint32>(photometric), false);
    appendTag(bytes, 273, 4, 1, pixelsAt, false);
    appendTag(bytes, 277, 3, 1, count, false);
    appendTag(bytes, 278, 3, 1, static_cast<quint32>(height), false);
    appendTag(bytes, 279, 4, 1, pixelBytes, false);
    append(bytes, quint32{0});
    for (quint32 i = 0; i < count; ++i)
        append(bytes, static_cast<quint16>(bits));
    bytes.resize(pixelsAt, '\0');
    for (int i = 0; i < width * height; ++i) {
        for (const std::uint16_t sample : samples) {
            if (bits == 16)
                append(bytes, sample);
            else
                append(bytes, static_cast<quint8>(sample));
        }
    }
    return bytes;
}

Picture decodedByFfmpeg(const std::filesystem::path &path, int width, int height)
{
    ChildCommand command;
    command.program = ffmpegProgram();
    command.arguments = {
        "-v",       "error",    "-noautorotate", "-i", "file:" + path.native(), "-frames:v", "1", "-f",
        "rawvideo", "-pix_fmt", "rgba",          "-"};
    ChildProcess process(command);
    QByteArray bytes;
    for (QByteArray part = process.readAvailable(); !part.isEmpty(); part = process.readAvailable())
        bytes += part;
    if (!process.wait().isSuccess() || bytes.size() != qsizetype{4} * width * height)
        throw std::runtime_error("ffmpeg finds no picture of this size in " + path.native());
    Picture picture{width, height, {}};
    for (qsizetype at = 0; at < bytes.size(); at += 4) {
        Colour colour{};
        for (std::size_t channel = 0; channel < colour.size(); ++channel)
            colour.at(channel) = static_cast<std::uint8_t>(bytes.at(at + static_cast<qsizetype>(channel)));
        picture.pixels.push_back(colour);
    }
    return picture;
}

bool near(Colour a, Colour b, int tolerance)
{
    for (std::size_t channel = 0; channel < a.size(); ++channel) {
        if (std::abs(int{a.at(channel)} - int{b.at(channel)}) > tolerance)
            return false;
    }
    return true;
}

} // namespace quorvalent::test
