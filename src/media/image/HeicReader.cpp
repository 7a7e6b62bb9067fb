#include "media/image/HeicReader.h"

#include "media/image/Colour.h"
#include "media/image/HeifMemory.h"

#include <dlfcn.h>
#include <gmodule.h>

#include <string>

namespace quorvalent {

using vips::VImage;

namespace {

struct HeifFree
{
    void operator()(heif_context *context) const { heif_context_free(context); }
    void operator()(heif_image_handle *handle) const { heif_image_handle_release(handle); }
    void operator()(heif_color_profile_nclx *profile) const { heif_nclx_color_profile_free(profile); }
};
using HeifContext = std::unique_ptr<heif_context, HeifFree>;
using HeifHandle = std::unique_ptr<heif_image_handle, HeifFree>;
using HeifColours = std::unique_ptr<heif_color_profile_nclx, HeifFree>;

void check(const heif_error &error)
{
    requireHeifMemory(error);
    if (error.code != heif_error_Ok)
        throw ImageReadError();
}

HeifHandle handleOf(heif_context *context, heif_item_id id)
{
    heif_image_handle *handle = nullptr;
    check(heif_context_get_image_handle(context, id, &handle));
    return HeifHandle(handle);
}

// Display P3 may be named by a number instead of a profile.
bool isDisplayP3(heif_image_handle *handle)
{
    heif_color_profile_nclx *colours = nullptr;
    if (heif_image_handle_get_nclx_color_profile(handle, &colours).code != heif_error_Ok)
        return false;
    return HeifColours(colours)->color_primaries == heif_color_primaries_SMPTE_EG_432_1;
}

// Where libvips has its modules: in a folder beside itself, wherever it was loaded from.
std::filesystem::path vipsModule(const char *name)
{
    Dl_info library = {};
    if (::dladdr(::dlsym(RTLD_DEFAULT, "vips_version"), &library) == 0)
        return {};
    const std::string series = std::to_string(vips_version(0)) + '.' + std::to_string(vips_version(1));
    return std::filesystem::path(library.dli_fname).parent_path() / ("vips-modules-" + series) / name;
}

// libvips reads HEIC by a module, which it loads at its start with all others, or here where it is kept from
// that. Where it has no modules, it reads HEIC by itself.
void loadVipsModule()
{
    static const GModule *const module =
        g_module_open(vipsModule("vips-heif.so").c_str(), G_MODULE_BIND_LAZY);
    (void)module;
}

} // namespace

HeicReader::HeicReader(std::filesystem::path path)
    : m_path(std::move(path))
{
    loadVipsModule();
    const HeifContext context(heif_context_alloc());
    if (!context)
        throw std::bad_alloc();
    check(heif_context_read_from_file(context.get(), m_path.c_str(), nullptr));
    std::vector<heif_item_id> ids(
        static_cast<std::size_t>(std::max(0, heif_context_get_number_of_top_level_images(context.get()))));
    if (ids.empty())
        throw ImageReadError();
    heif_context_get_list_of_top_level_image_IDs(context.get(), ids.data(), static_cast<int>(ids.size()));
    for (const heif_item_id id : ids) {
        const HeifHandle handle = handleOf(context.get(), id);
        m_pictures.push_back(
            {{heif_image_handle_get_width(handle.get()), heif_image_handle_get_height(handle.get())},
             isDisplayP3(handle.get())});
    }
}

ImageReader::Header HeicReader::header(int index) const
{
    return {m_pictures.at(static_cast<std::size_t>(index)).size, 1};
}

VImage HeicReader::load(int index) const
{
    return VImage::heifload(m_path.c_str(), VImage::option()
                                                ->set("page", index)
                                                ->set("access", VIPS_ACCESS_SEQUENTIAL)
                                                ->set("fail_on", VIPS_FAIL_ON_TRUNCATED));
}

VImage HeicReader::pixels(int index)
{
    VImage image = load(index).copy();
    if (m_pictures.at(static_cast<std::size_t>(index)).displayP3 &&
        vips_image_get_typeof(image.get_image(), VIPS_META_ICC_NAME) == 0)
        attachBuiltInProfile(image, "p3");
    return image;
}

FrameProperties HeicReader::properties(int index) const
{
    const VImage image = load(index);
    FrameProperties properties;
    properties.exif = blobOf(image, VIPS_META_EXIF_NAME);
    properties.xmp = blobOf(image, VIPS_META_XMP_NAME);
    // libvips 8.14 gives an XMP packet the name of an unknown block.
    for (const std::string &name : fieldNames(image)) {
        if (properties.xmp.isEmpty() && name.starts_with("heif-mime-"))
            properties.xmp = blobOf(image, name.c_str());
    }
    return properties;
}

} // namespace quorvalent
