#include "picture/vellpngreader.h"

#include <QIODevice>

#include <libdeflate.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

static_assert(Q_BYTE_ORDER == Q_LITTLE_ENDIAN, "4-byte pixels are stored B, G, R, A");

namespace {

const uchar kSignature[8] = {137, 80, 78, 71, 13, 10, 26, 10};
const qint64 kPiece = qint64(1) << 20;      // bytes read at a time: a corrupt length costs no more
const size_t kMaxProfile = size_t(1) << 24;   // an embedded profile inflates to at most this

constexpr quint32 chunkType(const char (&name)[5])
{
    return quint32(uchar(name[0])) << 24 | quint32(uchar(name[1])) << 16 | quint32(uchar(name[2])) << 8
        | quint32(uchar(name[3]));
}

quint32 bigEndian32(const uchar *p)
{
    return quint32(p[0]) << 24 | quint32(p[1]) << 16 | quint32(p[2]) << 8 | quint32(p[3]);
}

struct DecompressorDeleter
{
    void operator()(libdeflate_decompressor *d) const { libdeflate_free_decompressor(d); }
};
using Decompressor = std::unique_ptr<libdeflate_decompressor, DecompressorDeleter>;

inline uchar paeth(int a, int b, int c)
{
    const int p = a + b - c;
    const int pa = std::abs(p - a);
    const int pb = std::abs(p - b);
    const int pc = std::abs(p - c);
    if (pa <= pb && pa <= pc)
        return uchar(a);
    return uchar(pb <= pc ? b : c);
}

// Undoes one row's filter: `in` the filtered samples, `prev` the row above
// (zeros for the first), `bpp` bytes a pixel. False for an unknown filter.
bool unfilter(int filter, const uchar *in, const uchar *prev, uchar *cur, size_t n, size_t bpp)
{
    switch (filter) {
    case 0:
        std::memcpy(cur, in, n);
        return true;
    case 1:
        for (size_t i = 0; i < bpp; ++i)
            cur[i] = in[i];
        for (size_t i = bpp; i < n; ++i)
            cur[i] = uchar(in[i] + cur[i - bpp]);
        return true;
    case 2:
        for (size_t i = 0; i < n; ++i)
            cur[i] = uchar(in[i] + prev[i]);
        return true;
    case 3:
        for (size_t i = 0; i < bpp; ++i)
            cur[i] = uchar(in[i] + (prev[i] >> 1));
        for (size_t i = bpp; i < n; ++i)
            cur[i] = uchar(in[i] + ((cur[i - bpp] + prev[i]) >> 1));
        return true;
    case 4:
        for (size_t i = 0; i < bpp; ++i)
            cur[i] = uchar(in[i] + prev[i]);   // Paeth of (0, up, 0) is up
        for (size_t i = bpp; i < n; ++i)
            cur[i] = uchar(in[i] + paeth(cur[i - bpp], prev[i], prev[i - bpp]));
        return true;
    default:
        return false;
    }
}

// One row of samples in the file's order into the destination's pixels.
void convertRow(const uchar *s, uchar *d, int width, int channels, VellPngReader::Layout layout)
{
    if (layout == VellPngReader::Grey8) {
        std::memcpy(d, s, size_t(width));
        return;
    }
    switch (channels) {
    case 1:
        for (int x = 0; x < width; ++x, d += 4) {
            d[0] = d[1] = d[2] = s[x];
            d[3] = 255;
        }
        break;
    case 2:
        for (int x = 0; x < width; ++x, s += 2, d += 4) {
            d[0] = d[1] = d[2] = s[0];
            d[3] = s[1];
        }
        break;
    case 3:
        for (int x = 0; x < width; ++x, s += 3, d += 4) {
            d[0] = s[2];
            d[1] = s[1];
            d[2] = s[0];
            d[3] = 255;
        }
        break;
    default:
        for (int x = 0; x < width; ++x, s += 4, d += 4) {
            d[0] = s[2];
            d[1] = s[1];
            d[2] = s[0];
            d[3] = s[3];
        }
        break;
    }
}

} // namespace

VellPngReader::VellPngReader(QIODevice *device) : m_device(device)
{
}

bool VellPngReader::fail(const QString &why)
{
    if (m_error.isEmpty())
        m_error = why;
    return false;
}

int VellPngReader::channels() const
{
    switch (m_colourType) {
    case 0:
        return 1;
    case 2:
        return 3;
    case 4:
        return 2;
    default:
        return 4;
    }
}

// A chunk's length and type; the length is at most 2^31 - 1 and the type
// four ASCII letters, as PNG allows.
bool VellPngReader::readChunk(quint32 *length, quint32 *type)
{
    uchar head[8];
    if (m_device->read(reinterpret_cast<char *>(head), 8) != 8)
        return fail(QStringLiteral("the file ends before its image does"));
    *length = bigEndian32(head);
    *type = bigEndian32(head + 4);
    if (*length > quint32(INT_MAX))
        return fail(QStringLiteral("a chunk claims %1 bytes").arg(*length));
    for (int i = 4; i < 8; ++i)
        if (!((head[i] >= 'A' && head[i] <= 'Z') || (head[i] >= 'a' && head[i] <= 'z')))
            return fail(QStringLiteral("a chunk type that is not four letters"));
    return true;
}

// The payload of a chunk of `type` (`length` bytes, known to be at most
// 2^31 - 1) and its CRC, checked. Appended to *keep, which grows as bytes
// arrive; with a null `keep` the bytes are only checked.
bool VellPngReader::readPayload(quint32 type, quint32 length, std::vector<uchar> *keep)
{
    const uchar typeBytes[4] = {uchar(type >> 24), uchar(type >> 16), uchar(type >> 8), uchar(type)};
    quint32 crc = libdeflate_crc32(0, typeBytes, 4);
    std::vector<uchar> scratch;
    qint64 left = length;
    while (left > 0) {
        const qint64 piece = std::min(left, kPiece);
        uchar *at = nullptr;
        try {
            if (keep) {
                keep->resize(keep->size() + size_t(piece));
                at = keep->data() + keep->size() - size_t(piece);
            } else {
                scratch.resize(size_t(piece));
                at = scratch.data();
            }
        } catch (const std::bad_alloc &) {
            return fail(QStringLiteral("no memory for the compressed image"));
        }
        if (m_device->read(reinterpret_cast<char *>(at), piece) != piece)
            return fail(QStringLiteral("the file ends before its image does"));
        crc = libdeflate_crc32(crc, at, size_t(piece));
        left -= piece;
    }
    uchar stored[4];
    if (m_device->read(reinterpret_cast<char *>(stored), 4) != 4)
        return fail(QStringLiteral("the file ends before its image does"));
    if (bigEndian32(stored) != crc)
        return fail(QStringLiteral("a chunk's CRC does not match its bytes"));
    return true;
}

bool VellPngReader::readIccProfile(const std::vector<uchar> &payload)
{
    // A name of 1 to 79 bytes, its NUL, the compression method (0: zlib),
    // then the zlib stream.
    const size_t nul = size_t(std::find(payload.begin(), payload.end(), uchar(0)) - payload.begin());
    if (nul < 1 || nul > 79 || payload.size() < nul + 2 || payload[nul + 1] != 0)
        return fail(QStringLiteral("a damaged embedded profile"));
    // The name is printable Latin-1 without leading, trailing or double
    // spaces; libpng drops the profile otherwise.
    for (size_t i = 0; i < nul; ++i) {
        const uchar c = payload[i];
        if ((c < 32 || (c > 126 && c < 161)) || (c == ' ' && (i == 0 || i + 1 == nul || payload[i - 1] == ' ')))
            return fail(QStringLiteral("a damaged embedded profile"));
    }
    const uchar *in = payload.data() + nul + 2;
    const size_t inBytes = payload.size() - nul - 2;
    Decompressor decompressor(libdeflate_alloc_decompressor());
    if (!decompressor)
        return fail(QStringLiteral("no memory to read the embedded profile"));
    // The stream does not say how large the profile is: try larger buffers.
    for (size_t capacity = size_t(1) << 16; capacity <= kMaxProfile; capacity *= 2) {
        QByteArray profile(int(capacity), Qt::Uninitialized);
        size_t actual = 0;
        const libdeflate_result result = libdeflate_zlib_decompress(
            decompressor.get(), in, inBytes, profile.data(), capacity, &actual);
        if (result == LIBDEFLATE_INSUFFICIENT_SPACE)
            continue;
        if (result != LIBDEFLATE_SUCCESS)
            return fail(QStringLiteral("a damaged embedded profile"));
        profile.truncate(int(actual));
        m_colorSpace = QColorSpace::fromIccProfile(profile);
        if (!m_colorSpace.isValid())
            return fail(QStringLiteral("an embedded profile that Qt does not take"));
        return true;
    }
    return fail(QStringLiteral("an embedded profile over %1 bytes").arg(kMaxProfile));
}

bool VellPngReader::readHeader()
{
    m_error.clear();
    if (m_headerRead)
        return fail(QStringLiteral("the header was read already"));
    m_headerRead = true;
    uchar signature[8];
    if (!m_device || m_device->read(reinterpret_cast<char *>(signature), 8) != 8
        || std::memcmp(signature, kSignature, 8) != 0)
        return fail(QStringLiteral("not a PNG file"));
    quint32 length = 0, type = 0;
    std::vector<uchar> payload;
    if (!readChunk(&length, &type) || type != chunkType("IHDR") || length != 13
        || !readPayload(type, length, &payload))
        return fail(QStringLiteral("the file does not start with its header"));
    const quint32 width = bigEndian32(payload.data());
    const quint32 height = bigEndian32(payload.data() + 4);
    const int depth = payload[8];
    const int colourType = payload[9];
    if (width == 0 || height == 0 || width > quint32(INT_MAX) || height > quint32(INT_MAX))
        return fail(QStringLiteral("a picture of %1 x %2 pixels").arg(width).arg(height));
    if (payload[10] != 0 || payload[11] != 0)
        return fail(QStringLiteral("an unknown compression or filter method"));
    if (depth != 8 || (colourType != 0 && colourType != 2 && colourType != 4 && colourType != 6) || payload[12] != 0)
        return fail(QStringLiteral("not 8-bit grey or colour, not interlaced"));
    // Both sides are below 2^31, so their product fits in 64 bits.
    const qint64 pixels = qint64(width) * qint64(height);
    if (m_maxPixels > 0 && pixels > m_maxPixels)
        return fail(QStringLiteral("its picture of %1 x %2 pixels is too large to open").arg(width).arg(height));

    bool iccp = false, srgb = false, gamma = false, resolution = false;
    for (;;) {
        if (!readChunk(&length, &type))
            return false;
        if (type == chunkType("IDAT"))
            break;
        const bool critical = !(type >> 29 & 1);   // the first letter in upper case
        payload.clear();
        if (type == chunkType("iCCP")) {
            if (iccp || length > kMaxProfile || !readPayload(type, length, &payload) || !readIccProfile(payload))
                return fail(QStringLiteral("a damaged embedded profile"));
            iccp = true;
        } else if (type == chunkType("sRGB")) {
            // A malformed one is ignored by libpng: Qt's reader decides.
            if (srgb || length != 1 || !readPayload(type, length, &payload) || payload[0] > 3)
                return fail(QStringLiteral("a damaged sRGB chunk"));
            srgb = true;
        } else if (type == chunkType("gAMA") || type == chunkType("cHRM")) {
            if (!readPayload(type, length, nullptr))
                return false;
            gamma = true;
        } else if (type == chunkType("pHYs")) {
            // libpng keeps the first of several: Qt's reader decides.
            if (resolution || length != 9 || !readPayload(type, length, &payload))
                return fail(QStringLiteral("a damaged resolution chunk"));
            resolution = true;
            // Pixels per metre, 1 to 2^31 - 1; any other unit or value is
            // Qt's reader's to interpret.
            const quint32 x = bigEndian32(payload.data());
            const quint32 y = bigEndian32(payload.data() + 4);
            if (payload[8] != 1 || x == 0 || y == 0 || x > quint32(INT_MAX) || y > quint32(INT_MAX))
                return fail(QStringLiteral("a resolution this reader leaves to Qt's"));
            m_dpmX = int(x);
            m_dpmY = int(y);
        } else if (critical || type == chunkType("tRNS")) {
            // Palettes, transparency and critical chunks this reader does
            // not know change the pixels: Qt's reader decides.
            return fail(QStringLiteral("a chunk this reader leaves to Qt's"));
        } else if (!readPayload(type, length, nullptr)) {
            return false;
        }
    }
    if (!iccp && gamma)
        return fail(QStringLiteral("gamma or chromaticities without an embedded profile"));
    // libpng refuses a profile of the wrong colour model, and weighs one
    // against an sRGB chunk: Qt's reader decides.
    if (iccp && (srgb || colourType == 0 || colourType == 4))
        return fail(QStringLiteral("an embedded profile this reader leaves to Qt's"));
    if (!iccp && srgb)
        m_colorSpace = QColorSpace(QColorSpace::SRgb);
    m_size = QSize(int(width), int(height));
    m_colourType = colourType;
    m_firstIdatLength = length;
    return true;
}

qint64 VellPngReader::bufferBytes(Layout layout, qint64 stride) const
{
    if (m_size.isEmpty() || (layout == Grey8 && !isGrey()))
        return -1;
    const qint64 pixelBytes = layout == Grey8 ? 1 : 4;
    qint64 inRow = 0, inBytes = 0, outBytes = 0;
    if (stride < m_size.width() * pixelBytes   // both below 2^33
        || __builtin_mul_overflow(qint64(m_size.width()), qint64(channels()), &inRow)
        || __builtin_add_overflow(inRow, qint64(1), &inRow)
        || __builtin_mul_overflow(inRow, qint64(m_size.height()), &inBytes)
        || __builtin_mul_overflow(stride, qint64(m_size.height()), &outBytes))
        return -1;
    return std::max(inBytes, outBytes);
}

bool VellPngReader::decode(uchar *buffer, qint64 bytes, Layout layout, qint64 stride)
{
    if (m_colourType < 0)
        return fail(QStringLiteral("no header read"));
    const qint64 needed = bufferBytes(layout, stride);
    if (needed < 0 || !buffer || bytes < needed)
        return fail(QStringLiteral("the buffer cannot hold the picture"));
    const int width = m_size.width();
    const int height = m_size.height();
    const size_t bpp = size_t(channels());
    const size_t samples = size_t(width) * bpp;   // bufferBytes() checked these products
    const size_t inRow = samples + 1;
    const size_t inBytes = inRow * size_t(height);

    // The IDAT chunks, consecutive, then anything but pixels up to IEND.
    std::vector<uchar> compressed;
    if (!m_device->isSequential()) {
        // At most the rest of the file: a bound that costs no copy as the
        // bytes come, not a size the file claims.
        try {
            compressed.reserve(size_t(std::max<qint64>(0, m_device->size() - m_device->pos())));
        } catch (const std::bad_alloc &) {
            return fail(QStringLiteral("no memory for the compressed image"));
        }
    }
    quint32 length = m_firstIdatLength, type = chunkType("IDAT");
    bool inData = true;
    for (;;) {
        if (type == chunkType("IEND")) {
            if (length != 0 || !readPayload(type, 0, nullptr))
                return fail(QStringLiteral("a damaged end chunk"));
            break;
        }
        if (type == chunkType("IDAT")) {
            if (!inData)
                return fail(QStringLiteral("image data after other chunks"));
            if (!readPayload(type, length, &compressed))
                return false;
        } else {
            inData = false;
            if (!(type >> 29 & 1))
                return fail(QStringLiteral("a chunk this reader leaves to Qt's"));
            if (!readPayload(type, length, nullptr))
                return false;
        }
        if (!readChunk(&length, &type))
            return false;
    }

    // Inflated to the buffer's end; rows are then written from its start.
    uchar *const rows = buffer + (needed - qint64(inBytes));
    Decompressor decompressor(libdeflate_alloc_decompressor());
    if (!decompressor)
        return fail(QStringLiteral("no memory to inflate the image"));
    size_t actual = 0;
    const libdeflate_result result = libdeflate_zlib_decompress(decompressor.get(), compressed.data(),
                                                                compressed.size(), rows, inBytes, &actual);
    if (result != LIBDEFLATE_SUCCESS || actual != inBytes)
        return fail(QStringLiteral("damaged image data"));
    std::vector<uchar>().swap(compressed);   // given back before the rows are worked on

    std::vector<uchar> lines;
    try {
        lines.assign(2 * samples, 0);
    } catch (const std::bad_alloc &) {
        return fail(QStringLiteral("no memory for two rows"));
    }
    uchar *prev = lines.data();   // zeros: the row above the first
    uchar *cur = prev + samples;
    for (int y = 0; y < height; ++y) {
        const uchar *in = rows + size_t(y) * inRow;
        if (!unfilter(in[0], in + 1, prev, cur, samples, bpp))
            return fail(QStringLiteral("an unknown row filter"));
        convertRow(cur, buffer + size_t(y) * size_t(stride), width, int(bpp), layout);
        std::swap(prev, cur);
    }
    return true;
}

QImage VellPngReader::read()
{
    if (m_colourType < 0) {
        fail(QStringLiteral("no header read"));
        return QImage();
    }
    const Layout layout = m_colourType == 0 ? Grey8 : Bgra32;
    // QImage wants rows on 4-byte boundaries.
    const qint64 stride = layout == Grey8 ? (qint64(m_size.width()) + 3) / 4 * 4 : qint64(m_size.width()) * 4;
    const qint64 bytes = bufferBytes(layout, stride);
    if (bytes < 0 || stride > INT_MAX) {
        fail(QStringLiteral("its picture of %1 x %2 pixels is too large to open").arg(m_size.width()).arg(m_size.height()));
        return QImage();
    }
    uchar *buffer = static_cast<uchar *>(std::malloc(size_t(bytes)));
    if (!buffer || !decode(buffer, bytes, layout, stride)) {
        std::free(buffer);
        fail(QStringLiteral("no memory for the picture"));
        return QImage();
    }
    const QImage::Format format = layout == Grey8 ? QImage::Format_Grayscale8
        : hasAlpha()                              ? QImage::Format_ARGB32
                                                  : QImage::Format_RGB32;
    QImage image(buffer, m_size.width(), m_size.height(), stride, format, std::free, buffer);
    if (image.isNull()) {
        std::free(buffer);
        fail(QStringLiteral("no memory for the picture"));
        return QImage();
    }
    image.setColorSpace(m_colorSpace);
    if (m_dpmX > 0 && m_dpmY > 0) {
        image.setDotsPerMeterX(m_dpmX);
        image.setDotsPerMeterY(m_dpmY);
    }
    return image;
}
