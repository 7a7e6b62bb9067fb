#include "media/image/TiffPages.h"

#include "media/image/TagDirectory.h"
#include "media/image/VipsPixels.h"

#include <QtEndian>

#include <algorithm>
#include <limits>

namespace quorvalent {

namespace {

template <typename Value>
Value fieldOr(TIFF *file, std::uint32_t tag, Value fallback)
{
    Value value = fallback;
    return TIFFGetField(file, tag, &value) == 1 ? value : fallback;
}

TiffFile openTiff(const std::filesystem::path &path)
{
    return TiffFile(TIFFOpen(path.c_str(), "r"));
}

TiffPage pageOf(TIFF *file)
{
    TiffPage page;
    page.directory = static_cast<int>(TIFFCurrentDirectory(file));
    page.offset = TIFFCurrentDirOffset(file);
    const auto width = fieldOr<std::uint32_t>(file, TIFFTAG_IMAGEWIDTH, 0);
    const auto height = fieldOr<std::uint32_t>(file, TIFFTAG_IMAGELENGTH, 0);
    constexpr auto most = static_cast<std::uint32_t>(std::numeric_limits<int>::max());
    if (width <= most && height <= most)
        page.stored = {static_cast<int>(width), static_cast<int>(height)};
    const auto orientation = fieldOr<std::uint16_t>(file, TIFFTAG_ORIENTATION, 1);
    page.orientation = orientation >= 1 && orientation <= 8 ? orientation : 1;
    if (const char *text = fieldOr<char *>(file, TIFFTAG_IMAGEDESCRIPTION, nullptr))
        page.description = text;
    return page;
}

} // namespace

std::vector<TiffPage> tiffPages(const std::filesystem::path &path)
{
    std::vector<TiffPage> all;
    std::vector<TiffPage> pictures;
    const TiffFile file = openTiff(path);
    if (!file)
        return {};
    bool goesOn = false;
    do {
        const TiffPage page = pageOf(file.get());
        goesOn = TIFFLastDirectory(file.get()) == 0; // a page that cannot be read ends the chain for libtiff
        all.push_back(page);
        const auto kind = fieldOr<std::uint32_t>(file.get(), TIFFTAG_SUBFILETYPE, 0);
        if ((kind & (FILETYPE_REDUCEDIMAGE | FILETYPE_MASK)) == 0)
            pictures.push_back(page);
    } while (TIFFReadDirectory(file.get()) == 1);
    if (goesOn) {
        TiffPage missing;
        missing.directory = static_cast<int>(all.size());
        pictures.push_back(missing);
    }
    return pictures.empty() ? all : pictures;
}

bool tiffDataIsInside(const std::filesystem::path &path, qint64 sizeBytes)
{
    const auto size = static_cast<std::uint64_t>(sizeBytes);
    const TiffFile file = openTiff(path);
    if (!file)
        return false;
    do {
        const std::uint32_t parts =
            TIFFIsTiled(file.get()) != 0 ? TIFFNumberOfTiles(file.get()) : TIFFNumberOfStrips(file.get());
        for (std::uint32_t part = 0; part < parts; ++part) {
            const std::uint64_t offset = TIFFGetStrileOffset(file.get(), part);
            const std::uint64_t length = TIFFGetStrileByteCount(file.get(), part);
            if (offset == 0 || offset > size || size - offset < length)
                return false;
        }
    } while (TIFFReadDirectory(file.get()) == 1);
    return true;
}

QByteArray withPhotometric(QByteArrayView file, std::uint64_t pageOffset)
{
    constexpr qsizetype mostBytes = 1024L * 1024 * 1024;
    constexpr qsizetype entryBytes = 12;
    const std::optional<TiffBytes> structure = TiffBytes::of(file);
    if (!structure || file.size() > mostBytes)
        return {};
    const TagEntries page = entriesAt(*structure, pageOffset);
    const auto count = structure->u16(pageOffset).value_or(0);
    // Without any that cannot be read, so that they lie one after the other.
    if (page.find(TIFFTAG_PHOTOMETRIC) != nullptr || page.entries.size() != count || count == 0)
        return {};
    const TagEntry *samples = page.find(TIFFTAG_SAMPLESPERPIXEL);
    const bool isColoured = samples != nullptr && structure->u16(samples->valueAt).value_or(1) >= 3;
    const std::uint16_t meaning = page.find(TIFFTAG_COLORMAP) != nullptr ? PHOTOMETRIC_PALETTE
                                  : isColoured                           ? PHOTOMETRIC_RGB
                                                                         : PHOTOMETRIC_MINISBLACK;
    const auto number = [&](quint32 value, qsizetype bytes) {
        QByteArray text(4, '\0');
        qToBigEndian(value, text.data());
        text = text.last(bytes);
        if (!structure->isBigEndian())
            std::reverse(text.begin(), text.end());
        return text;
    };
    QByteArray changed = file.toByteArray();
    changed.append(file.size() % 2, '\0');
    const QByteArray at = number(static_cast<quint32>(changed.size()), 4);
    changed += number(count + 1U, 2);
    const auto before = std::ranges::count_if(
        page.entries, [](const TagEntry &entry) { return entry.tag < TIFFTAG_PHOTOMETRIC; });
    const QByteArrayView entries = file.sliced(static_cast<qsizetype>(pageOffset) + 2, count * entryBytes);
    changed += entries.first(before * entryBytes);
    changed += number(TIFFTAG_PHOTOMETRIC, 2) + number(TIFF_SHORT, 2) + number(1, 4) + number(meaning, 2) +
               number(0, 2);
    changed += entries.sliced(before * entryBytes);
    changed += number(0, 4);
    return changed.replace(4, 4, at);
}

std::vector<std::uint32_t> tiffRgba(const std::filesystem::path &path, const TiffPage &page)
{
    const TiffFile file = openTiff(path);
    const auto width = static_cast<std::size_t>(page.stored.width);
    const auto height = static_cast<std::size_t>(page.stored.height);
    constexpr std::size_t mostPixels = 250'000'000; // 1 GB: this way holds the whole page in memory
    if (!file || width == 0 || height == 0 || width > mostPixels / height ||
        TIFFSetDirectory(file.get(), static_cast<tdir_t>(page.directory)) != 1)
        throw ImageReadError();
    std::vector<std::uint32_t> pixels(width * height);
    // Asked for the orientation that the page says it has, libtiff leaves the rows where they are.
    if (TIFFReadRGBAImageOriented(file.get(), static_cast<std::uint32_t>(width),
                                  static_cast<std::uint32_t>(height), pixels.data(), page.orientation,
                                  1) != 1) {
        forgetVipsError(); // libvips, which has tried before, receives what libtiff says
        throw ImageReadError();
    }
    return pixels;
}

} // namespace quorvalent
