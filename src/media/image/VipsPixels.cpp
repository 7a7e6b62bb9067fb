#include "media/image/VipsPixels.h"

#include "media/image/ScratchPixels.h"

#include <tiffio.h>

#include <algorithm>
#include <array>
#include <memory>
#include <mutex>
#include <new>
#include <string_view>
#include <thread>

namespace quorvalent {

using vips::VError;
using vips::VImage;

namespace {

constexpr std::size_t spillThresholdBytes = 100'000'000;

void dropMessage(const gchar *, GLogLevelFlags, const gchar *, gpointer) {}

// How libvips, libjpeg, libtiff and libheif begin to say that they got no memory, after whose message it is.
constexpr std::array<std::string_view, 6> noMemory{": out of memory",
                                                   ": Out of memory",
                                                   ": Insufficient memory",
                                                   ": No space for ",
                                                   "heif: Memory allocation error: Unspecified",
                                                   "unix error: Cannot allocate memory"};

struct SinkState
{
    const RowSink &sink;
    bool gaveUp = false;
};

struct RegionCloser
{
    void operator()(VipsRegion *region) const { g_object_unref(region); }
};
using Region = std::unique_ptr<VipsRegion, RegionCloser>;

bool passArea(const VipsRegion *region, const VipsRect &area, const RowSink &sink)
{
    const auto stride = static_cast<std::size_t>(VIPS_REGION_LSKIP(region));
    const auto skipped = static_cast<std::size_t>(area.top - region->valid.top);
    return sink(VIPS_REGION_ADDR_TOPLEFT(region) + stride * skipped, stride, area.top, area.height);
}

int passRows(VipsRegion *region, VipsRect *area, void *data)
{
    auto &state = *static_cast<SinkState *>(data);
    state.gaveUp = !passArea(region, *area, state.sink);
    return state.gaveUp ? -1 : 0;
}

} // namespace

ImageProfileError::ImageProfileError()
    : ImageReadError(QStringLiteral(
          "Profil de couleurs illisible : sans lui, les couleurs de cette image n’ont pas de sens."))
{}

ImageReadError::ImageReadError()
    : Error(QStringLiteral("Lecture de l’image impossible."))
{}

ImageWriteError::ImageWriteError()
    : Error(QStringLiteral("Écriture de l’image impossible."))
{}

ImageSize ImageFrame::size() const
{
    return {m_pixels->image.width(), m_pixels->image.height()};
}

void ImageFrame::decode() const
{
    streamRows(m_pixels->image, [](const unsigned char *, std::size_t, int, int) { return true; });
}

void startVips()
{
    static std::once_flag once;
    std::call_once(once, [] {
        g_log_set_handler("VIPS", G_LOG_LEVEL_MASK, dropMessage, nullptr);
        if (VIPS_INIT("quorvalent") != 0)
            throw ImageReadError();
        TIFFSetErrorHandler(nullptr);
        TIFFSetWarningHandler(nullptr);
        vips_block_untrusted_set(TRUE);
        vips_cache_set_max(0);
        const int cores = static_cast<int>(std::thread::hardware_concurrency());
        vips_concurrency_set(std::clamp(cores, 2, 4));
    });
}

void forgetVipsError()
{
    const std::string_view message = vips_error_buffer();
    const bool wantedMemory = std::any_of(noMemory.begin(), noMemory.end(), [&](std::string_view words) {
        return message.find(words) != std::string_view::npos;
    });
    vips_error_clear();
    if (wantedMemory)
        throw std::bad_alloc();
}

ReadGuard::ReadGuard(const VImage &source)
    : m_source(source)
    , m_image(vips_image_new())
{
    VipsImage *in = m_source.get_image();
    if (vips_image_pipelinev(m_image.get_image(), in->dhint, in, nullptr) != 0 ||
        vips_image_generate(m_image.get_image(), vips_start_one, pass, vips_stop_one, in, this) != 0)
        throw VError();
}

int ReadGuard::pass(VipsRegion *out, void *sequence, void *, void *self, gboolean *)
{
    auto *from = static_cast<VipsRegion *>(sequence);
    const VipsRect &area = out->valid;
    if (vips_region_prepare(from, &area) == 0 &&
        vips_region_region(out, from, &area, area.left, area.top) == 0)
        return 0;
    static_cast<ReadGuard *>(self)->m_failed = true;
    return -1;
}

VImage ReadGuard::inMemory() const
{
    try {
        VImage memory = m_image.copy_memory();
        if (!m_failed)
            return memory;
    } catch (const VError &) {
        forgetVipsError();
    }
    throw ImageReadError();
}

void streamRows(const VImage &image, const RowSink &sink)
{
    SinkState state{sink};
    const ReadGuard guard(image);
    if (vips_sink_disc(guard.image().get_image(), passRows, &state) == 0 && !state.gaveUp && !guard.failed())
        return;
    forgetVipsError();
    if (state.gaveUp)
        throw ImageWriteError();
    throw ImageReadError();
}

bool readRows(const VImage &image, const RowSink &sink)
{
    // libvips prepares a buffer of the size that is asked for at every step of the pipeline: few rows, one
    // cache.
    constexpr int rowsAtOnce = 8;
    const Region region(vips_region_new(image.get_image()));
    for (int top = 0; top < image.height(); top += rowsAtOnce) {
        const VipsRect rows{0, top, image.width(), std::min(rowsAtOnce, image.height() - top)};
        if (vips_region_prepare(region.get(), &rows) != 0) {
            forgetVipsError();
            throw ImageReadError();
        }
        if (!passArea(region.get(), rows, sink))
            return false;
    }
    return true;
}

VImage readIntoMemory(const VImage &image)
{
    VImage memory(vips_image_new_memory());
    if (vips_image_pipelinev(memory.get_image(), VIPS_DEMAND_STYLE_THINSTRIP, image.get_image(), nullptr) !=
            0 ||
        vips_image_write_prepare(memory.get_image()) != 0)
        throw VError();
    unsigned char *to = memory.get_image()->data;
    (void)readRows(image, [&](const unsigned char *rows, std::size_t stride, int, int count) {
        for (int row = 0; row < count; ++row, rows += stride)
            to = std::copy_n(rows, rowBytes(image), to);
        return true;
    });
    return memory;
}

VImage materialised(const VImage &image, const std::filesystem::path &scratchFolder)
{
    if (imageBytes(image) > spillThresholdBytes) {
        ScratchPixels scratch(scratchFolder);
        scratch.append(image);
        return scratch.mapped(image);
    }
    return ReadGuard(image).inMemory();
}

VImage turned(const VImage &image, int orientation)
{
    VImage result = image.copy();
    if (orientation >= 5)
        result = result.copy(VImage::option()->set("xres", image.yres())->set("yres", image.xres()));
    switch (orientation) {
    case 2:
        return result.fliphor();
    case 3:
        return result.rot180();
    case 4:
        return result.flipver();
    case 5:
        return result.rot90().fliphor();
    case 6:
        return result.rot90();
    case 7:
        return result.rot270().fliphor();
    case 8:
        return result.rot270();
    default:
        return result;
    }
}

VImage withPrintableResolution(const VImage &image)
{
    constexpr double unknown = 1.0;
    constexpr double pixelsPerMm = 72 / 25.4;
    if (image.xres() != unknown || image.yres() != unknown)
        return image;
    return image.copy(VImage::option()->set("xres", pixelsPerMm)->set("yres", pixelsPerMm));
}

std::size_t pixelBytes(const VImage &image)
{
    return static_cast<std::size_t>(image.bands()) *
           static_cast<std::size_t>(vips_format_sizeof(image.format()));
}

std::size_t rowBytes(const VImage &image)
{
    return pixelBytes(image) * static_cast<std::size_t>(image.width());
}

std::size_t imageBytes(const VImage &image)
{
    return rowBytes(image) * static_cast<std::size_t>(image.height());
}

std::vector<std::string> fieldNames(const VImage &image)
{
    std::vector<std::string> names;
    gchar **fields = vips_image_get_fields(image.get_image());
    for (gchar **field = fields; field != nullptr && *field != nullptr; ++field)
        names.emplace_back(*field);
    g_strfreev(fields);
    return names;
}

QByteArray blobOf(const VImage &image, const char *name)
{
    if (vips_image_get_typeof(image.get_image(), name) != VIPS_TYPE_BLOB)
        return {};
    const void *bytes = nullptr;
    std::size_t length = 0;
    if (vips_image_get_blob(image.get_image(), name, &bytes, &length) != 0)
        return {};
    return {static_cast<const char *>(bytes), static_cast<qsizetype>(length)};
}

} // namespace quorvalent
