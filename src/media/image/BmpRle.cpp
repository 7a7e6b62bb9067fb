#include "media/image/BmpRle.h"

namespace quorvalent {

namespace {

constexpr qsizetype mostUnpackedBytes = 1'000'000'000;

class Unpacker
{
public:
    Unpacker(QByteArrayView codes, const BmpHeader &header)
        : m_codes(codes)
        , m_header(header)
        , m_pixels(qsizetype{header.size.width} * header.size.height, '\0')
    {}

    QByteArray run()
    {
        while (m_row < m_header.size.height) {
            const int count = next();
            const int value = next();
            if (count > 0) {
                for (int i = 0; i < count; ++i)
                    put(m_header.coding == BmpHeader::Coding::Rle4 && i % 2 == 0 ? value >> 4 : value);
            } else if (value == 0) {
                m_column = 0;
                ++m_row;
            } else if (value == 1) {
                return std::move(m_pixels);
            } else if (value == 2) {
                m_column += next();
                m_row += next();
            } else {
                literal(value);
            }
        }
        return std::move(m_pixels);
    }

private:
    int next()
    {
        if (m_at >= m_codes.size())
            throw ImageReadError();
        return static_cast<unsigned char>(m_codes[m_at++]);
    }

    void literal(int count)
    {
        const bool halves = m_header.coding == BmpHeader::Coding::Rle4;
        int pair = 0;
        for (int i = 0; i < count; ++i) {
            if (!halves || i % 2 == 0)
                pair = next();
            put(halves && i % 2 == 0 ? pair >> 4 : pair);
        }
        const int bytes = halves ? (count + 1) / 2 : count;
        if (bytes % 2 != 0)
            next(); // literals are padded to 16 bits
    }

    // Pixels beyond the right edge are dropped, as every decoder does.
    void put(int value)
    {
        const int mask = m_header.coding == BmpHeader::Coding::Rle4 ? 0x0f : 0xff;
        if (m_column < m_header.size.width && m_row < m_header.size.height) {
            const int fromTop = m_header.bottomUp ? m_header.size.height - 1 - m_row : m_row;
            m_pixels[qsizetype{fromTop} * m_header.size.width + m_column] = static_cast<char>(value & mask);
        }
        ++m_column;
    }

    QByteArrayView m_codes;
    const BmpHeader &m_header;
    QByteArray m_pixels;
    qsizetype m_at = 0;
    qsizetype m_column = 0; // a row of codes may run past any int
    int m_row = 0;          // in the order of the file
};

} // namespace

QByteArray unpackBmpRle(QByteArrayView file, const BmpHeader &header)
{
    if (header.pixelsAt > file.size() ||
        qsizetype{header.size.width} * header.size.height > mostUnpackedBytes)
        throw ImageReadError();
    return Unpacker(file.sliced(header.pixelsAt), header).run();
}

} // namespace quorvalent
