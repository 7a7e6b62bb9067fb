#include "media/image/TiffWriter.h"

#include "media/image/Colour.h"
#include "media/image/FrameTiming.h"
#include "media/image/PalettePage.h"
#include "platform/FileDescriptor.h"
#include "platform/MappedFile.h"

#include <QtEndian>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>

namespace quorvalent {

using vips::VImage;

namespace {

constexpr std::uint64_t mostClassicBytes = 4'000'000'000;
constexpr std::uint64_t stripBytes = 262'144;
constexpr PixelLimits limits{.bits = 16, .alpha = true, .profile = true, .cmyk = true};

struct TextTag
{
    std::uint16_t exif;
    std::uint32_t tiff;
};
constexpr std::array textTags{
    TextTag{0x010f, TIFFTAG_MAKE},     TextTag{0x0110, TIFFTAG_MODEL},  TextTag{0x0131, TIFFTAG_SOFTWARE},
    TextTag{0x0132, TIFFTAG_DATETIME}, TextTag{0x013b, TIFFTAG_ARTIST}, TextTag{0x8298, TIFFTAG_COPYRIGHT},
};

void setLayout(TIFF *file, const VImage &image)
{
    const bool cmyk = image.interpretation() == VIPS_INTERPRETATION_CMYK;
    const int colours = cmyk ? 4 : image.bands() < 3 ? 1 : 3;
    const bool deep = image.format() == VIPS_FORMAT_USHORT;
    TIFFSetField(file, TIFFTAG_IMAGEWIDTH, image.width());
    TIFFSetField(file, TIFFTAG_IMAGELENGTH, image.height());
    TIFFSetField(file, TIFFTAG_BITSPERSAMPLE, deep ? 16 : 8);
    TIFFSetField(file, TIFFTAG_SAMPLESPERPIXEL, image.bands());
    TIFFSetField(file, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(file, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    TIFFSetField(file, TIFFTAG_PHOTOMETRIC,
                 cmyk           ? PHOTOMETRIC_SEPARATED
                 : colours == 1 ? PHOTOMETRIC_MINISBLACK
                                : PHOTOMETRIC_RGB);
    if (image.bands() > colours) {
        const std::array<std::uint16_t, 1> alpha{EXTRASAMPLE_UNASSALPHA};
        TIFFSetField(file, TIFFTAG_EXTRASAMPLES, 1, alpha.data());
    }
    TIFFSetField(file, TIFFTAG_ROWSPERSTRIP,
                 static_cast<std::uint32_t>(std::max<std::uint64_t>(1, stripBytes / rowBytes(image))));
    TIFFSetField(file, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    TIFFSetField(file, TIFFTAG_XRESOLUTION, image.xres() * 25.4);
    TIFFSetField(file, TIFFTAG_YRESOLUTION, image.yres() * 25.4);
    if (const QByteArray profile = profileOf(image); !profile.isEmpty())
        TIFFSetField(file, TIFFTAG_ICCPROFILE, static_cast<std::uint32_t>(profile.size()),
                     profile.constData());
}

void setCompression(TIFF *file, const VImage &image)
{
    // LZW is what everything reads; it does not shrink the noise of deep pixels.
    const bool deep = image.format() == VIPS_FORMAT_USHORT;
    TIFFSetField(file, TIFFTAG_COMPRESSION, deep ? COMPRESSION_NONE : COMPRESSION_LZW);
    if (!deep)
        TIFFSetField(file, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
}

// The page as its palette instead of its colours, in the layout that setLayout() made for them.
void setPalette(TIFF *file, const PalettePage &page)
{
    TIFFSetField(file, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFUnsetField(file, TIFFTAG_EXTRASAMPLES);
    TIFFSetField(file, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_PALETTE);
    TIFFSetField(file, TIFFTAG_COLORMAP, page.red.data(), page.green.data(), page.blue.data());
    // Runs of one colour shrink, dither stays as long as it is; LZW would take as long as all the rest.
    TIFFSetField(file, TIFFTAG_COMPRESSION, page.hasRuns() ? COMPRESSION_PACKBITS : COMPRESSION_NONE);
}

// Where the directories of a classic TIFF file stand, in order.
std::vector<std::size_t> directoryOffsets(const TiffBytes &structure)
{
    std::vector<std::size_t> offsets;
    std::size_t offset = structure.u32(4).value_or(0);
    while (offset != 0) {
        offsets.push_back(offset);
        const TagEntries entries = entriesAt(structure, offset);
        offset = entries.nextAt == 0 ? 0 : structure.u32(entries.nextAt).value_or(0);
    }
    return offsets;
}

void write32(int file, std::size_t at, std::uint32_t value)
{
    std::array<char, 4> bytes{};
    qToLittleEndian(value, bytes.data());
    if (::pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(at)) !=
        static_cast<ssize_t>(bytes.size()))
        throw ImageWriteError();
}

// Appends the page's EXIF and GPS directories and lets the page's placeholders point at them.
void appendExif(int file, const TiffBytes &structure, std::size_t directory, const ExifTags &tags)
{
    const off_t end = ::lseek(file, 0, SEEK_END);
    const std::size_t at = (static_cast<std::size_t>(end) + 1) / 2 * 2;
    const ExifDirectories appended = exifDirectories(tags, static_cast<std::uint32_t>(at));
    const auto size = static_cast<std::size_t>(appended.bytes.size());
    if (end < 0 || ::pwrite(file, appended.bytes.constData(), size, static_cast<off_t>(at)) !=
                       static_cast<ssize_t>(size))
        throw ImageWriteError();
    const TagEntries entries = entriesAt(structure, directory);
    if (const TagEntry *entry = entries.find(Tags::exifDirectory))
        write32(file, entry->valueAt, appended.exifAt);
    if (const TagEntry *entry = entries.find(Tags::gpsDirectory))
        write32(file, entry->valueAt, appended.gpsAt);
}

} // namespace

TiffWriter::TiffWriter(std::filesystem::path path, int count)
    : m_path(std::move(path))
    , m_count(count)
{}

void TiffWriter::open(std::uint64_t frameBytes)
{
    m_large = frameBytes * static_cast<std::uint64_t>(m_count) > mostClassicBytes;
    m_file.reset(TIFFOpen(m_path.c_str(), m_large ? "wl8" : "wl"));
    if (!m_file)
        throw ImageWriteError();
}

void TiffWriter::setMetadata(const FrameProperties &properties)
{
    TIFF *file = m_file.get();
    const std::optional<TiffBytes> structure = TiffBytes::of(properties.exif);
    ExifTags tags = structure ? exifTagsAt(*structure, structure->u32(4).value_or(0)) : ExifTags{};
    QByteArray description = properties.description;
    for (const Tag &tag : tags.image) {
        const QByteArray text = tag.value + '\0';
        if (tag.id == Tags::imageDescription && description.isEmpty())
            description = text.constData();
        for (const TextTag &known : textTags) {
            if (tag.id == known.exif && tag.type == 2)
                TIFFSetField(file, known.tiff, text.constData());
        }
    }
    description = withTiming(std::move(description), {properties.delay, m_container.loopCount});
    if (!description.isEmpty())
        TIFFSetField(file, TIFFTAG_IMAGEDESCRIPTION, description.constData());
    if (!properties.xmp.isEmpty())
        TIFFSetField(file, TIFFTAG_XMLPACKET, static_cast<std::uint32_t>(properties.xmp.size()),
                     properties.xmp.constData());
    if (!properties.iptc.isEmpty())
        TIFFSetField(file, TIFFTAG_RICHTIFFIPTC, static_cast<std::uint32_t>(properties.iptc.size()),
                     properties.iptc.constData());
    constexpr std::uint64_t placeholder = 8;
    if (!m_large && !tags.exif.empty())
        TIFFSetField(file, TIFFTAG_EXIFIFD, placeholder);
    if (!m_large && !tags.gps.empty())
        TIFFSetField(file, TIFFTAG_GPSIFD, placeholder);
    m_exif.push_back(std::move(tags));
}

void TiffWriter::add(const ImageFrame::Pixels &frame, const FrameProperties &properties, double)
{
    const VImage image = withPrintableResolution(fitted(frame.image, limits));
    if (m_pending.valid())
        m_pending.get();
    if (frame.isInMemory && m_count > 1)
        m_pending = std::async([this, image, properties] { writePage(image, properties, true); });
    else
        writePage(image, properties, frame.isInMemory);
}

void TiffWriter::writePage(const VImage &image, const FrameProperties &properties, bool isInMemory)
{
    if (!m_file)
        open(imageBytes(image));
    TIFF *file = m_file.get();
    setLayout(file, image);
    std::optional<PalettePage> palette = isInMemory ? PalettePage::of(image) : std::nullopt;
    if (palette)
        setPalette(file, *palette);
    else
        setCompression(file, image);
    if (m_count > 1) {
        TIFFSetField(file, TIFFTAG_SUBFILETYPE, FILETYPE_PAGE);
        TIFFSetField(file, TIFFTAG_PAGENUMBER, m_written, m_count);
    }
    setMetadata(properties);
    if (palette)
        writeIndices(*palette);
    else
        writePixels(image);
    if (TIFFWriteDirectory(file) != 1)
        throw ImageWriteError();
    ++m_written;
}

void TiffWriter::writePixels(const VImage &image)
{
    // The horizontal predictor works in place, on rows that are not ours.
    std::vector<unsigned char> line(rowBytes(image));
    streamRows(image, [&](const unsigned char *rows, std::size_t stride, int top, int count) {
        for (int row = 0; row < count; ++row) {
            std::copy_n(rows + stride * static_cast<std::size_t>(row), line.size(), line.begin());
            if (TIFFWriteScanline(m_file.get(), line.data(), static_cast<std::uint32_t>(top + row), 0) != 1)
                return false;
        }
        return true;
    });
}

void TiffWriter::writeIndices(PalettePage &page)
{
    const auto stripLength = static_cast<std::size_t>(TIFFStripSize(m_file.get()));
    std::uint32_t strip = 0;
    for (std::size_t at = 0; at < page.indices.size(); at += stripLength, ++strip) {
        const auto length = static_cast<tmsize_t>(std::min(stripLength, page.indices.size() - at));
        if (TIFFWriteEncodedStrip(m_file.get(), strip, page.indices.data() + at, length) != length)
            throw ImageWriteError();
    }
}

void TiffWriter::finish()
{
    if (m_pending.valid())
        m_pending.get();
    // What is left in libtiff's buffers was flushed with the last directory, so closing cannot fail unseen.
    m_file.reset();
    if (m_large)
        return;
    const std::optional<MappedFile> mapped = MappedFile::open(m_path);
    const std::optional<TiffBytes> structure = mapped ? TiffBytes::of(mapped->bytes()) : std::nullopt;
    const FileDescriptor file(::open(m_path.c_str(), O_RDWR | O_CLOEXEC));
    if (!structure || !file.isOpen())
        throw ImageWriteError();
    const std::vector<std::size_t> offsets = directoryOffsets(*structure);
    if (offsets.size() != m_exif.size())
        throw ImageWriteError();
    for (std::size_t page = 0; page < offsets.size(); ++page) {
        if (!m_exif[page].exif.empty() || !m_exif[page].gps.empty())
            appendExif(file.get(), *structure, offsets[page], m_exif[page]);
    }
}

} // namespace quorvalent
