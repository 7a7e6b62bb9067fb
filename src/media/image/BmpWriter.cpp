#include "media/image/BmpWriter.h"

#include "media/image/Colour.h"
#include "platform/FileDescriptor.h"

#include <QtEndian>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace quorvalent {

using vips::VImage;

namespace {

constexpr std::size_t headerBytes = 54;
constexpr std::size_t paletteBytes = 1024;
constexpr PixelLimits limits{.bits = 8, .alpha = false, .profile = false, .cmyk = false};

void put32(std::vector<unsigned char> &bytes, std::size_t at, std::uint32_t value)
{
    qToLittleEndian(value, bytes.data() + at);
}

std::vector<unsigned char> header(const VImage &image, bool grey, std::uint32_t fileBytes)
{
    std::vector<unsigned char> bytes(headerBytes + (grey ? paletteBytes : 0), 0);
    bytes[0] = 'B';
    bytes[1] = 'M';
    put32(bytes, 2, fileBytes);
    put32(bytes, 10, static_cast<std::uint32_t>(bytes.size()));
    put32(bytes, 14, 40);
    put32(bytes, 18, static_cast<std::uint32_t>(image.width()));
    put32(bytes, 22, static_cast<std::uint32_t>(image.height()));
    bytes[26] = 1; // planes
    bytes[28] = grey ? 8 : 24;
    put32(bytes, 34, fileBytes - static_cast<std::uint32_t>(bytes.size()));
    put32(bytes, 38, static_cast<std::uint32_t>(std::lround(image.xres() * 1000)));
    put32(bytes, 42, static_cast<std::uint32_t>(std::lround(image.yres() * 1000)));
    for (std::size_t i = 0; grey && i < 256; ++i)
        std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(headerBytes + 4 * i), 3,
                    static_cast<unsigned char>(i));
    return bytes;
}

bool writeAt(int file, const std::vector<unsigned char> &bytes, std::size_t offset)
{
    return ::pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(offset)) ==
           static_cast<ssize_t>(bytes.size());
}

} // namespace

BmpWriter::BmpWriter(std::filesystem::path path)
    : m_path(std::move(path))
{}

void BmpWriter::add(const ImageFrame::Pixels &frame, const FrameProperties &, double)
{
    const VImage image = withPrintableResolution(fitted(frame.image, limits));
    const bool grey = image.bands() == 1;
    const auto width = static_cast<std::size_t>(image.width());
    const auto height = static_cast<std::size_t>(image.height());
    const std::size_t stride = (width * (grey ? 1 : 3) + 3) / 4 * 4;
    const std::size_t start = headerBytes + (grey ? paletteBytes : 0);
    const std::size_t total = start + stride * height;
    if (total > std::numeric_limits<std::uint32_t>::max())
        throw ImageWriteError();

    const FileDescriptor file(::open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!file.isOpen() || !writeAt(file.get(), header(image, grey, static_cast<std::uint32_t>(total)), 0))
        throw ImageWriteError();
    std::vector<unsigned char> block;
    streamRows(image, [&](const unsigned char *rows, std::size_t rowStride, int top, int count) {
        // The file begins with the bottom row.
        const auto rowCount = static_cast<std::size_t>(count);
        block.assign(stride * rowCount, 0);
        for (std::size_t row = 0; row < rowCount; ++row) {
            const unsigned char *from = rows + rowStride * row;
            unsigned char *to = block.data() + stride * (rowCount - 1 - row);
            if (grey) {
                std::copy_n(from, width, to);
                continue;
            }
            for (std::size_t x = 0; x < width; ++x, from += 3, to += 3) {
                to[0] = from[2];
                to[1] = from[1];
                to[2] = from[0];
            }
        }
        return writeAt(file.get(), block,
                       start + stride * (height - static_cast<std::size_t>(top) - rowCount));
    });
}

} // namespace quorvalent
