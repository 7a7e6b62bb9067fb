#include "fuzz/FuzzInputs.h"

#include "convert/EngineProtocol.h"
#include "fuzz/FuzzFolder.h"
#include "media/ImageEnd.h"
#include "media/ImageSignature.h"
#include "media/MediaAsset.h"
#include "media/MovieIndex.h"
#include "media/PictureExtras.h"
#include "media/RealFormat.h"
#include "media/SourceEnd.h"
#include "media/SourceMedia.h"
#include "media/audio/AdtsHeader.h"
#include "media/audio/DeclaredLength.h"
#include "media/image/BmpHeader.h"
#include "media/image/BmpRle.h"
#include "media/image/FrameTiming.h"
#include "media/image/Metadata.h"
#include "media/image/TagDirectory.h"

namespace quorvalent::test {

namespace {

void readMedia(const std::filesystem::path &source)
{
    (void)declaredLength(source);
    (void)MediaAsset::fromHeaders(source);
    (void)SourceEnd::of(source);
    for (const char *extension : {"tif", "heic", "mp3", "aac", "ogg", "mp4", "m4a", "mkv", "avi"})
        (void)isOfFormat(source, QString::fromLatin1(extension));
    if (const std::optional<MovieIndex> index = MovieIndex::read(source))
        (void)SourceMedia::fromIndex(*index);
    if (const std::optional<ImageType> type = imageTypeOf(source))
        (void)isWholeImageFile(source, *type);
    (void)pictureExtras(source);
}

void readBmp(QByteArrayView bytes)
{
    const BmpHeader header = BmpHeader::of(bytes);
    constexpr std::int64_t mostPixels = 1'000'000; // keeps one input to milliseconds
    const std::int64_t pixels = std::int64_t{header.size.width} * header.size.height;
    if (header.coding != BmpHeader::Coding::Plain && pixels <= mostPixels &&
        unpackBmpRle(bytes, header).size() != pixels)
        reportFault("a run-length coded picture has all its pixels");
}

void readTags(const QByteArray &bytes)
{
    constexpr ImageSize size{640, 480};
    (void)uprightExif(bytes, size);
    (void)uprightXmp(bytes);
    (void)iptcFromPhotoshop(bytes);
    (void)iptcFromPngText(bytes);
    QByteArray description = bytes;
    (void)takeTiming(description);

    const std::optional<TiffBytes> structure = TiffBytes::of(bytes);
    if (!structure)
        return;
    const QByteArray block = exifBlock(exifTagsAt(*structure, structure->u32(4).value_or(0)));
    if (block.size() > 10 * bytes.size())
        reportFault("a block of tags does not outgrow the file it comes from");
    if (!block.isEmpty() && exifBlock(exifTagsAt(*TiffBytes::of(block), 8)) != block)
        reportFault("a block of tags of our own is read as it was written");
}

// What the program takes from its engine helper: only what it could have been sent.
void readReplies(QByteArray received)
{
    try {
        while (const std::optional<EngineProtocol::Reply> reply = EngineProtocol::takeReply(received)) {
            QByteArray again = EngineProtocol::encoded(*reply);
            if (EngineProtocol::takeReply(again) != reply || !again.isEmpty())
                reportFault("a reply that is taken is one that can be sent");
        }
    } catch (const EngineProtocol::ProtocolError &) {
        // refused
    }
}

void readRequests(QByteArray received)
{
    try {
        while (EngineProtocol::takeRequest(received))
            continue;
    } catch (const EngineProtocol::ProtocolError &) {
        // refused
    }
}

template <typename Reader>
void expectResultOrError(const Reader &reader)
{
    try {
        reader();
    } catch (const Error &) {
        // refused
    }
}

} // namespace

void tryHeaders(std::span<const std::uint8_t> input)
{
    static const FuzzFolder folder;
    const std::filesystem::path source = folder.hold(input);
    const QByteArray bytes(reinterpret_cast<const char *>(input.data()),
                           static_cast<qsizetype>(input.size()));
    expectResultOrError([&] { readMedia(source); });
    expectResultOrError([&] { readBmp(bytes); });
    expectResultOrError([&] { readTags(bytes); });
    (void)AdtsHeader::parse(input);
    readReplies(bytes);
    readRequests(bytes);
}

} // namespace quorvalent::test
