#include "media/image/TiffReader.h"

#include "media/image/FrameTiming.h"
#include "media/image/Metadata.h"
#include "media/image/TagDirectory.h"
#include "platform/MappedFile.h"

namespace quorvalent {

using vips::VError;
using vips::VImage;

namespace {

struct BlobFree
{
    void operator()(VipsBlob *blob) const { vips_area_unref(VIPS_AREA(blob)); }
};

QByteArray valueOf(const TiffBytes &structure, const TagEntry *entry)
{
    if (entry == nullptr)
        return {};
    return structure.bytes()
        .sliced(static_cast<qsizetype>(entry->valueAt), static_cast<qsizetype>(entry->valueBytes))
        .toByteArray();
}

// Some files count the records in long words, which libvips takes for bytes: the file itself tells.
QByteArray iptcOf(const TiffBytes &structure, std::size_t directory)
{
    const TagEntries entries = entriesAt(structure, directory);
    const QByteArray records = iptcFromPhotoshop(valueOf(structure, entries.find(Tags::iptc)));
    return records.isEmpty() ? iptcFromPhotoshop(valueOf(structure, entries.find(Tags::photoshop))) : records;
}

} // namespace

TiffReader::TiffReader(std::filesystem::path path)
    : m_path(std::move(path))
    , m_pages(tiffPages(m_path))
{
    if (m_pages.empty())
        throw ImageReadError();
}

ImageReader::Header TiffReader::header(int index) const
{
    return {page(index).stored, page(index).orientation};
}

VImage TiffReader::pixels(int index)
{
    const auto streamed = [] {
        return VImage::option()
            ->set("access", VIPS_ACCESS_SEQUENTIAL)
            ->set("fail_on", VIPS_FAIL_ON_TRUNCATED);
    };
    try {
        return VImage::tiffload(m_path.c_str(), streamed()->set("page", page(index).directory));
    } catch (const VError &) {
        forgetVipsError();
    }
    const std::optional<MappedFile> file = MappedFile::open(m_path);
    const QByteArray mended = file ? withPhotometric(file->bytes(), page(index).offset) : QByteArray();
    if (!mended.isEmpty()) {
        try {
            VipsBlob *const copy =
                vips_blob_copy(mended.constData(), static_cast<std::size_t>(mended.size()));
            const std::unique_ptr<VipsBlob, BlobFree> owned(copy);
            return VImage::tiffload_buffer(copy, streamed());
        } catch (const VError &) {
            forgetVipsError();
        }
    }
    // Rare layouts: old-style JPEG and the like.
    const std::vector<std::uint32_t> rgba = tiffRgba(m_path, page(index));
    const ImageSize size = page(index).stored;
    const VImage image(vips_image_new_from_memory_copy(rgba.data(), rgba.size() * sizeof(rgba.front()),
                                                       size.width, size.height, 4, VIPS_FORMAT_UCHAR));
    return image.copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
}

FrameProperties TiffReader::properties(int index) const
{
    FrameProperties properties;
    properties.description = page(index).description;
    properties.delay = takeTiming(properties.description).delay;
    try {
        const VImage image =
            VImage::tiffload(m_path.c_str(), VImage::option()->set("page", page(index).directory));
        properties.xmp = blobOf(image, VIPS_META_XMP_NAME);
    } catch (const VError &) {
        forgetVipsError();
    }
    const std::optional<MappedFile> file = MappedFile::open(m_path);
    const std::optional<TiffBytes> structure = file ? TiffBytes::of(file->bytes()) : std::nullopt;
    if (structure) {
        properties.iptc = iptcOf(*structure, page(index).offset);
        ExifTags tags = exifTagsAt(*structure, page(index).offset);
        for (Tag &tag : tags.image) {
            if (tag.id != Tags::imageDescription)
                continue;
            tag.value = properties.description + '\0';
            tag.count = static_cast<std::uint32_t>(tag.value.size());
        }
        if (properties.description.isEmpty())
            std::erase_if(tags.image, [](const Tag &tag) { return tag.id == Tags::imageDescription; });
        properties.exif = exifBlock(tags);
    }
    return properties;
}

std::optional<int> TiffReader::loopCount() const
{
    QByteArray description = page(0).description;
    return takeTiming(description).loopCount;
}

} // namespace quorvalent
