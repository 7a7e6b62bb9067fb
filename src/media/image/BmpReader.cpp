#include "media/image/BmpReader.h"

#include "media/image/BmpRle.h"

#include <QtEndian>

namespace quorvalent {

using vips::VImage;

namespace {

MappedFile openMapped(const std::filesystem::path &path)
{
    std::optional<MappedFile> file = MappedFile::open(path);
    if (!file)
        throw ImageReadError();
    return std::move(*file);
}

} // namespace

BmpReader::BmpReader(const std::filesystem::path &path)
    : m_bmp(std::make_shared<Bmp>(Bmp{openMapped(path), {}, {}}))
{
    m_bmp->header = BmpHeader::of(m_bmp->file.bytes());
}

void BmpReader::Bmp::convertRow(int row, int left, int count, unsigned char *out) const
{
    if (header.coding != BmpHeader::Coding::Plain) {
        const char *numbers = unpacked.constData() + qsizetype{row} * header.size.width + left;
        for (int i = 0; i < count; ++i)
            out = std::copy_n(header.palette[static_cast<unsigned char>(numbers[i])].data(), 3, out);
        return;
    }
    const int stored = header.bottomUp ? header.size.height - 1 - row : row;
    const char *pixels = file.bytes().data() + header.pixelsAt + header.strideBytes * stored;
    for (int x = left; x < left + count; ++x) {
        if (header.bits == 24) {
            for (int byte = 2; byte >= 0; --byte)
                *out++ = static_cast<unsigned char>(pixels[3 * qsizetype{x} + byte]);
        } else if (header.bits > 8) {
            const std::uint32_t pixel = header.bits == 16
                                            ? qFromLittleEndian<quint16>(pixels + 2 * qsizetype{x})
                                            : qFromLittleEndian<quint32>(pixels + 4 * qsizetype{x});
            for (std::size_t i = 0; i < (header.hasAlpha() ? 4U : 3U); ++i) {
                const BmpHeader::Channel &channel = header.channels.at(i);
                const std::uint64_t value = (pixel & channel.mask) >> static_cast<unsigned>(channel.shift);
                *out++ = channel.most == 0
                             ? std::uint8_t{0}
                             : static_cast<unsigned char>((value * 255 + channel.most / 2) / channel.most);
            }
        } else {
            const qsizetype bit = qsizetype{x} * header.bits;
            const int shift = 8 - header.bits - static_cast<int>(bit % 8);
            const int number = static_cast<unsigned char>(pixels[bit / 8]) >> shift;
            out = std::copy_n(
                header.palette[static_cast<std::size_t>(number & ((1 << header.bits) - 1))].data(), 3, out);
        }
    }
}

int BmpReader::fillRegion(VipsRegion *out, void *, void *bmp, void *, gboolean *)
{
    const VipsRect &area = out->valid;
    unsigned char *to = VIPS_REGION_ADDR_TOPLEFT(out);
    for (int row = area.top; row < area.top + area.height; ++row, to += VIPS_REGION_LSKIP(out))
        static_cast<const Bmp *>(bmp)->convertRow(row, area.left, area.width, to);
    return 0;
}

VImage BmpReader::pixels(int)
{
    const BmpHeader &header = m_bmp->header;
    if (header.coding != BmpHeader::Coding::Plain && m_bmp->unpacked.isEmpty())
        m_bmp->unpacked = unpackBmpRle(m_bmp->file.bytes(), header);

    VipsImage *image = vips_image_new();
    VImage result(image);
    const double unknown = 1.0;
    vips_image_init_fields(image, header.size.width, header.size.height, header.hasAlpha() ? 4 : 3,
                           VIPS_FORMAT_UCHAR, VIPS_CODING_NONE, VIPS_INTERPRETATION_sRGB,
                           header.pixelsPerMmX > 0 ? header.pixelsPerMmX : unknown,
                           header.pixelsPerMmY > 0 ? header.pixelsPerMmY : unknown);
    vips_image_pipelinev(image, VIPS_DEMAND_STYLE_THINSTRIP, nullptr);
    if (!header.profile.isEmpty())
        vips_image_set_blob_copy(image, VIPS_META_ICC_NAME, header.profile.constData(),
                                 static_cast<std::size_t>(header.profile.size()));
    // The image may outlive this reader: it holds its share of the file.
    auto *share = new std::shared_ptr<Bmp>(m_bmp);
    g_object_set_data_full(G_OBJECT(image), "quorvalent-bmp", share,
                           [](gpointer held) { delete static_cast<std::shared_ptr<Bmp> *>(held); });
    if (vips_image_generate(image, nullptr, fillRegion, nullptr, m_bmp.get(), nullptr) != 0)
        throw ImageReadError();
    return result;
}

} // namespace quorvalent
