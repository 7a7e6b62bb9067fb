#include "media/image/ScratchPixels.h"

#include "media/image/FileTarget.h"

#include <fcntl.h>

#include <cstdlib>
#include <string>

namespace quorvalent {

using vips::VImage;

ScratchPixels::ScratchPixels(const std::filesystem::path &folder)
{
    std::string name = (folder / "pixels-XXXXXX").native();
    m_file = FileDescriptor(::mkostemp(name.data(), O_CLOEXEC));
    if (!m_file.isOpen())
        throw ImageWriteError();
    m_path = name;
}

ScratchPixels::~ScratchPixels()
{
    std::error_code ignored;
    std::filesystem::remove(m_path, ignored);
}

void ScratchPixels::append(const VImage &image)
{
    const std::size_t bytes = rowBytes(image);
    streamRows(image, [&](const unsigned char *rows, std::size_t stride, int, int count) {
        for (int row = 0; row < count; ++row) {
            if (!writeAll(m_file.get(), rows + stride * static_cast<std::size_t>(row), bytes))
                return false;
        }
        return true;
    });
    m_rows += image.height();
}

VImage ScratchPixels::mapped(const VImage &like)
{
    VipsImage *raw =
        m_rows > VIPS_MAX_COORD
            ? nullptr
            : vips_image_new_from_file_raw(m_path.c_str(), like.width(), static_cast<int>(m_rows),
                                           static_cast<int>(pixelBytes(like)), 0);
    if (raw == nullptr || vips_image_wio_input(raw) != 0) {
        VIPS_UNREF(raw);
        forgetVipsError();
        throw ImageWriteError();
    }
    VImage result = VImage(raw).copy(VImage::option()
                                         ->set("bands", like.bands())
                                         ->set("format", like.format())
                                         ->set("interpretation", like.interpretation())
                                         ->set("xres", like.xres())
                                         ->set("yres", like.yres()));
    if (const QByteArray profile = blobOf(like, VIPS_META_ICC_NAME); !profile.isEmpty())
        vips_image_set_blob_copy(result.get_image(), VIPS_META_ICC_NAME, profile.constData(),
                                 static_cast<std::size_t>(profile.size()));
    return result;
}

} // namespace quorvalent
