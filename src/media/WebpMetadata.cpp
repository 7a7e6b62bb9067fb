#include "media/WebpMetadata.h"

#include "media/image/FileTarget.h"
#include "platform/FileDescriptor.h"
#include "platform/MappedFile.h"

#include <fcntl.h>

#include <cstdlib>
#include <memory>

#include <webp/mux.h>

namespace quorvalent {

namespace {

struct MuxDelete
{
    void operator()(WebPMux *mux) const { WebPMuxDelete(mux); }
};

struct Assembled : WebPData
{
    Assembled() { WebPDataInit(this); }
    Assembled(const Assembled &) = delete;
    Assembled &operator=(const Assembled &) = delete;
    ~Assembled() { WebPDataClear(this); }
};

WebPData dataOf(QByteArrayView bytes)
{
    return {reinterpret_cast<const std::uint8_t *>(bytes.data()), static_cast<std::size_t>(bytes.size())};
}

void setChunk(WebPMux *mux, const char *name, const QByteArray &block)
{
    constexpr int borrowed = 0; // the block outlives the assembly
    const WebPData chunk = dataOf(block);
    if (!block.isEmpty() && WebPMuxSetChunk(mux, name, &chunk, borrowed) != WEBP_MUX_OK)
        throw ImageWriteError();
}

void replace(const std::filesystem::path &path, const WebPData &content)
{
    std::string name = (path.parent_path() / "metadata-XXXXXX").native();
    const FileDescriptor file(::mkostemp(name.data(), O_CLOEXEC));
    if (!file.isOpen())
        throw ImageWriteError();
    std::error_code failure;
    if (writeAll(file.get(), content.bytes, content.size))
        std::filesystem::rename(name, path, failure);
    else
        failure = std::make_error_code(std::errc::io_error);
    if (!failure)
        return;
    std::error_code ignored;
    std::filesystem::remove(name, ignored);
    throw ImageWriteError();
}

} // namespace

void writeWebpMetadata(const std::filesystem::path &path, const FrameProperties &properties)
{
    const std::optional<MappedFile> file = MappedFile::open(path);
    if (!file)
        throw ImageReadError();
    const WebPData old = dataOf(file->bytes());
    constexpr int borrowed = 0;
    const std::unique_ptr<WebPMux, MuxDelete> mux(WebPMuxCreate(&old, borrowed));
    if (!mux)
        throw ImageReadError();
    setChunk(mux.get(), "EXIF", properties.exif);
    setChunk(mux.get(), "XMP ", properties.xmp);
    Assembled assembled;
    if (WebPMuxAssemble(mux.get(), &assembled) != WEBP_MUX_OK)
        throw ImageWriteError();
    replace(path, assembled);
}

} // namespace quorvalent
